#pragma once

#include <QByteArray>
#include <QString>

#include "adv/cadvbasewidget.h"

class QCheckBox;

// The parameter page of one extended advertising set.
class CAdvExtendWidget : public CAdvBaseWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CAdvExtendWidget)

public:
    CAdvExtendWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent = nullptr);
    ~CAdvExtendWidget() override;

public slots:
    bool sendParameters(QByteArray advIndex) override;
    bool sendData(QByteArray advIndex) override;
    void on_btnResetAdvSettings_clicked() override;
    void on_ediscoverModeTextChanged(QString discoverMode);

private:
    bool validate() override;

    CStyledComboBox* cmb_eadvmode = nullptr;
    QCheckBox* cb_econnect = nullptr;
    QCheckBox* cb_escannable = nullptr;
    QCheckBox* cb_edriected = nullptr;
    QCheckBox* cb_eanonymous = nullptr;
    QCheckBox* cb_etxpower = nullptr;
    QCheckBox* cb_escanreq = nullptr;
    QCheckBox* cb_ehdc = nullptr;
    QCheckBox* cb_epertxpwr = nullptr;
    QCheckBox* cb_escan = nullptr;
    QCheckBox* cb_econn = nullptr;
    ExtendedFields m_fields;
};
