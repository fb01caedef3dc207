#include "cbigpage.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSplitter>
#include <QToolButton>
#include <QVBoxLayout>

#include "app/flat/tflatscrollarea.h"
#include "iso/bisdatatablemodel.h"
#include "iso/manageciswidget.h"
#include "log/logmanager.h"
#include "schema/cutil.h"

namespace {

const char* const kHandleLabel = "BIS Connection Handle: ";

QToolButton* makeButton(QWidget* parent, const char* name, const QString& text, const char* icon)
{
    auto* button = new QToolButton(parent);
    button->setObjectName(QLatin1String(name));
    button->setText(text);
    button->setToolTip(text);
    button->setIcon(QIcon(QLatin1String(icon)));
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    return button;
}

QHBoxLayout* buttonRow(const QString& title, std::initializer_list<QToolButton*> buttons)
{
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel(title));
    row->addStretch();
    for (QToolButton* button : buttons) {
        if (button)
            row->addWidget(button);
    }
    return row;
}

} // namespace

CBigPage::CBigPage(CMsg* msg, LogManager* logger, FieldValueMap* settings, const QString& terminateText,
                   const QString& createText, bool bisButtons, QWidget* parent)
    : CIsoStreamPage(msg, logger, settings, parent)
    , m_bisModel(new BisDataTableModel(this))
{
    auto* tables = new QWidget(this);
    toolButton_addBIG = makeButton(tables, "toolButton_addBIG", QStringLiteral("Add BIG"), ":/icons/add");
    toolButton_editBIG = makeButton(tables, "toolButton_editBIG", QStringLiteral("Edit BIG"), ":/icons/edit");
    toolButton_removeBIG = makeButton(tables, "toolButton_removeBIG", QStringLiteral("Remove BIG"), ":/icons/remove");
    toolButton_terminateBIG = makeButton(tables, "toolButton_terminateBIG", terminateText, ":/icons/disconnect");
    toolButton_createBIG = makeButton(tables, "toolButton_createBIG", createText, ":/icons/connect");
    toolButton_createBIG->setEnabled(false);
    if (bisButtons) {
        toolButton_addBIS = makeButton(tables, "toolButton_addBIS", QStringLiteral("Add BIS"), ":/icons/add");
        toolButton_editBIS = makeButton(tables, "toolButton_editBIS", QStringLiteral("Edit BIS"), ":/icons/edit");
        toolButton_removeBIS = makeButton(tables, "toolButton_removeBIS", QStringLiteral("Remove BIS"), ":/icons/remove");
        // Each waits for a BIS row to act on.
        toolButton_addBIS->setEnabled(false);
        toolButton_editBIS->setEnabled(false);
        toolButton_removeBIS->setEnabled(false);
    }
    tableView_BIG = new CFlatTableView(tables);
    tableView_BIG->setObjectName(QStringLiteral("tableView_BIG"));
    tableView_BIS = new CFlatTableView(tables);
    tableView_BIS->setObjectName(QStringLiteral("tableView_BIS"));
    setUpTable(tableView_BIS, m_bisModel);

    auto* tablesLayout = new QVBoxLayout(tables);
    tablesLayout->setContentsMargins(0, 0, 4, 0);
    tablesLayout->addLayout(buttonRow(QStringLiteral("BIG"), {toolButton_addBIG, toolButton_editBIG, toolButton_removeBIG,
                                                               toolButton_terminateBIG, toolButton_createBIG}));
    tablesLayout->addWidget(tableView_BIG);
    tablesLayout->addLayout(
        buttonRow(QStringLiteral("BIS"), {toolButton_addBIS, toolButton_editBIS, toolButton_removeBIS}));
    tablesLayout->addWidget(tableView_BIS);

    auto* manage = new QWidget(this);
    auto* label = new QLabel(manage);
    label->setObjectName(QStringLiteral("label_connection"));
    auto* pane = new QVBoxLayout;
    auto* manageLayout = new QVBoxLayout(manage);
    manageLayout->setContentsMargins(4, 0, 0, 0);
    manageLayout->addWidget(label);
    manageLayout->addLayout(pane, 1);

    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(tables);
    splitter->addWidget(manage);
    // Stretch factors share only the space left over by size hints: start at 58:42 outright.
    splitter->setStretchFactor(0, 58);
    splitter->setStretchFactor(1, 42);
    splitter->setSizes({5800, 4200});
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(splitter);

    setUpManagePane(label, pane, QLatin1String(kHandleLabel), true);
    connect(tableView_BIS, &QTableView::pressed, this, &CBigPage::on_BISTableView_changed);
}

CBigPage::~CBigPage() = default;

bool CBigPage::hasRunningBig() const
{
    for (int row = 0; row < bigCount(); ++row) {
        if (bigCreatedAt(row))
            return true;
    }
    return false;
}

QByteArray CBigPage::broadcastCode(const QString& text)
{
    return QByteArray::fromHex(QString(text).remove(QLatin1Char(':')).toLatin1());
}

int CBigPage::currentBigRow() const
{
    return m_bigIndex.isValid() && m_bigIndex.row() < bigCount() ? m_bigIndex.row() : -1;
}

void CBigPage::on_BIGTableView_changed(QModelIndex index)
{
    if (!index.isValid() || index.row() >= bigCount()) {
        m_logger->log(QStringLiteral("MasterBIGWidget::on_BIGTableView_changed:Clicked index is not valid."), 1);
        return;
    }
    if (toolButton_addBIS)
        toolButton_addBIS->setEnabled(true);
    toolButton_createBIG->setEnabled(true);
    m_bisModel->setRows(bisByBig.value(bigIdAt(index.row())));
    m_bigIndex = index;
}

void CBigPage::selectBig(int row)
{
    const QModelIndex index = tableView_BIG->model()->index(row, 0);
    tableView_BIG->setCurrentIndex(index);
    on_BIGTableView_changed(index);
}

void CBigPage::on_BISTableView_changed(QModelIndex index)
{
    if (!index.isValid() || index.row() >= m_bisModel->rowCount())
        return;
    const bisParameter& bis = m_bisModel->at(index.row());
    const bool assigned = !bis.connection_handle.isEmpty();
    if (toolButton_editBIS) {
        toolButton_editBIS->setEnabled(!assigned);
        toolButton_removeBIS->setEnabled(!assigned);
    }
    const quint16 handle = bis.connection_handle.toUShort();
    if (assigned && manageWidgets.contains(handle))
        showStream(handle);
    else
        showPlaceholder();
}

void CBigPage::storeBisRows()
{
    const int row = currentBigRow();
    if (row >= 0)
        bisByBig.insert(bigIdAt(row), m_bisModel->rows());
}

void CBigPage::removeCurrentBig()
{
    const int row = currentBigRow();
    if (row < 0 || bigCreatedAt(row))
        return;
    bisByBig.remove(bigIdAt(row));
    removeBigRecord(row);
    m_bisModel->clear();
    if (bigCount() > 0)
        selectBig(0);
}

void CBigPage::sendForCurrentBig(const QString& command)
{
    const int row = currentBigRow();
    if (row < 0)
        return;
    if (!CCommand::sendMsg(m_msg, m_logger, command, {{QStringLiteral("big_id"), bigIdAt(row).toUInt()}}))
        CCommand::logSendFailed(m_logger, command);
}

void CBigPage::bigCreated(const QByteArray& frame, const char* wrongIdText, const char* wrongCountText,
                          const std::function<void(manageCISWidget*)>& setUp)
{
    UplinkFieldMap fields;
    if (!parse(frame, fields))
        return;
    const int row = currentBigRow();
    if (row < 0)
        return;
    const QString bigId = bigIdAt(row);
    QVector<bisParameter> streams = bisByBig.value(bigId);
    // Logged before the box: a reset may remove the page while the box is up.
    if (numberOf(fields, "big_id") != bigId.toULongLong()) {
        m_logger->log(QStringLiteral("BIG ID sended is not equal to the response BIG ID."), 4);
        showError(QLatin1String(wrongIdText));
        return;
    }
    if (numberOf(fields, "number_bis") != quint64(streams.size())) {
        m_logger->log(QStringLiteral("CIS Count sended is not equal to the response CIS Count."), 4);
        showError(QLatin1String(wrongCountText));
        return;
    }
    if (!succeeded(frame, fields))
        return;

    setBigCreated(row);
    const QByteArray handles = fields.value(QStringLiteral("connection_handle"));
    for (int i = 0; i < streams.size() && 2 * i + 1 < handles.size(); ++i) {
        const quint16 handle = CUtil::byteAraryToShort(handles.mid(2 * i, 2), 0);
        streams[i].connection_handle = QString::number(handle);
        if (handle != kPlaceholder)
            setUp(addStream(handle));
    }
    bisByBig.insert(bigId, streams);
    m_bisModel->setRows(streams);
    tableView_BIG->setCurrentIndex(m_bigIndex);
    if (!streams.isEmpty()) {
        const QModelIndex first = m_bisModel->index(0, 0);
        tableView_BIS->setCurrentIndex(first);
        on_BISTableView_changed(first);
    }
}

void CBigPage::bigEnded(int row)
{
    const QString bigId = bigIdAt(row);
    for (const bisParameter& bis : bisByBig.value(bigId)) {
        if (!bis.connection_handle.isEmpty())
            removeStream(bis.connection_handle.toUShort());
    }
    showPlaceholder();
    bisByBig.remove(bigId);
    removeBigRecord(row);
    m_bisModel->clear();
    if (bigCount() == 0)
        toolButton_createBIG->setEnabled(false);
    else
        selectBig(0);
}
