#pragma once

#include "app/flat/cflatdialog.h"

class CMsg;
class LogManager;
class QCheckBox;

// Tells the firmware which of its own logs to print; the choice goes out when the dialog closes.
class LogSwtich : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(LogSwtich)

public:
    // Neither the port nor the logger is owned.
    LogSwtich(CMsg* msg, LogManager* logger, QWidget* parent = nullptr);
    ~LogSwtich() override;

    void on_closeClicked() override;

    QCheckBox* sdkBox() const { return m_cbSdk; }
    QCheckBox* stackBox() const { return m_cbStack; }

private:
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    QCheckBox* m_cbSdk = nullptr;
    QCheckBox* m_cbStack = nullptr;
};
