#pragma once

#include <QString>
#include <QWidget>

#include "schema/ccommand.h"

class CGapCmdWidget;
class CGattWidget;
class CL2capWidget;
class CMsg;
class LogManager;
class QTabWidget;

// One connection's page: its GATT, GAP and L2CAP pages under vertical tab titles. It lives from
// the connection's success to its end.
class CLayerWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CLayerWidget)

public:
    CLayerWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, const QString* dongleName,
                 uint8_t role, quint16 interval, quint16 latency, quint16 supervisionTimeout,
                 const QString& name, const QString& address, uint8_t condix,
                 QWidget* parent = nullptr);
    ~CLayerWidget() override;

    uint8_t role() const { return m_role; }
    uint8_t condix() const { return m_condix; }
    QString peerName() const { return m_name; }
    QString peerAddress() const { return m_address; }
    // The pages refresh only while their connection's tab is the one shown.
    void setCurrent(bool current) { m_current = current; }
    bool isCurrent() const { return m_current; }
    CGattWidget* gattPage() const { return m_gattPage; }
    CGapCmdWidget* gapPage() const { return m_gapPage; }
    CL2capWidget* l2capPage() const { return m_l2capPage; }
    QTabWidget* pages() const { return m_pages; }

signals:
    void sig_disConnect();
    void sig_showDongleTab(QString dongleName);

public slots:
    void disconnect();

private:
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    FieldValueMap* m_config = nullptr;
    const QString* m_dongleName = nullptr;
    uint8_t m_role = 0;
    uint8_t m_condix = 0;
    quint16 m_interval = 0;
    quint16 m_latency = 0;
    quint16 m_supervisionTimeout = 0;
    QString m_name;
    QString m_address;
    bool m_current = false;
    QTabWidget* m_pages = nullptr;
    CGattWidget* m_gattPage = nullptr;
    CGapCmdWidget* m_gapPage = nullptr;
    CL2capWidget* m_l2capPage = nullptr;
};
