#pragma once

#include <QByteArray>
#include <QString>

#include "adv/cadvbasewidget.h"

class QCheckBox;

// The parameter page of one periodic advertising set: the extended parameters that carry it,
// its periodic interval, and its periodic data in the payload editor.
class CAdvPeriodicWidget : public CAdvBaseWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CAdvPeriodicWidget)

public:
    CAdvPeriodicWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent = nullptr);
    ~CAdvPeriodicWidget() override;

public slots:
    bool sendParameters(QByteArray advIndex) override;
    bool sendData(QByteArray advIndex) override;
    void on_btnResetAdvSettings_clicked() override;
    void on_pdiscoverModeTextChanged(QString discoverMode);

private:
    bool validate() override;

    CStyledComboBox* cmb_pdiscmode = nullptr;
    QCheckBox* cb_pdriected = nullptr;
    QCheckBox* cb_ptxpower = nullptr;
    QCheckBox* cb_ppertxpwr = nullptr;
    QCheckBox* cb_phdc = nullptr;
    CValidateLineEdit* le_ppermin = nullptr;
    CValidateLineEdit* le_ppermax = nullptr;
    ExtendedFields m_fields;
};
