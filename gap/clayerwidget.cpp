#include "clayerwidget.h"

#include <QVBoxLayout>

#include "app/flat/cflattabwidget.h"
#include "gap/cgapcmdwidget.h"
#include "gatt/cgattwidget.h"
#include "l2cap/cl2capwidget.h"
#include "log/logmanager.h"

CLayerWidget::CLayerWidget(CMsg* msg, LogManager* logger, FieldValueMap* config,
                           const QString* dongleName, uint8_t role, quint16 interval,
                           quint16 latency, quint16 supervisionTimeout, const QString& name,
                           const QString& address, uint8_t condix, QWidget* parent)
    : QWidget(parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_config(config)
    , m_dongleName(dongleName)
    , m_role(role)
    , m_condix(condix)
    , m_interval(interval)
    , m_latency(latency)
    , m_supervisionTimeout(supervisionTimeout)
    , m_name(name)
    , m_address(address)
    , m_pages(new CFlatTabWidget(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_pages->setTabPosition(QTabWidget::West);
    m_gattPage = new CGattWidget(condix, msg, logger, dongleName, m_pages);
    connect(m_gattPage, &CGattWidget::sig_showDongleTab, this, &CLayerWidget::sig_showDongleTab);
    m_gapPage = new CGapCmdWidget(msg, logger, config, dongleName, condix, interval, latency, supervisionTimeout,
                                  name, address, m_pages);
    connect(m_gapPage, &CGapCmdWidget::sig_showDongleTab, this, &CLayerWidget::sig_showDongleTab);
    m_l2capPage = new CL2capWidget(condix, msg, logger, dongleName, m_pages);
    connect(m_l2capPage, &CL2capWidget::sig_showDongleTab, this, &CLayerWidget::sig_showDongleTab);
    // One letter per line: the titles stand upright beside the pages.
    m_pages->addTab(m_gattPage, QStringLiteral("G\r\nA\r\nT\r\nT"));
    m_pages->addTab(m_gapPage, QStringLiteral("G\r\nA\r\nP"));
    m_pages->addTab(m_l2capPage, QStringLiteral("L\r\n2\r\nC\r\nA\r\nP"));
    layout->addWidget(m_pages);
}

CLayerWidget::~CLayerWidget() = default;

void CLayerWidget::disconnect()
{
    if (!CCommand::sendMsg(m_msg, m_logger, "Disconnect", {{"condix", QByteArray(1, char(m_condix))}}, {}))
        CCommand::logSendFailed(m_logger, "Disconnect");
}
