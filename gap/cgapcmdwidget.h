#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QTimer>
#include <QWidget>

#include "schema/ccommand.h"
#include "schema/ccommanduiowner.h"
#include "schema/uplinkdispatch.h"

class CCommandUiWidget;
class CMsg;
class DiagramWidget;
class LogManager;
class QVBoxLayout;

// The GAP tab of one connection's page: a form for each GAP command that acts on the link, and
// the link's diagram. Every page of the dongle hears every GAP uplink and keeps its own condix.
class CGapCmdWidget : public QWidget, public CCommandUiOwner
{
    Q_OBJECT
    Q_DISABLE_COPY(CGapCmdWidget)

public:
    CGapCmdWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, const QString* dongleName,
                  uint8_t condix, quint16 interval, quint16 latency, quint16 supervisionTimeout,
                  const QString& name, const QString& address, QWidget* parent = nullptr);
    ~CGapCmdWidget() override;

    void setUplinkEnabled(bool enabled) override { uplinkEnabled = enabled; }
    int linkState() const override;
    void setLinkState(int state) override;

    DiagramWidget* diagramWidget() const { return diagram; }
    // Built when the page is first shown or asked for: a new connection's tab opens on its GATT
    // page, and building every form at once held up the uplinks of all dongles.
    const QList<CCommandUiWidget*>& forms();

signals:
    void sig_showDongleTab(QString dongleName);

public slots:
    void onRcvMsg(const QByteArray& rcvMsg);
    void on_receiveUpdateRequest();
    void on_timeout();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void fillProcTable();
    void buildForms();
    void fillDiagram(quint16 interval, quint16 latency, quint16 supervisionTimeout);
    // Parses the frame and logs it when it is this link's, by the condix under `key`.
    bool parseOwn(const QByteArray& frame, UplinkFieldMap& fields, const char* key = "condix");
    bool readStatus(const UplinkFieldMap& fields, int line, const char* function, quint8& status);

    void responseProc(const QByteArray& frame);
    void writeResponseProc(const QByteArray& frame);
    void getCmdProc(const QByteArray& frame);
    void dataLengthUpdateProc(const QByteArray& frame);
    void phyUpdateProc(const QByteArray& frame);
    void updateConnectionParameterRequestProc(const QByteArray& frame);
    void peerUpdateRequestProc(const QByteArray& frame);
    void statusOnlyProc(const QByteArray& frame, const char* function);

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    FieldValueMap* m_config = nullptr;
    const QString* m_dongleName = nullptr;
    uint8_t m_condix = 0;
    QString m_name;
    QString m_address;
    UplinkTable<CGapCmdWidget> procTable;
    bool uplinkEnabled = false;
    DiagramWidget* diagram = nullptr;
    QTimer updateTimer;
    QList<CCommandUiWidget*> m_forms;
    QVBoxLayout* m_formsLayout = nullptr;
};
