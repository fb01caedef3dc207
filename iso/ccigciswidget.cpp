#include "ccigciswidget.h"
#include "ui_ccigciswidget.h"

#include "iso/cigdatatablemodel.h"
#include "iso/cisdatatablemodel.h"
#include "iso/cisoparameterdialog.h"
#include "iso/createcisdialog.h"
#include "iso/manageciswidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/cutil.h"

namespace {

const char* const kHandleLabel = "CIS Connection Handle: ";

} // namespace

CCigCisWidget::CCigCisWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings, const QString* dongleName,
                             const QByteArray* masterCondixes, QWidget* parent)
    : CIsoStreamPage(msg, logger, settings, parent)
    , ui(new Ui::CCigCisWidget)
    , m_dongleName(dongleName)
    , masterCondixes(masterCondixes)
    , m_cigModel(new CigDataTableModel(this))
    , m_cisModel(new CisDataTableModel(this))
{
    ui->setupUi(this);
    // Stretch factors share only the space left over by size hints: start at 58:42 outright.
    ui->splitter->setStretchFactor(0, 58);
    ui->splitter->setStretchFactor(1, 42);
    ui->splitter->setSizes({5800, 4200});
    setUpTable(ui->tableView_CIG, m_cigModel);
    setUpTable(ui->tableView_CIS, m_cisModel);
    connect(ui->tableView_CIG, &QTableView::pressed, this, &CCigCisWidget::on_CISTableView_changed);
    connect(ui->tableView_CIS, &QTableView::pressed, this, &CCigCisWidget::on_manageCIS_changed);

    m_cigParameterDialog = new cigParameterDialog(logger, this);
    m_cisParameterDialog = new cisParameterDialog(logger, this);
    m_createCISDialog = new createCISDialog(msg, logger, this);
    connect(m_cigParameterDialog, &cigParameterDialog::sig_cigParaUpdate, this, &CCigCisWidget::on_getCigPara);
    connect(m_cisParameterDialog, &cisParameterDialog::sig_cisParaUpdate, this, &CCigCisWidget::on_getCisPara);

    setUpManagePane(ui->label_connection, ui->verticalLayout_manageCIS, QLatin1String(kHandleLabel), true);

    fillProcTable();
    // The dongle's isochronous answers travel with the other modules above the L2CAP one.
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvRfuMsg, this, &CCigCisWidget::onRcvMsg);
}

CCigCisWidget::~CCigCisWidget()
{
    delete ui;
}

void CCigCisWidget::fillProcTable()
{
    procTable = {
        {"BB@06@01", &CCigCisWidget::ackProc},
        {"BB@06@02", &CCigCisWidget::ackProc},
        {"BB@06@03", &CCigCisWidget::ackProc},
        {"BB@06@04", &CCigCisWidget::ackProc},
        {"BB@06@0B", &CCigCisWidget::ackProc},
        {"BB@06@0C", &CCigCisWidget::ackProc},
        {"BB@06@0D", &CCigCisWidget::ackProc},
        {"BB@06@0E", &CCigCisWidget::ackProc},
        {"DD@06@02", &CCigCisWidget::setCigProc},
        {"DD@06@03", &CCigCisWidget::createCisProc},
        {"DD@06@0B", &CCigCisWidget::disconnectCisProc},
        {"DD@06@04", &CCigCisWidget::removeCigProc},
        {"DD@06@01", &CCigCisWidget::readIsoTxSyncProc},
        {"DD@06@09", &CCigCisWidget::setupDataPathProc},
        {"DD@06@0A", &CCigCisWidget::removeDataPathProc},
        {"DD@06@0F", &CCigCisWidget::receiveIsoDataProc},
    };
}

void CCigCisWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

bool CCigCisWidget::hasCig() const
{
    return m_cigModel->rowCount() > 0;
}

int CCigCisWidget::currentCigRow() const
{
    return m_cigIndex.isValid() && m_cigIndex.row() < m_cigModel->rowCount() ? m_cigIndex.row() : -1;
}

const cigParameter* CCigCisWidget::currentCig() const
{
    const int row = currentCigRow();
    return row < 0 ? nullptr : &m_cigModel->at(row);
}

void CCigCisWidget::storeCisRows()
{
    if (const cigParameter* cig = currentCig())
        cisByCig.insert(cig->cig_id, m_cisModel->rows());
}

// ---- Defining groups and streams ----

void CCigCisWidget::on_toolButton_AddCIG_clicked()
{
    m_cigParameterDialog->runAdd();
}

void CCigCisWidget::on_toolButton_editCIG_clicked()
{
    if (const cigParameter* cig = currentCig())
        m_cigParameterDialog->runEdit(*cig);
}

void CCigCisWidget::on_getCigPara(cigParameter cigData)
{
    if (m_cigParameterDialog->editMode()) {
        const int row = currentCigRow();
        if (row >= 0)
            m_cigModel->replace(row, cigData);
        return;
    }
    m_cigModel->append(cigData);
    m_cisModel->clear();
    showPlaceholder();
    // The empty stream table is the new group's: streams added now belong to it.
    const QModelIndex added = m_cigModel->index(m_cigModel->rowCount() - 1, 0);
    ui->tableView_CIG->setCurrentIndex(added);
    on_CISTableView_changed(added);
}

void CCigCisWidget::on_toolButton_AddCIS_clicked()
{
    m_cisParameterDialog->runAdd();
}

void CCigCisWidget::on_toolButton_editCIS_clicked()
{
    const QModelIndex current = ui->tableView_CIS->currentIndex();
    if (current.isValid() && current.row() < m_cisModel->rowCount())
        m_cisParameterDialog->runEdit(m_cisModel->at(current.row()));
}

void CCigCisWidget::on_getCisPara(cisParameter cisData)
{
    if (!currentCig())
        return;
    const QModelIndex current = ui->tableView_CIS->currentIndex();
    if (m_cisParameterDialog->editMode()) {
        if (!current.isValid() || current.row() >= m_cisModel->rowCount())
            return;
        m_cisModel->replace(current.row(), cisData);
    } else {
        m_cisModel->append(cisData);
    }
    storeCisRows();
    ui->toolButton_setCIG->setEnabled(true);
}

void CCigCisWidget::on_CISTableView_changed(QModelIndex index)
{
    ui->toolButton_AddCIS->setEnabled(true);
    ui->toolButton_setCIG->setEnabled(true);
    if (!index.isValid() || index.row() >= m_cigModel->rowCount()) {
        m_logger->log(QStringLiteral("CCigcisWidget::on_CISTableView_changed:Clicked index is not valid."), 1);
        return;
    }
    const cigParameter& cig = m_cigModel->at(index.row());
    ui->toolButton_createCIS->setEnabled(cig.configured == 1);
    m_cisModel->setRows(cisByCig.value(cig.cig_id));
    m_cigIndex = index;
}

void CCigCisWidget::on_manageCIS_changed(QModelIndex index)
{
    if (!index.isValid() || index.row() >= m_cisModel->rowCount())
        return;
    const cisParameter& cis = m_cisModel->at(index.row());
    const bool assigned = !cis.connection_handle.isEmpty();
    ui->toolButton_editCIS->setEnabled(!assigned);
    ui->toolButton_removeCIS->setEnabled(!assigned);
    if (!assigned)
        return;
    const quint16 handle = cis.connection_handle.toUShort();
    const bool standing = cis.connected == 1 && manageWidgets.contains(handle);
    ui->toolButton_disconnect->setEnabled(standing);
    if (standing)
        showStream(handle);
    else
        showPlaceholder();
}

void CCigCisWidget::on_toolButton_removeCIS_clicked()
{
    const QModelIndex current = ui->tableView_CIS->currentIndex();
    if (!current.isValid() || current.row() >= m_cisModel->rowCount()
        || m_cisModel->at(current.row()).connected == 1)
        return;
    m_cisModel->remove(current.row());
    storeCisRows();
}

// ---- The group on the dongle ----

void CCigCisWidget::on_toolButton_setCIG_clicked()
{
    const cigParameter* cig = currentCig();
    if (!cig)
        return;
    const QVector<cisParameter> streams = cisByCig.value(cig->cig_id);
    QByteArray cis;
    for (const cisParameter& stream : streams) {
        cis.append(char(stream.cis_id.toUInt()));
        cis.append(CUtil::valueToArray(0, stream.max_sdu_m2s.toULongLong(), 2));
        cis.append(CUtil::valueToArray(0, stream.max_sdu_s2m.toULongLong(), 2));
        cis.append(char(stream.phy_m2s.toUInt()));
        cis.append(char(stream.phy_s2m.toUInt()));
        cis.append(char(stream.rtn_m2s.toUInt()));
        cis.append(char(stream.rtn_s2m.toUInt()));
    }
    const FieldValueMap fields{
        {QStringLiteral("cig_id"), cig->cig_id.toUInt()},
        {QStringLiteral("sdu_interval_m2s"), cig->sdu_interval_m2s.toUInt()},
        {QStringLiteral("sdu_interval_s2m"), cig->sdu_interval_s2m.toUInt()},
        {QStringLiteral("transport_latency_m2s"), cig->transport_latency_m2s.toUInt()},
        {QStringLiteral("transport_latency_s2m"), cig->transport_latency_s2m.toUInt()},
        {QStringLiteral("sca"), cig->sca.toUInt()},
        {QStringLiteral("packing"), cig->packing.toUInt()},
        {QStringLiteral("framing"), cig->framing.toUInt()},
        {QStringLiteral("cis_count"), uint(streams.size())},
        {QStringLiteral("cis"), cis},
    };
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("CIG Parameter Set"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("CIG Parameter Set"));
}

void CCigCisWidget::setCigProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parse(frame, fields))
        return;
    const int row = currentCigRow();
    if (row < 0)
        return;
    cigParameter cig = m_cigModel->at(row);
    QVector<cisParameter> streams = cisByCig.value(cig.cig_id);
    // Logged before the box: a reset may remove the page while the box is up.
    if (numberOf(fields, "cig_id") != cig.cig_id.toULongLong()) {
        m_logger->log(QStringLiteral("CIG ID sended is not equal to the response CIG ID."), 4);
        showError(QStringLiteral("The returned cig ID is wrong in set CIG command."));
        return;
    }
    if (numberOf(fields, "cis_count") != quint64(streams.size())) {
        m_logger->log(QStringLiteral("CIS Count sended is not equal to the response CIS Count."), 4);
        showError(QStringLiteral("The returned cis count is wrong in set CIG command."));
        return;
    }
    if (!succeeded(frame, fields))
        return;

    cig.configured = 1;
    m_cigModel->replace(row, cig);
    const QByteArray handles = fields.value(QStringLiteral("cis_handle"));
    for (int i = 0; i < streams.size() && 2 * i + 1 < handles.size(); ++i)
        streams[i].connection_handle = QString::number(CUtil::byteAraryToShort(handles.mid(2 * i, 2), 0));
    cisByCig.insert(cig.cig_id, streams);
    m_cisModel->setRows(streams);
    ui->toolButton_createCIS->setEnabled(true);
    ui->tableView_CIG->setCurrentIndex(m_cigIndex);
}

void CCigCisWidget::on_toolButton_removeCIG_clicked()
{
    const cigParameter* cig = currentCig();
    if (!cig)
        return;
    for (const cisParameter& stream : cisByCig.value(cig->cig_id)) {
        if (stream.connected == 1) {
            showError(QStringLiteral("Please check you have disconnected CIS Before remove CIG."));
            return;
        }
    }
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Remove CIG"), {{QStringLiteral("cig_id"), cig->cig_id.toUInt()}}))
        CCommand::logSendFailed(m_logger, QStringLiteral("Remove CIG"));
}

// The removal is taken whatever its status says: the group leaves the page.
void CCigCisWidget::removeCigProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parse(frame, fields))
        return;
    const int row = currentCigRow();
    if (row < 0)
        return;
    const QString cigId = m_cigModel->at(row).cig_id;
    if (numberOf(fields, "cig_id") != cigId.toULongLong()) {
        showError(QStringLiteral("The returned cig ID is wrong in remove CIG command."));
        return;
    }
    cisByCig.remove(cigId);
    m_cigModel->remove(row);
    if (m_cigModel->rowCount() == 0) {
        m_cigModel->clear();
        m_cisModel->clear();
    } else {
        const QModelIndex first = m_cigModel->index(0, 0);
        ui->tableView_CIG->setCurrentIndex(first);
        on_CISTableView_changed(first);
    }
    m_logger->log(QStringLiteral("Remove CIG succeed."), 2);
}

// ---- Streams ----

void CCigCisWidget::on_toolButton_createCIS_clicked()
{
    QVector<cisParameter> ticked;
    for (const cisParameter& stream : m_cisModel->rows()) {
        if (stream.checked == Qt::Checked)
            ticked.append(stream);
    }
    if (ticked.isEmpty()) {
        showError(QStringLiteral("Please check having selected Item."));
        return;
    }
    m_createCISDialog->run(ticked, masterCondixes ? *masterCondixes : QByteArray());
}

void CCigCisWidget::createCisProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parse(frame, fields) || !succeeded(frame, fields))
        return;
    const cigParameter* cig = currentCig();
    if (!cig)
        return;
    const quint16 handle = quint16(numberOf(fields, "cis_connection_handle"));
    if (handle == kPlaceholder)
        return;
    QVector<cisParameter> streams = m_cisModel->rows();
    for (cisParameter& stream : streams) {
        if (stream.connection_handle != QString::number(handle))
            continue;
        stream.connected = 1;
        manageCISWidget* page = addStream(handle);
        page->setStreamParameters(cig->sdu_interval_m2s, stream.max_sdu_m2s);
        page->setIntervalEditable(false);
    }
    m_cisModel->setRows(streams);
    storeCisRows();
}

void CCigCisWidget::on_toolButton_disconnect_clicked()
{
    const QModelIndex current = ui->tableView_CIS->currentIndex();
    if (!current.isValid() || current.row() >= m_cisModel->rowCount())
        return;
    const FieldValueMap fields{
        {QStringLiteral("cis_conncet_handle"), m_cisModel->at(current.row()).connection_handle.toUInt()}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Disconnect CIS"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("Disconnect CIS"));
}

void CCigCisWidget::disconnectCisProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parse(frame, fields))
        return;
    const quint16 handle = quint16(numberOf(fields, "cis_connection_handle"));
    if (handle == kPlaceholder)
        return;
    // Streams of this page only: the dongle may also stand at the peripheral end of others.
    bool own = false;
    for (auto group = cisByCig.begin(); group != cisByCig.end(); ++group) {
        for (cisParameter& stream : group.value()) {
            if (stream.connection_handle == QString::number(handle) && stream.connected == 1) {
                stream.connected = 0;
                own = true;
            }
        }
    }
    if (!removeStream(handle) && !own)
        return;
    if (const cigParameter* cig = currentCig())
        m_cisModel->setRows(cisByCig.value(cig->cig_id));
    m_logger->log(QStringLiteral("Disconnect CIS succeed."), 2);
    ui->toolButton_disconnect->setEnabled(false);
    showPlaceholder();
}
