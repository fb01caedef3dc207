#pragma once

#include <QByteArray>

#include "iso/cisostreampage.h"
#include "schema/uplinkdispatch.h"

// A stream that a central set up with the dongle as its peripheral: the parameters of its
// establishment, and the stream's working page.
class SlaveCISWidget : public CIsoStreamPage
{
    Q_OBJECT
    Q_DISABLE_COPY(SlaveCISWidget)

public:
    // `established` is the dongle's report of the stream, parsed.
    SlaveCISWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings, const UplinkFieldMap& established,
                   QWidget* parent = nullptr);
    ~SlaveCISWidget() override;

    quint16 handle() const { return m_handle; }
    bool isCurrentTab() const { return tabCurrent; }
    void setCurrentTab(bool current) { tabCurrent = current; }

signals:
    void disConnectSlaveCIS(uint64_t handleRes);

public slots:
    void onSlaveDisconnect();
    void onRcvMsg(const QByteArray& rcvMsg);

private:
    void fillProcTable();
    void disconnectCisProc(const QByteArray& frame);

    UplinkTable<SlaveCISWidget> procTable;
    UplinkFieldMap m_established;
    quint16 m_handle = 0;
    bool tabCurrent = false;
};
