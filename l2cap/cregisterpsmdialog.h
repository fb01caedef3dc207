#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include "app/flat/cflatdialog.h"
#include "schema/uplinkdispatch.h"

class CMsg;
class CValidateLineEdit;
class LogManager;
class QListWidget;
class QPushButton;

// The PSMs the dongle accepts channels on: registers and unregisters them, and lists those the
// dongle took.
class CRegisterPSMDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CRegisterPSMDialog)

public:
    CRegisterPSMDialog(CMsg* msg, LogManager* logger, QWidget* parent = nullptr);
    ~CRegisterPSMDialog() override;

    // The dongle forgot its PSMs with the reset.
    void reset();
    QStringList registered() const;

    void onRcvMsg(const QByteArray& rcvMsg);
    void on_pushButtonRegister_clicked();
    void on_pushButtonUnRegister_clicked();

private:
    void registerProc(const QByteArray& frame);
    void unregisterProc(const QByteArray& frame);
    static bool succeeded(const QByteArray& frame);

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    QListWidget* m_list = nullptr;
    CValidateLineEdit* m_psm = nullptr;
    // The commands' answers name no PSM: they come in the order the commands went.
    QList<QString> m_registering;
    QList<QString> m_unregistering;
    UplinkTable<CRegisterPSMDialog> procTable;
};
