#include "slaveciswidget.h"

#include <QLabel>
#include <QSplitter>
#include <QVBoxLayout>

#include "iso/manageciswidget.h"
#include "iso/uplinkfieldsform.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

SlaveCISWidget::SlaveCISWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings,
                               const UplinkFieldMap& established, QWidget* parent)
    : CIsoStreamPage(msg, logger, settings, parent)
    , m_established(established)
    , m_handle(quint16(numberOf(established, "cis_connection_handle")))
{
    auto* heading = new QLabel(QStringLiteral("Connected CIS"), this);
    heading->setStyleSheet(QStringLiteral("font-weight: bold;"));
    auto* label = new QLabel(this);
    label->setObjectName(QStringLiteral("label"));

    auto* stream = new QWidget(this);
    auto* pane = new QVBoxLayout(stream);
    pane->setContentsMargins(0, 0, 4, 0);
    auto* parameters = new QWidget(this);
    auto* parametersLayout = new QVBoxLayout(parameters);
    parametersLayout->setContentsMargins(4, 0, 0, 0);
    parametersLayout->addWidget(uplinkFieldsForm(logger, QStringLiteral("Accept CIS Slave Parameter"), established, this));
    parametersLayout->addStretch();

    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(stream);
    splitter->addWidget(parameters);
    // Stretch factors share only the space left over by size hints: start at 7:3 outright.
    splitter->setStretchFactor(0, 7);
    splitter->setStretchFactor(1, 3);
    splitter->setSizes({7000, 3000});

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(heading);
    layout->addWidget(label);
    layout->addWidget(splitter, 1);

    setUpManagePane(label, pane, QStringLiteral("CIS Connection Handle: "), false);
    addStream(m_handle);
    showStream(m_handle);

    fillProcTable();
    // The dongle's isochronous answers travel with the other modules above the L2CAP one.
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvRfuMsg, this, &SlaveCISWidget::onRcvMsg);
}

SlaveCISWidget::~SlaveCISWidget() = default;

void SlaveCISWidget::fillProcTable()
{
    procTable = {
        {"BB@06@0D", &SlaveCISWidget::ackProc},
        {"BB@06@01", &SlaveCISWidget::ackProc},
        {"BB@06@0B", &SlaveCISWidget::ackProc},
        {"BB@06@0C", &SlaveCISWidget::ackProc},
        {"BB@06@0E", &SlaveCISWidget::ackProc},
        {"DD@06@0B", &SlaveCISWidget::disconnectCisProc},
        {"DD@06@01", &SlaveCISWidget::readIsoTxSyncProc},
        {"DD@06@09", &SlaveCISWidget::setupDataPathProc},
        {"DD@06@0A", &SlaveCISWidget::removeDataPathProc},
        {"DD@06@0F", &SlaveCISWidget::receiveIsoDataProc},
    };
}

void SlaveCISWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

void SlaveCISWidget::onSlaveDisconnect()
{
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Disconnect CIS"),
                           {{QStringLiteral("cis_conncet_handle"), uint(m_handle)}}))
        CCommand::logSendFailed(m_logger, QStringLiteral("Disconnect CIS"));
}

void SlaveCISWidget::disconnectCisProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parse(frame, fields))
        return;
    const quint64 handle = numberOf(fields, "cis_connection_handle");
    if (handle == m_handle)
        emit disConnectSlaveCIS(handle);
}
