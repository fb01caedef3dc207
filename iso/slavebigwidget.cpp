#include "slavebigwidget.h"

#include <QTableView>
#include <QToolButton>

#include "iso/bisdatatablemodel.h"
#include "iso/cisoparameterdialog.h"
#include "iso/manageciswidget.h"
#include "iso/slavebigdatatablemodel.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

SlaveBIGWidget::SlaveBIGWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings, QWidget* parent)
    : CBigPageOf(msg, logger, settings, QStringLiteral("Terminate BIG"), QStringLiteral("Create BIG"), false, parent)
    , m_bigParameterDialog(new SlaveBIGParaDialog(logger, this))
{
    connect(tableView_BIG, &QTableView::pressed, this, &SlaveBIGWidget::on_BIGTableView_changed);
    connect(m_bigParameterDialog, &SlaveBIGParaDialog::sig_slaveBigParaUpdate, this, &SlaveBIGWidget::on_rcvBIGPara);
    QMetaObject::connectSlotsByName(this);

    fillProcTable();
    // The dongle's isochronous answers travel with the other modules above the L2CAP one.
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvRfuMsg, this, &SlaveBIGWidget::onRcvMsg);
}

SlaveBIGWidget::~SlaveBIGWidget() = default;

void SlaveBIGWidget::fillProcTable()
{
    procTable = {
        {"BB@06@01", &SlaveBIGWidget::ackProc},
        {"BB@06@07", &SlaveBIGWidget::ackProc},
        {"BB@06@08", &SlaveBIGWidget::ackProc},
        {"BB@06@0B", &SlaveBIGWidget::ackProc},
        {"BB@06@0C", &SlaveBIGWidget::ackProc},
        {"BB@06@0E", &SlaveBIGWidget::ackProc},
        {"DD@06@05", &SlaveBIGWidget::createBigProc},
        {"DD@06@06", &SlaveBIGWidget::terminateBigProc},
        {"DD@06@01", &SlaveBIGWidget::readIsoTxSyncProc},
        {"DD@06@09", &SlaveBIGWidget::setupDataPathProc},
        {"DD@06@0A", &SlaveBIGWidget::removeDataPathProc},
    };
}

void SlaveBIGWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

// ---- Defining BIGs ----

void SlaveBIGWidget::on_toolButton_addBIG_clicked()
{
    m_bigParameterDialog->runAdd();
}

void SlaveBIGWidget::on_toolButton_editBIG_clicked()
{
    const int row = currentBigRow();
    if (row >= 0)
        m_bigParameterDialog->runEdit(m_bigModel->at(row));
}

void SlaveBIGWidget::on_rcvBIGPara(slaveBigPara bigData)
{
    if (advIndex.isEmpty())
        m_logger->log(QStringLiteral("Please set slave BIG Widget adv Index before set BIG."), 1);
    bigData.adv_index = advIndex;
    // The BISes follow from the BIG: as many as it has, numbered from 0.
    QVector<bisParameter> streams;
    for (uint id = 0; id < bigData.number_bis.toUInt(); ++id)
        streams.append(bisParameter{QString::number(id), QString()});
    bisByBig.insert(bigData.big_id, streams);

    int row = m_bigModel->rowCount();
    if (m_bigParameterDialog->editMode()) {
        row = currentBigRow();
        if (row < 0)
            return;
        m_bigModel->replace(row, bigData);
    } else {
        m_bigModel->append(bigData);
    }
    selectBig(row);
}

void SlaveBIGWidget::on_toolButton_removeBIG_clicked()
{
    removeCurrentBig();
}

// ---- The BIG on the dongle ----

void SlaveBIGWidget::on_toolButton_createBIG_clicked()
{
    const int row = currentBigRow();
    if (row < 0)
        return;
    const slaveBigPara& big = m_bigModel->at(row);
    const FieldValueMap fields{
        {QStringLiteral("big_id"), big.big_id.toUInt()},
        {QStringLiteral("adv_index"), big.adv_index.toUInt()},
        {QStringLiteral("number_bis"), big.number_bis.toUInt()},
        {QStringLiteral("sdu_interval"), big.sdu_interval.toUInt()},
        {QStringLiteral("max_sdu"), big.max_sdu.toUInt()},
        {QStringLiteral("transport_latency"), big.transport_latency.toUInt()},
        {QStringLiteral("rtn"), big.rtn.toUInt()},
        {QStringLiteral("phy"), big.phy.toUInt()},
        {QStringLiteral("packing"), big.packing.toUInt()},
        {QStringLiteral("framing"), big.framing.toUInt()},
        {QStringLiteral("encryption"), big.encryption.toUInt()},
        {QStringLiteral("broadcastcode"), broadcastCode(big.broadcastcode)},
    };
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Create BIG"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("Create BIG"));
}

void SlaveBIGWidget::createBigProc(const QByteArray& frame)
{
    const int row = currentBigRow();
    if (row < 0)
        return;
    const slaveBigPara big = m_bigModel->at(row);
    bigCreated(frame, "The returned big ID is wrong in Create BIG command.",
               "The returned cis count is wrong in Create BIG command.", [&big](manageCISWidget* page) {
                   page->setBroadcastReceiver(false);
                   page->setStreamParameters(big.sdu_interval, big.max_sdu);
                   page->setIntervalEditable(false);
               });
}

void SlaveBIGWidget::on_toolButton_terminateBIG_clicked()
{
    sendForCurrentBig(QStringLiteral("Terminate BIG"));
}

// The reason is not shown: whatever ended the BIG, its pages go.
void SlaveBIGWidget::terminateBigProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parse(frame, fields))
        return;
    const int row = currentBigRow();
    if (row < 0)
        return;
    if (numberOf(fields, "big_id") != bigIdAt(row).toULongLong()) {
        showError(QStringLiteral("The returned big ID is wrong in Terminate BIG command."));
        return;
    }
    bigEnded(row);
    m_logger->log(QStringLiteral("BIG Terminate Sync succeed."), 2);
}
