#include "advertisingwidget.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QVBoxLayout>

#include "adv/advlisttabletablemodel.h"
#include "adv/caddadvertisingdialog.h"
#include "adv/cadvbasewidget.h"
#include "adv/cadvlegacywidget.h"
#include "app/flat/ccustomtableview.h"
#include "log/logmanager.h"

namespace {

const char* const kSourceFile = ".\\advertisingwidget";
const char* const kStartText = "Start Advertising";
const char* const kStopText = "Stop Advertising";

QPushButton* makeButton(const char* name, const QString& text, const QString& icon, QWidget* parent)
{
    auto* button = new QPushButton(QIcon(icon), text, parent);
    button->setObjectName(QLatin1String(name));
    button->setToolTip(text);
    return button;
}

} // namespace

advertisingWidget::advertisingWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent)
    : QWidget(parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_config(config)
    , m_model(new AdvListTableTableModel(logger, this))
    , m_addAdvertisingDialog(new CAddAdvertisingDialog(this))
    , currentKind(QLatin1String(CAdvBaseWidget::LegacyKind))
{
    procTable = {
        {"BB@01@23", &advertisingWidget::parameterSetResponse},
        {"BB@01@2B", &advertisingWidget::parameterSetResponse},
        {"BB@01@31", &advertisingWidget::parameterSetResponse},
        {"BB@01@25", &advertisingWidget::dataSetResponse},
        {"BB@01@2D", &advertisingWidget::dataSetResponse},
        {"BB@01@33", &advertisingWidget::dataSetResponse},
        {"BB@01@27", &advertisingWidget::genericResponse},
        {"BB@01@29", &advertisingWidget::genericResponse},
        {"BB@01@2F", &advertisingWidget::genericResponse},
        {"BB@01@35", &advertisingWidget::genericResponse},
        {"DD@01@28", &advertisingWidget::advertisingStartProc},
        {"DD@01@2A", &advertisingWidget::advertisingStopProc},
    };

    auto* list = new QGroupBox(QStringLiteral("Advertisement List"), this);
    list->setObjectName(QStringLiteral("advListFrame"));
    btnAddAdvList = makeButton("btnAddAdvList", QStringLiteral("Add Adv List"), QStringLiteral(":/icons/addDongle"), list);
    btnDeleteAdvList = makeButton("btnDeleteAdvList", QStringLiteral("Delete Adv List"), QStringLiteral(":/icons/remove"), list);
    btnStartAdv = makeButton("btnStartAdv", QLatin1String(kStartText), QStringLiteral(":/icons/startAdv"), list);
    btnConnAdvBIG = makeButton("btnConnAdvBIG", QStringLiteral("Create BIG"), QStringLiteral(":/icons/big"), list);
    btnClearAdvList = makeButton("btnClearAdvList", QStringLiteral("Clear Adv List"), QStringLiteral(":/icons/clear"), list);
    btnStartAdv->setEnabled(false);
    btnConnAdvBIG->setEnabled(false);

    tableView_advList = new CCustomTableView(list);
    tableView_advList->setObjectName(QStringLiteral("tableView_advList"));
    tableView_advList->setModel(m_model);
    tableView_advList->setSelectionBehavior(QAbstractItemView::SelectRows);
    tableView_advList->setSelectionMode(QAbstractItemView::SingleSelection);
    tableView_advList->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tableView_advList->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    tableView_advList->verticalHeader()->setDefaultSectionSize(24);
    tableView_advList->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    tableView_advList->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    tableView_advList->horizontalHeader()->setSectionResizeMode(2, QHeaderView::ResizeToContents);

    auto* buttons = new QGridLayout;
    buttons->addWidget(btnAddAdvList, 0, 0);
    buttons->addWidget(btnDeleteAdvList, 0, 1);
    buttons->addWidget(btnStartAdv, 1, 0);
    buttons->addWidget(btnConnAdvBIG, 1, 1);
    buttons->addWidget(btnClearAdvList, 2, 0);
    auto* listLayout = new QVBoxLayout(list);
    listLayout->addLayout(buttons);
    listLayout->addWidget(tableView_advList, 1);
    list->setFixedWidth(340);

    m_pageLayout = new QVBoxLayout;
    m_pageLayout->setContentsMargins(0, 0, 0, 0);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(list);
    layout->addLayout(m_pageLayout, 1);
    showPage(blankPage(currentKind));

    connect(btnAddAdvList, &QPushButton::clicked, this, &advertisingWidget::on_btnAddAdvList_clicked);
    connect(btnDeleteAdvList, &QPushButton::clicked, this, &advertisingWidget::on_btnDeleteAdvList_clicked);
    connect(btnStartAdv, &QPushButton::clicked, this, &advertisingWidget::on_btnStartAdv_clicked);
    connect(btnConnAdvBIG, &QPushButton::clicked, this, &advertisingWidget::on_btnConnAdvBIG_clicked);
    connect(btnClearAdvList, &QPushButton::clicked, this, &advertisingWidget::on_btnClearAdvList_clicked);
    connect(tableView_advList, &QTableView::pressed, this, &advertisingWidget::on_tableView_advListClicked);
    // The arrow keys move the current row too, and the page and buttons must follow it.
    connect(tableView_advList->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                if (current.isValid())
                    on_tableView_advListClicked(current);
            });
    connect(this, &advertisingWidget::advTypeIndexChanged, m_addAdvertisingDialog,
            &CAddAdvertisingDialog::on_advTableClicked);
    connect(m_addAdvertisingDialog, &CAddAdvertisingDialog::advTypeChanged, this,
            &advertisingWidget::on_adverTypeChanged);
    connect(m_addAdvertisingDialog, &CAddAdvertisingDialog::addAdvertisingItem, this,
            &advertisingWidget::on_addAdvertisingItem);
}

advertisingWidget::~advertisingWidget() = default;

void advertisingWidget::reset()
{
    // The dongle's sets ended with the reset: nothing is left to stop.
    for (int row = 0; row < m_model->items().size(); ++row)
        m_model->setStatus(row, false);
    on_btnClearAdvList_clicked();
}

bool advertisingWidget::hasRunningSet() const
{
    return m_model->anyRunning();
}

void advertisingWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

void advertisingWidget::on_btnAddAdvList_clicked()
{
    if (!m_addAdvertisingDialog) {
        m_logger->log(QStringLiteral("advertisingWidget::on_btnAddAdvList_pressed: m_addAdvertisingDialog is nullptr."), 1);
        return;
    }
    QList<int> free;
    for (int index = 0; index < AdvListTableTableModel::MaxSets; ++index) {
        if (m_model->rowOf(index) < 0)
            free.append(index);
    }
    m_addAdvertisingDialog->setFreeIndexes(free);
    emit advTypeIndexChanged(currentKind);
    // A cancelled dialog leaves the pressed set's page, not the blank one it showed meanwhile.
    if (m_addAdvertisingDialog->exec() != QDialog::Accepted)
        pressCurrentAgain();
}

void advertisingWidget::on_addAdvertisingItem(int advIndex, QString advType)
{
    CAdvBaseWidget* page = CAdvBaseWidget::create(advType, m_msg, m_logger, m_config, this);
    if (!page || !m_model->appendItem({advIndex, advType, false})) {
        delete page;
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QStringLiteral("advertisingWidget::on_addAdvertisingItem"));
        return;
    }
    currentKind = advType;
    pages.insert(advIndex, page);
    showPage(page);
    // The new set is the pressed one, so that Start acts on what the user sees.
    tableView_advList->setCurrentIndex(m_model->index(m_model->rowCount() - 1, 0));
    btnAddAdvList->setEnabled(m_model->rowCount() < AdvListTableTableModel::MaxSets);
}

void advertisingWidget::on_adverTypeChanged(QString advType)
{
    CAdvBaseWidget* page = blankPage(advType);
    if (!page)
        return;
    currentKind = advType;
    showPage(page);
}

void advertisingWidget::on_tableView_advListClicked(const QModelIndex& index)
{
    if (!index.isValid() || index.row() >= m_model->rowCount()) {
        m_logger->log(QStringLiteral("CConnectionWidget::onTableView_devices:pressed index is not valid."), 1);
        return;
    }
    const AdvListItem& item = m_model->items().at(index.row());
    if (CAdvBaseWidget* page = pages.value(item.advIndex))
        showPage(page);
    currentKind = item.advType;
    btnStartAdv->setEnabled(true);
    setStartButton(item.status);
    btnConnAdvBIG->setEnabled(item.status && item.advType == QLatin1String(CAdvBaseWidget::PeriodicKind));
}

void advertisingWidget::setStartButton(bool running)
{
    const QString text = QLatin1String(running ? kStopText : kStartText);
    btnStartAdv->setText(text);
    btnStartAdv->setToolTip(text);
    btnStartAdv->setIcon(QIcon(running ? QStringLiteral(":/icons/stopAdv") : QStringLiteral(":/icons/startAdv")));
}

int advertisingWidget::pressedRow() const
{
    const int row = tableView_advList->currentIndex().row();
    return row < m_model->rowCount() ? row : -1;
}

int advertisingWidget::currentRow() const
{
    const int row = pressedRow();
    if (row < 0)
        m_logger->log(QStringLiteral("The row selected from the Device list is wrong."), 4);
    return row;
}

void advertisingWidget::sendAdvIndexCommand(const QString& command, int advIndex)
{
    if (!CCommand::sendMsg(m_msg, m_logger, command, {{QStringLiteral("advIndex"), QByteArray(1, char(advIndex))}}))
        CCommand::logSendFailed(m_logger, command);
}

void advertisingWidget::on_btnStartAdv_clicked()
{
    const int row = currentRow();
    if (row < 0)
        return;
    const AdvListItem& item = m_model->items().at(row);
    if (btnStartAdv->text() == QLatin1String(kStopText)) {
        sendAdvIndexCommand(QStringLiteral("Advertising Stop"), item.advIndex);
        return;
    }
    if (CAdvBaseWidget* page = pages.value(item.advIndex))
        page->sendParameters(QByteArray(1, char(item.advIndex)));
}

void advertisingWidget::genericResponse(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
}

// The chain goes on with the row pressed now, which may differ from the one that started it.
void advertisingWidget::parameterSetResponse(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
    if (frame.size() != 6 || frame.at(5) != 0)
        return;
    const int row = pressedRow();
    if (row < 0)
        return;
    const int advIndex = m_model->items().at(row).advIndex;
    CAdvBaseWidget* page = pages.value(advIndex);
    if (!page)
        return;
    const auto* legacy = qobject_cast<CAdvLegacyWidget*>(page);
    if (legacy && legacy->isDirected())
        sendAdvIndexCommand(QStringLiteral("Legacy Advertising Start"), advIndex);
    else
        page->sendData(QByteArray(1, char(advIndex)));
}

// Every kind of set is started with the legacy command: the dongle takes it for any set.
void advertisingWidget::dataSetResponse(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
    if (frame.size() != 6 || frame.at(5) != 0)
        return;
    const int row = pressedRow();
    if (row >= 0)
        sendAdvIndexCommand(QStringLiteral("Legacy Advertising Start"), m_model->items().at(row).advIndex);
}

void advertisingWidget::advertisingStartProc(const QByteArray& frame)
{
    setRunning(frame, true, "advertisingWidget::advertisingStartProc");
}

// Also comes unasked, when a set's duration or event count ran out or a central connected.
void advertisingWidget::advertisingStopProc(const QByteArray& frame)
{
    setRunning(frame, false, "advertisingWidget::advertisingStopProc");
}

void advertisingWidget::setRunning(const QByteArray& frame, bool running, const char* function)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    const QByteArray status = fields.value(QStringLiteral("status"));
    const QByteArray advIndex = fields.value(QStringLiteral("advIndex"));
    if (status.size() != 1 || advIndex.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QLatin1String(function));
        return;
    }
    if (status.at(0) != 0) {
        if (running)
            CCommand::logCompleteResult(m_logger, frame, quint8(status.at(0)));
        else
            CCommand::logUplinkResult(m_logger, frame, quint8(status.at(0)));
        return;
    }
    const int index = quint8(advIndex.at(0));
    const int row = m_model->rowOf(index);
    if (row < 0)
        return; // a set deleted while the dongle still spoke of it
    m_model->setStatus(row, running);
    pressCurrentAgain();
    if (CAdvBaseWidget* page = pages.value(index))
        page->setEnabled(!running);
}

void advertisingWidget::pressCurrentAgain()
{
    const QModelIndex current = tableView_advList->currentIndex();
    if (current.isValid())
        on_tableView_advListClicked(current);
}

void advertisingWidget::on_btnDeleteAdvList_clicked()
{
    const int row = currentRow();
    if (row < 0)
        return;
    const AdvListItem item = m_model->items().at(row);
    if (item.status) {
        sendAdvIndexCommand(QStringLiteral("Advertising Stop"), item.advIndex);
        setStartButton(false);
    }
    if (!m_model->removeItem(row))
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QStringLiteral("advertisingWidget::on_btnDeleteAdvList_clicked"));
    CAdvBaseWidget* page = pages.take(item.advIndex);
    if (!page)
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QStringLiteral("advertisingWidget::on_btnDeleteAdvList_clicked"));
    if (page == m_shownPage)
        m_shownPage = nullptr;
    delete page;

    if (m_model->rowCount() == 0) {
        on_btnClearAdvList_clicked();
    } else {
        // Nothing is pressed after a deletion: the blank page shows until a row is.
        tableView_advList->setCurrentIndex(QModelIndex());
        tableView_advList->clearSelection();
        btnStartAdv->setEnabled(false);
        btnConnAdvBIG->setEnabled(false);
        showPage(blankPage(currentKind));
    }
    btnAddAdvList->setEnabled(m_model->rowCount() < AdvListTableTableModel::MaxSets);
}

void advertisingWidget::on_btnClearAdvList_clicked()
{
    for (const AdvListItem& item : m_model->items()) {
        if (item.status)
            sendAdvIndexCommand(QStringLiteral("Advertising Stop"), item.advIndex);
    }
    m_model->clear();
    btnAddAdvList->setEnabled(true);
    btnStartAdv->setEnabled(false);
    btnConnAdvBIG->setEnabled(false);
    setStartButton(false);
    deletePages();
    currentKind = QLatin1String(CAdvBaseWidget::LegacyKind);
    showPage(blankPage(currentKind));
}

void advertisingWidget::deletePages()
{
    if (pages.values().contains(m_shownPage))
        m_shownPage = nullptr;
    qDeleteAll(pages);
    pages.clear();
}

void advertisingWidget::on_btnConnAdvBIG_clicked()
{
    const QModelIndex current = tableView_advList->currentIndex();
    if (!current.isValid() || current.row() >= m_model->rowCount())
        return;
    emit sig_slaveBIGSucceed(uint8_t(m_model->items().at(current.row()).advIndex));
}

// Blank pages are made when first shown: most dongles never show the other kinds. They are
// never sent, so they are disabled rather than let the user type into a page that goes nowhere.
CAdvBaseWidget* advertisingWidget::blankPage(const QString& kind)
{
    CAdvBaseWidget* page = blankPages.value(kind);
    if (page)
        return page;
    page = CAdvBaseWidget::create(kind, m_msg, m_logger, m_config, this);
    if (!page)
        return nullptr;
    page->setObjectName(QStringLiteral("blankPage"));
    page->setEnabled(false);
    page->hide();
    blankPages.insert(kind, page);
    return page;
}

void advertisingWidget::showPage(CAdvBaseWidget* page)
{
    if (!page)
        return;
    for (CAdvBaseWidget* other : qAsConst(pages))
        other->hide();
    for (CAdvBaseWidget* other : qAsConst(blankPages))
        other->hide();
    if (m_shownPage)
        m_pageLayout->removeWidget(m_shownPage);
    m_pageLayout->addWidget(page);
    m_shownPage = page;
    page->show();
}
