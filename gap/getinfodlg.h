#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QTimer>

#include "app/flat/cflatdialog.h"
#include "schema/ccommanduiowner.h"
#include "schema/uplinkdispatch.h"

class CCommandUiWidget;
class CMsg;
class LogManager;

// What the dongle says of itself: one read form per query of its version, address, data
// lengths, advertising sets, advertising data, TX power and path compensation.
class GetInfoDlg : public CFlatDialog, public CCommandUiOwner
{
    Q_OBJECT
    Q_DISABLE_COPY(GetInfoDlg)

public:
    GetInfoDlg(CMsg* msg, LogManager* logger, QWidget* parent = nullptr);
    ~GetInfoDlg() override;

    // Asks every query of the dialog at once; each form shows its answer when it comes.
    void startQuery();
    const QMap<QString, CCommandUiWidget*>& forms() const { return m_forms; }

    void setUplinkEnabled(bool) override {}
    int linkState() const override { return 0; }
    void setLinkState(int) override {}

public slots:
    void onRcvMsg(const QByteArray& rcvMsg);

private:
    void responseProc(const QByteArray& frame);
    void getLocalDeviceInformationProc(const QByteArray& frame);

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    QMap<QString, CCommandUiWidget*> m_forms;
    QTimer m_formTimer; // the forms' shared timer, which read forms never start
    UplinkTable<GetInfoDlg> procTable;
};
