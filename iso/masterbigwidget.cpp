#include "masterbigwidget.h"

#include <QTableView>
#include <QToolButton>

#include "iso/bigdatatablemodel.h"
#include "iso/bisdatatablemodel.h"
#include "iso/cisoparameterdialog.h"
#include "iso/manageciswidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

MasterBIGWidget::MasterBIGWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings, QWidget* parent)
    : CBigPageOf(msg, logger, settings, QStringLiteral("Terminate BIG Sync"), QStringLiteral("Create BIG Sync"), true,
               parent)
    , m_bigParameterDialog(new bigParameterDialog(logger, this))
    , m_bisParameterDialog(new bisParameterDialog(this))
{
    connect(tableView_BIG, &QTableView::pressed, this, &MasterBIGWidget::on_BIGTableView_changed);
    connect(m_bigParameterDialog, &bigParameterDialog::sig_bigParaUpdate, this, &MasterBIGWidget::on_rcvBIGPara);
    connect(m_bisParameterDialog, &bisParameterDialog::sig_bisParaUpdate, this, &MasterBIGWidget::on_rcvBISPara);
    QMetaObject::connectSlotsByName(this);

    fillProcTable();
    // The dongle's isochronous answers travel with the other modules above the L2CAP one.
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvRfuMsg, this, &MasterBIGWidget::onRcvMsg);
}

MasterBIGWidget::~MasterBIGWidget() = default;

void MasterBIGWidget::fillProcTable()
{
    procTable = {
        {"BB@06@01", &MasterBIGWidget::ackProc},
        {"BB@06@09", &MasterBIGWidget::ackProc},
        {"BB@06@0A", &MasterBIGWidget::ackProc},
        {"BB@06@0B", &MasterBIGWidget::ackProc},
        {"BB@06@0C", &MasterBIGWidget::ackProc},
        {"BB@06@0E", &MasterBIGWidget::ackProc},
        {"DD@06@07", &MasterBIGWidget::bigCreateSyncProc},
        {"DD@06@12", &MasterBIGWidget::bigTerminateSyncProc},
        {"DD@06@01", &MasterBIGWidget::readIsoTxSyncProc},
        {"DD@06@09", &MasterBIGWidget::setupDataPathProc},
        {"DD@06@0A", &MasterBIGWidget::removeDataPathProc},
        {"DD@06@0F", &MasterBIGWidget::receiveIsoDataProc},
    };
}

void MasterBIGWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

void MasterBIGWidget::removeBigRecord(int row)
{
    syncHandles.remove(m_bigModel->at(row).big_id);
    CBigPageOf::removeBigRecord(row);
}

// ---- Defining BIGs and BISes ----

void MasterBIGWidget::on_toolButton_addBIG_clicked()
{
    m_bigParameterDialog->runAdd();
}

void MasterBIGWidget::on_toolButton_editBIG_clicked()
{
    const int row = currentBigRow();
    if (row >= 0)
        m_bigParameterDialog->runEdit(m_bigModel->at(row));
}

void MasterBIGWidget::on_rcvBIGPara(bigParameter bigData)
{
    if (m_bigParameterDialog->editMode()) {
        const int row = currentBigRow();
        if (row < 0)
            return;
        m_bigModel->replace(row, bigData);
        syncHandles.insert(bigData.big_id, m_syncValue);
        selectBig(row);
        return;
    }
    m_bigModel->append(bigData);
    syncHandles.insert(bigData.big_id, m_syncValue);
    // The empty BIS table is the new BIG's: BISes added now belong to it.
    selectBig(m_bigModel->rowCount() - 1);
}

void MasterBIGWidget::on_toolButton_removeBIG_clicked()
{
    removeCurrentBig();
}

void MasterBIGWidget::on_toolButton_addBIS_clicked()
{
    m_bisParameterDialog->runAdd();
}

void MasterBIGWidget::on_toolButton_editBIS_clicked()
{
    const QModelIndex current = tableView_BIS->currentIndex();
    if (current.isValid() && current.row() < m_bisModel->rowCount())
        m_bisParameterDialog->runEdit(m_bisModel->at(current.row()));
}

void MasterBIGWidget::on_rcvBISPara(bisParameter bisData)
{
    if (currentBigRow() < 0)
        return;
    const QModelIndex current = tableView_BIS->currentIndex();
    if (m_bisParameterDialog->editMode()) {
        if (!current.isValid() || current.row() >= m_bisModel->rowCount())
            return;
        m_bisModel->replace(current.row(), bisData);
    } else {
        m_bisModel->append(bisData);
    }
    storeBisRows();
    toolButton_createBIG->setEnabled(true);
}

void MasterBIGWidget::on_toolButton_removeBIS_clicked()
{
    const QModelIndex current = tableView_BIS->currentIndex();
    if (!current.isValid() || current.row() >= m_bisModel->rowCount()
        || !m_bisModel->at(current.row()).connection_handle.isEmpty())
        return;
    m_bisModel->remove(current.row());
    storeBisRows();
}

// ---- The sync on the dongle ----

void MasterBIGWidget::on_toolButton_createBIG_clicked()
{
    const int row = currentBigRow();
    if (row < 0)
        return;
    const bigParameter& big = m_bigModel->at(row);
    const QVector<bisParameter> streams = bisByBig.value(big.big_id);
    QByteArray bis;
    for (const bisParameter& stream : streams)
        bis.append(char(stream.bis_id.toUInt()));
    const FieldValueMap fields{
        {QStringLiteral("big_id"), big.big_id.toUInt()},
        {QStringLiteral("sync_handle"), uint(syncHandles.value(big.big_id))},
        // Decimal text that the codec reads as hex: ten BISes go out as 0x10.
        {QStringLiteral("num_bis"), QString::number(streams.size())},
        {QStringLiteral("encryption"), big.encryption.toUInt()},
        {QStringLiteral("broadcastcode"), broadcastCode(big.broadcastcode)},
        {QStringLiteral("mse"), big.mse.toUInt()},
        {QStringLiteral("big_sync_timeout"), big.big_sync_timeout.toUInt()},
        {QStringLiteral("bis"), bis},
    };
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("BIG Create Sync"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("BIG Create Sync"));
}

void MasterBIGWidget::bigCreateSyncProc(const QByteArray& frame)
{
    bigCreated(frame, "The returned big ID is wrong in BIG Create Sync command.",
               "The returned cis count is wrong in BIG Create Sync command.",
               [](manageCISWidget* page) { page->setBroadcastReceiver(true); });
}

void MasterBIGWidget::on_toolButton_terminateBIG_clicked()
{
    sendForCurrentBig(QStringLiteral("Big Terminate Sync"));
}

void MasterBIGWidget::bigTerminateSyncProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parse(frame, fields) || !succeeded(frame, fields))
        return;
    const QString bigId = QString::number(numberOf(fields, "big_id"));
    for (int row = 0; row < bigCount(); ++row) {
        if (bigIdAt(row) == bigId) {
            bigEnded(row);
            m_logger->log(QStringLiteral("BIG Terminate Sync succeed."), 2);
            return;
        }
    }
}
