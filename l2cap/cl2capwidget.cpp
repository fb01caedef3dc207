#include "cl2capwidget.h"
#include "ui_cl2capwidget.h"

#include <QRegularExpression>

#include "l2cap/ccreatecocreqdlg.h"
#include "l2cap/csduwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/cmsgfield.h"
#include "schema/cstandardmsgdlg.h"
#include "schema/cutil.h"

namespace {

const char* const kSourceFile = ".\\cl2capwidget";
// The stack's status for an SDU that the peer has no credits for: the page waits for a grant.
constexpr int kNoCredits = 42;

QString channelTitle(const QString& localId)
{
    return QStringLiteral("Channel [ID:%1]").arg(localId);
}

// A form's value text (hex, as the codec sends it) as decimal text.
QString formDecimal(const FieldValueMap& values, const char* key)
{
    return QString::number(values.value(QLatin1String(key)).toString().toULongLong(nullptr, 16));
}

} // namespace

CL2capWidget::CL2capWidget(uint8_t condix, CMsg* msg, LogManager* logger, const QString* dongleName, QWidget* parent)
    : QWidget(parent)
    , ui(new Ui::CL2capWidget)
    , m_condix(condix)
    , m_msg(msg)
    , m_logger(logger)
    , m_dongleName(dongleName)
{
    ui->setupUi(this);
    // Stretch factors share only the space left over by size hints: start at 3:7 outright.
    ui->splitter->setStretchFactor(0, 3);
    ui->splitter->setStretchFactor(1, 7);
    ui->splitter->setSizes({3000, 7000});
    ui->treeWidget->setColumnWidth(0, 150);
    fillProcTable();
    if (m_msg) {
        connect(m_msg, &CMsg::sig_rcvL2capMsg, this, &CL2capWidget::onRcvMsg);
        // The dongle answers "Accept Create COC Request" under module 07, which travels there.
        connect(m_msg, &CMsg::sig_rcvRfuMsg, this, &CL2capWidget::onRcvMsg);
    }
}

CL2capWidget::~CL2capWidget()
{
    delete ui;
}

void CL2capWidget::fillProcTable()
{
    procTable = {
        {"BB@04@01", &CL2capWidget::sdkProc},
        {"DD@04@02", &CL2capWidget::creatingCOCProc},
        {"BB@04@03", &CL2capWidget::sdkProc},
        {"DD@04@04", &CL2capWidget::sendingSDUProc},
        {"DD@04@06", &CL2capWidget::receivedCreatingCOCRequestProc},
        {"BB@07@01", &CL2capWidget::lastSdkProc},
        {"DD@04@0A", &CL2capWidget::receivedSDUProc},
        {"BB@04@0B", &CL2capWidget::sdkProc},
        {"DD@04@0C", &CL2capWidget::localCreditsManagementProc},
        {"DD@04@15", &CL2capWidget::RemoteCreditsManagementProc},
        {"BB@04@13", &CL2capWidget::sdkProc},
        {"DD@04@14", &CL2capWidget::l2CAPCOCDisconnectProc},
    };
}

void CL2capWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

bool CL2capWidget::parseOwn(const QByteArray& frame, UplinkFieldMap& fields, int line, const char* function)
{
    const bool parsed = CCommand::parseUplinkMsg(m_logger, frame, fields) == 0;
    // A frame cut short lacks its condix, which is this handler's internal error too.
    const int condix = byteField(fields, "condix", line, function);
    if (!parsed || condix != m_condix)
        return false;
    CCommand::logUplink(m_logger, frame, fields);
    return true;
}

int CL2capWidget::byteField(const UplinkFieldMap& fields, const char* key, int line, const char* function)
{
    const QByteArray value = fields.value(QLatin1String(key));
    if (value.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, line, QStringLiteral("CL2capWidget::") + QLatin1String(function));
        return -1;
    }
    return quint8(value.at(0));
}

ChannelInfo* CL2capWidget::channelOf(const UplinkFieldMap& fields, QString& localId)
{
    localId = decimal(fields.value(QStringLiteral("local_cid")));
    const auto channel = m_channels.find(localId);
    return channel == m_channels.end() ? nullptr : &channel.value();
}

QString CL2capWidget::decimal(const QByteArray& littleEndian)
{
    quint64 value = 0;
    CUtil::arrayToValue(0, littleEndian, value);
    return QString::number(value);
}

void CL2capWidget::sdkProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
}

void CL2capWidget::lastSdkProc(const QByteArray& frame)
{
    CCommand::lastSDKProc(m_logger, frame);
}

// ---- Opening and closing ----

void CL2capWidget::on_toolButtonAdd_clicked()
{
    if (m_createDialog)
        return;
    m_createDialog = new CStandardMsgDlg(QStringLiteral("Create COC"), m_logger, QStringLiteral("Create COC"), this,
                                         CStandardMsgDlg::WholeCommand);
    connect(m_createDialog, &CStandardMsgDlg::sig_standardOKClicked, this, &CL2capWidget::on_addCocMsgSend);
    m_createDialog->open();
}

void CL2capWidget::on_addCocMsgSend()
{
    if (!m_createDialog)
        return;
    FieldValueMap values;
    m_createDialog->form()->readFormValues(values);
    const QString localId = formDecimal(values, "local_cid");
    m_requests.insert(localId, ChannelInfo::openingSide(formDecimal(values, "le_psm"), formDecimal(values, "mtu"),
                                                        formDecimal(values, "mps"), formDecimal(values, "local_credits")));
    values.insert(QStringLiteral("condix"), uint(m_condix));
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Create COC"), values))
        CCommand::logSendFailed(m_logger, QStringLiteral("Create COC"));
}

void CL2capWidget::creatingCOCProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields, __LINE__, "creatingCOCProc"))
        return;
    const int opStatus = byteField(fields, "op_status", __LINE__, "creatingCOCProc");
    const int status = byteField(fields, "status", __LINE__, "creatingCOCProc");
    if (opStatus < 0 || status < 0)
        return;
    const QMap<QString, QString> report = CCommand::uplinkFieldsToDecimal(fields);
    const QString localId = report.value(QStringLiteral("local_cid"));
    const ChannelSide requested = m_requests.take(localId);
    if (opStatus != 0 || status != 0) {
        for (const int failure : {opStatus, status})
            if (failure != 0)
                CCommand::logUplinkResult(m_logger, frame, failure);
        return;
    }
    ChannelInfo info;
    // The local side is what the user asked for; the report's count stands in only for a
    // request this tab did not make.
    const QString localCredits =
        requested.value(ChannelInfo::InitialCredits, report.value(QStringLiteral("local_credits")));
    info.local = ChannelInfo::openingSide(requested.value(ChannelInfo::Psm), requested.value(ChannelInfo::Mtu),
                                          requested.value(ChannelInfo::Mps), localCredits);
    info.remote = ChannelInfo::openingSide(report.value(QStringLiteral("peer_psm")),
                                           report.value(QStringLiteral("peer_mtu")),
                                           report.value(QStringLiteral("peer_mps")),
                                           report.value(QStringLiteral("peer_credits")));
    addChannel(localId, info);
}

void CL2capWidget::receivedCreatingCOCRequestProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields, __LINE__, "receivedCreatingCOCRequestProc"))
        return;
    emit sig_showDongleTab(dongleName());
    auto* dialog = new CCreateCOCReqDlg(m_msg, m_logger, dongleName(), m_condix, fields, this);
    connect(dialog, &CCreateCOCReqDlg::receiveCOCRequest, this, &CL2capWidget::on_receiveCOCRequest);
    dialog->show();
}

void CL2capWidget::on_receiveCOCRequest(QString localId, ChannelInfo channelInfo, FieldValueMap)
{
    addChannel(localId, channelInfo);
}

void CL2capWidget::addChannel(const QString& localId, const ChannelInfo& info)
{
    if (m_sduWidgets.contains(localId))
        return; // the dongle never opens one id twice on a link
    m_channels.insert(localId, info);
    auto* page = new CSduWidget(m_msg, m_logger, dongleName(), ui->stackedWidget);
    // Sent SDUs are cut to what the peer takes in one.
    page->setup(m_condix, localId, quint16(ChannelInfo::number(info.remote, ChannelInfo::Mtu)));
    connect(this, &CL2capWidget::readySendSDU, page, &CSduWidget::on_readySendSDU);
    connect(this, &CL2capWidget::receiveSDU, page, &CSduWidget::on_receiveSDU);
    connect(this, &CL2capWidget::consumedCreditChanged, page, &CSduWidget::on_consumedCreditChanged);
    connect(this, &CL2capWidget::remoteCreditChanged, page, &CSduWidget::on_remoteCreditChanged);
    connect(this, &CL2capWidget::sig_creditErrorStop, page, &CSduWidget::on_creditErrorCheck);
    connect(this, &CL2capWidget::sig_buttonInit, page, &CSduWidget::on_buttonInit);
    connect(page, &CSduWidget::sig_sendCredit, this, &CL2capWidget::on_sendCredit);
    connect(page, &CSduWidget::sig_sendSDUData, this, &CL2capWidget::on_getSendSDUData);
    m_sduWidgets.insert(localId, page);
    ui->stackedWidget->addWidget(page);
    ui->listWidget->addItem(channelTitle(localId));
    ui->listWidget->setCurrentRow(ui->listWidget->count() - 1);
}

void CL2capWidget::on_toolButtonRemove_clicked()
{
    const QListWidgetItem* item = ui->listWidget->currentItem();
    const QRegularExpressionMatch id = QRegularExpression(QStringLiteral("\\d+")).match(item ? item->text() : QString());
    if (!id.hasMatch()) {
        m_logger->log(QStringLiteral("The row selected is wrong."), 1);
        return;
    }
    const FieldValueMap fields{{QStringLiteral("local_cid"), id.captured().toUInt()},
                               {QStringLiteral("condix"), uint(m_condix)}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Disconnect COC"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("Disconnect COC"));
}

void CL2capWidget::l2CAPCOCDisconnectProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields, __LINE__, "l2CAPCOCDisconnectProc"))
        return;
    const int status = byteField(fields, "status", __LINE__, "l2CAPCOCDisconnectProc");
    if (status != 0) {
        if (status > 0)
            CCommand::logUplinkResult(m_logger, frame, status);
        return;
    }
    const QString localId = decimal(fields.value(QStringLiteral("local_cid")));
    const QList<QListWidgetItem*> items = ui->listWidget->findItems(channelTitle(localId), Qt::MatchExactly);
    if (items.isEmpty())
        return;
    delete items.first();
    delete m_sduWidgets.take(localId);
    m_channels.remove(localId);
    m_pendingCredits.remove(localId);
    on_listWidget_currentRowChanged(ui->listWidget->currentRow());
}

void CL2capWidget::on_listWidget_currentRowChanged(int row)
{
    const QListWidgetItem* item = ui->listWidget->item(row);
    showChannel(item ? QRegularExpression(QStringLiteral("\\d+")).match(item->text()).captured() : QString());
}

void CL2capWidget::redrawIfShown(const QString& localId)
{
    const QListWidgetItem* current = ui->listWidget->currentItem();
    if (current && current->text() == channelTitle(localId))
        showChannel(localId);
}

void CL2capWidget::showChannel(const QString& localId)
{
    ui->treeWidget->clear();
    const auto channel = m_channels.constFind(localId);
    if (channel == m_channels.cend()) {
        ui->labelDetails->clear();
        ui->stackedWidget->setCurrentWidget(ui->emptyPage);
        return;
    }
    ui->labelDetails->setText(channelTitle(localId) + QStringLiteral(" Details:"));
    const QPair<QString, const ChannelSide*> groups[] = {{QStringLiteral("Local Setting"), &channel->local},
                                                         {QStringLiteral("Remote Setting"), &channel->remote}};
    for (const auto& group : groups) {
        auto* top = new QTreeWidgetItem(ui->treeWidget, {group.first});
        for (const QString& key : ChannelInfo::keys())
            new QTreeWidgetItem(top, {key, group.second->value(key)});
    }
    ui->treeWidget->expandAll();
    ui->stackedWidget->setCurrentWidget(m_sduWidgets.value(localId));
}

// ---- Credits ----

void CL2capWidget::logCredits(const QString& what, const ChannelSide& side)
{
    m_logger->log(what + QStringLiteral(" consumed credits ") + side.value(ChannelInfo::ConsumedCredits)
                      + QStringLiteral(" remain credits ") + side.value(ChannelInfo::RemainingCredits),
                  1);
}

void CL2capWidget::sendingSDUProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields, __LINE__, "sendingSDUProc"))
        return;
    const int status = byteField(fields, "status", __LINE__, "sendingSDUProc");
    if (status < 0)
        return;
    QString localId;
    ChannelInfo* channel = channelOf(fields, localId);
    if (!channel)
        return;
    if (status == kNoCredits) {
        emit sig_creditErrorStop(localId);
        return;
    }
    if (status != 0) {
        CCommand::logUplinkResult(m_logger, frame, status);
        emit sig_buttonInit(localId);
        return;
    }
    const qint64 credits = decimal(fields.value(QStringLiteral("credits"))).toLongLong();
    const qint64 remaining = ChannelInfo::number(channel->remote, ChannelInfo::RemainingCredits) - credits;
    if (remaining < 0) {
        // The peer's grants are the dongle's to count; the page only shows them.
        m_logger->log(QStringLiteral("The remote dongle remain credit is ") + QString::number(remaining)
                          + QStringLiteral(" last consumed is ") + QString::number(credits),
                      1);
    } else {
        ChannelInfo::consume(channel->remote, credits);
        logCredits(QStringLiteral(" send sdu proc"), channel->remote);
        redrawIfShown(localId);
    }
    emit readySendSDU(localId);
}

void CL2capWidget::receivedSDUProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields, __LINE__, "receivedSDUProc"))
        return;
    QString localId;
    ChannelInfo* channel = channelOf(fields, localId);
    if (!channel)
        return;
    ChannelSide& local = channel->local;
    ChannelInfo::consume(local, decimal(fields.value(QStringLiteral("credits"))).toLongLong());
    const QString consumed = local.value(ChannelInfo::ConsumedCredits);
    const QString remaining = local.value(ChannelInfo::RemainingCredits);
    redrawIfShown(localId);
    emit receiveSDU(localId, remaining, consumed, fields.value(QStringLiteral("data")), fields);
    logCredits(QStringLiteral(" receive sdu proc"), local);
}

void CL2capWidget::on_sendCredit(QString cid, QString credit)
{
    m_pendingCredits.insert(cid, credit);
    ++m_creditSendCount;
}

void CL2capWidget::on_getSendSDUData()
{
    ++m_sduSendCount;
}

// The answer names no amount: the one just sent waits in the pending map.
void CL2capWidget::localCreditsManagementProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields, __LINE__, "localCreditsManagementProc"))
        return;
    const int status = byteField(fields, "status", __LINE__, "localCreditsManagementProc");
    if (status != 0) {
        if (status > 0)
            CCommand::logUplinkResult(m_logger, frame, status);
        return;
    }
    QString localId;
    ChannelInfo* channel = channelOf(fields, localId);
    if (!channel)
        return;
    const qint64 released = m_pendingCredits.value(localId).toLongLong();
    ChannelInfo::release(channel->local, released);
    const QString consumed = channel->local.value(ChannelInfo::ConsumedCredits);
    m_logger->log(QString::number(released) + QStringLiteral(" consumed credits is ") + consumed, 1);
    logCredits(QStringLiteral(" local credits manage"), channel->local);
    redrawIfShown(localId);
    emit consumedCreditChanged(localId, consumed.toUInt());
}

void CL2capWidget::RemoteCreditsManagementProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields, __LINE__, "RemoteCreditsManagementProc"))
        return;
    QString localId;
    ChannelInfo* channel = channelOf(fields, localId);
    if (!channel)
        return;
    ChannelInfo::release(channel->remote, decimal(fields.value(QStringLiteral("credits"))).toLongLong());
    logCredits(QStringLiteral(" remote credits manage"), channel->remote);
    redrawIfShown(localId);
    emit remoteCreditChanged(localId);
}
