#pragma once

#include <QByteArray>
#include <QMap>
#include <QPointer>
#include <QString>
#include <QWidget>

#include "l2cap/channelinfo.h"
#include "schema/ccommand.h"
#include "schema/uplinkdispatch.h"

class CMsg;
class CSduWidget;
class CStandardMsgDlg;
class LogManager;

namespace Ui {
class CL2capWidget;
}

// The L2CAP tab of one connection: opens and closes LE credit-based channels, keeps each
// channel's settings and the credit counters of both sides, and shows them in a list, a detail
// tree and one SDU page per channel. Every tab of the dongle hears every L2CAP uplink and keeps
// to its own condix.
class CL2capWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CL2capWidget)

public:
    // The dongle's name is read at each use, so a renamed tab is named rightly.
    CL2capWidget(uint8_t condix, CMsg* msg, LogManager* logger, const QString* dongleName, QWidget* parent = nullptr);
    ~CL2capWidget() override;

    const QMap<QString, ChannelInfo>& channels() const { return m_channels; }
    CSduWidget* sduPage(const QString& localId) const { return m_sduWidgets.value(localId); }
    int sduSendCount() const { return m_sduSendCount; }
    int creditSendCount() const { return m_creditSendCount; }

    void onRcvMsg(const QByteArray& rcvMsg);
    // From the SDU pages and the request dialog, connected by pointer.
    void on_addCocMsgSend();
    void on_receiveCOCRequest(QString localId, ChannelInfo channelInfo, FieldValueMap fields);
    void on_getSendSDUData();
    void on_sendCredit(QString cid, QString credit);

signals:
    void readySendSDU(QString localId);
    void receiveSDU(QString localId, QString remainCredits, QString cousumedCredits, QByteArray r,
                    UplinkFieldMap fields);
    void consumedCreditChanged(QString localID, uint consumedCredits);
    void sig_showDongleTab(QString dongleName);
    void sig_creditErrorStop(QString errorLocalId);
    void sig_buttonInit(QString LocalId);
    void remoteCreditChanged(QString localId);

public slots:
    void on_toolButtonAdd_clicked();
    void on_toolButtonRemove_clicked();
    void on_listWidget_currentRowChanged(int row);

private:
    void fillProcTable();
    QString dongleName() const { return m_dongleName ? *m_dongleName : QString(); }
    // Parses a frame of this tab's connection; false for another connection or a bad frame,
    // the latter logged as an internal error of `function`.
    bool parseOwn(const QByteArray& frame, UplinkFieldMap& fields, int line, const char* function);
    // The one-byte field, or -1 after the internal error of `function`.
    int byteField(const UplinkFieldMap& fields, const char* key, int line, const char* function);
    static QString decimal(const QByteArray& littleEndian);
    // The open channel that the frame's local id names, that id given back; null for none.
    ChannelInfo* channelOf(const UplinkFieldMap& fields, QString& localId);
    // Enters an open channel: its record, its SDU page, its list row, shown.
    void addChannel(const QString& localId, const ChannelInfo& info);
    void showChannel(const QString& localId);
    // The details follow the counters of the channel shown only.
    void redrawIfShown(const QString& localId);
    void logCredits(const QString& what, const ChannelSide& side);

    void sdkProc(const QByteArray& frame);
    void lastSdkProc(const QByteArray& frame);
    void creatingCOCProc(const QByteArray& frame);
    void sendingSDUProc(const QByteArray& frame);
    void receivedCreatingCOCRequestProc(const QByteArray& frame);
    void receivedSDUProc(const QByteArray& frame);
    void localCreditsManagementProc(const QByteArray& frame);
    void RemoteCreditsManagementProc(const QByteArray& frame);
    void l2CAPCOCDisconnectProc(const QByteArray& frame);

    Ui::CL2capWidget* ui;
    QMap<QString, ChannelInfo> m_channels;
    QMap<QString, CSduWidget*> m_sduWidgets;
    QMap<QString, QString> m_pendingCredits;
    // The local side of each "Create COC" sent, by local id: its answer names neither MTU nor MPS.
    QMap<QString, ChannelSide> m_requests;
    uint8_t m_condix = 0;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    const QString* m_dongleName = nullptr;
    UplinkTable<CL2capWidget> procTable;
    QPointer<CStandardMsgDlg> m_createDialog;
    int m_sduSendCount = 0;
    int m_creditSendCount = 0;
};
