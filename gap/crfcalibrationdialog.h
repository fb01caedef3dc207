#pragma once

#include <QByteArray>

#include "app/flat/cflatdialog.h"
#include "schema/uplinkdispatch.h"

class CMsg;
class CValidateLineEdit;
class LogManager;

// Sets the crystal's offset of the dongle's radio. The dongle confirms nothing to the user.
class CRfCalibrationDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CRfCalibrationDialog)

public:
    CRfCalibrationDialog(CMsg* msg, LogManager* logger, QWidget* parent = nullptr);
    ~CRfCalibrationDialog() override;

public slots:
    void onRcvMsg(const QByteArray& rcvMsg);
    void on_PB_Calibration_clicked();

private:
    void responseProc(const QByteArray& frame);

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    CValidateLineEdit* m_offset = nullptr;
    UplinkTable<CRfCalibrationDialog> procTable;
};
