#pragma once

#include <QByteArray>

#include "app/flat/cflatdialog.h"
#include "schema/uplinkdispatch.h"

class CMsg;
class CValidateLineEdit;
class LogManager;
class QComboBox;
class QLineEdit;

// Reads the resolvable private addresses that the dongle and a bonded peer use with each other,
// by the peer's identity address.
class ResolveAddressDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(ResolveAddressDialog)

public:
    ResolveAddressDialog(CMsg* msg, LogManager* logger, QWidget* parent = nullptr);
    ~ResolveAddressDialog() override;

public slots:
    void onRcvMsg(const QByteArray& rcvMsg);
    void on_buttonLocal_clicked();
    void on_buttonPeer_clicked();

private:
    void read(quint8 opType);
    void responseProc(const QByteArray& frame);
    void getRPAAdress(const QByteArray& frame);

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    CValidateLineEdit* m_peerAddress = nullptr;
    QComboBox* m_peerAddressType = nullptr;
    QLineEdit* m_localRpa = nullptr;
    QLineEdit* m_peerRpa = nullptr;
    UplinkTable<ResolveAddressDialog> procTable;
};
