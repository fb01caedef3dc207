#pragma once

#include <QByteArray>
#include <QString>

#include "adv/cadvbasewidget.h"

class QCheckBox;

// The parameter page of one legacy advertising set.
class CAdvLegacyWidget : public CAdvBaseWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CAdvLegacyWidget)

public:
    CAdvLegacyWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent = nullptr);
    ~CAdvLegacyWidget() override;

    // A directed set carries no data: the advertising list starts it without a data frame.
    bool isDirected() const;

public slots:
    bool sendParameters(QByteArray advIndex) override;
    bool sendData(QByteArray advIndex) override;
    void on_btnResetAdvSettings_clicked() override;
    void on_discoverModeTextChanged(QString discoverMode);
    void on_advModeTextChanged(QString advMode);

private:
    bool validate() override;
    void followModes();

    CStyledComboBox* cmb_advmode = nullptr;
    CStyledComboBox* cmb_discmode = nullptr;
    QCheckBox* cb_lscan = nullptr;
    QCheckBox* cb_lconn = nullptr;
    CValidateLineEdit* le_peeraddr = nullptr;
    CStyledComboBox* cmb_addrtype = nullptr;
    CValidateLineEdit* le_intvmin = nullptr;
    CValidateLineEdit* le_intvmax = nullptr;
    QCheckBox* cb_lchannal37 = nullptr;
    QCheckBox* cb_lchannal38 = nullptr;
    QCheckBox* cb_lchannal39 = nullptr;
    CStyledComboBox* cmb_sacanreq = nullptr;
    CValidateLineEdit* le_maxtxpower = nullptr;
    CValidateLineEdit* le_duration = nullptr;
    CStyledComboBox* cmb_owntype = nullptr;
};
