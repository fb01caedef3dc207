#include "cisostreampage.h"

#include <QHeaderView>
#include <QLabel>
#include <QTableView>
#include <QVBoxLayout>

#include "app/flat/cflatmessage.h"
#include "iso/manageciswidget.h"
#include "schema/cutil.h"

CIsoStreamPage::CIsoStreamPage(CMsg* msg, LogManager* logger, FieldValueMap* settings, QWidget* parent)
    : QWidget(parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_settings(settings)
{
}

CIsoStreamPage::~CIsoStreamPage() = default;

void CIsoStreamPage::setUpManagePane(QLabel* label, QVBoxLayout* pane, const QString& labelPrefix, bool placeholder)
{
    m_label = label;
    m_pane = pane;
    m_labelPrefix = labelPrefix;
    m_label->setText(labelPrefix);
    if (placeholder) {
        manageWidgets.insert(kPlaceholder,
                             new manageCISWidget(m_msg, m_logger, m_settings, QString::number(kPlaceholder), this));
        showPlaceholder();
    }
}

void CIsoStreamPage::setUpTable(QTableView* view, QAbstractItemModel* model)
{
    view->setModel(model);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->verticalHeader()->hide();
    view->verticalHeader()->setDefaultSectionSize(25);
    // Every column as wide as its widest text, the status beside it, not pushed to the far edge.
    view->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
}

manageCISWidget* CIsoStreamPage::addStream(quint16 handle)
{
    auto* page = new manageCISWidget(m_msg, m_logger, m_settings, QString::number(handle), this);
    // Shown when its row is chosen; until then it must not appear with the page.
    page->hide();
    removeStream(handle);
    manageWidgets.insert(handle, page);
    return page;
}

bool CIsoStreamPage::removeStream(quint16 handle)
{
    if (handle == kPlaceholder)
        return false;
    manageCISWidget* page = manageWidgets.take(handle);
    if (!page)
        return false;
    if (m_shown == page) {
        m_pane->removeWidget(page);
        m_shown = nullptr;
        if (manageWidgets.contains(kPlaceholder))
            showPlaceholder();
    }
    page->hide();
    page->deleteLater();
    return true;
}

void CIsoStreamPage::showStream(quint16 handle)
{
    if (manageCISWidget* page = handle == kPlaceholder ? nullptr : manageWidgets.value(handle))
        showInPane(page, m_labelPrefix + QString::number(handle));
}

void CIsoStreamPage::showPlaceholder()
{
    manageCISWidget* placeholder = manageWidgets.value(kPlaceholder);
    placeholder->setEnabled(false);
    showInPane(placeholder, m_labelPrefix);
}

void CIsoStreamPage::showInPane(manageCISWidget* page, const QString& label)
{
    m_label->setText(label);
    if (m_shown == page)
        return;
    if (m_shown) {
        m_pane->removeWidget(m_shown);
        m_shown->hide();
    }
    m_shown = page;
    m_pane->addWidget(page);
    page->show();
}

bool CIsoStreamPage::parse(const QByteArray& frame, UplinkFieldMap& fields)
{
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return false;
    CCommand::logUplink(m_logger, frame, fields);
    return true;
}

bool CIsoStreamPage::succeeded(const QByteArray& frame, const UplinkFieldMap& fields)
{
    const int status = int(numberOf(fields, "status"));
    if (status != 0)
        CCommand::logCompleteResult(m_logger, frame, status);
    return status == 0;
}

void CIsoStreamPage::showError(const QString& text)
{
    CFlatMessage::information(window(), QStringLiteral("ERROR"), text);
}

quint64 CIsoStreamPage::numberOf(const UplinkFieldMap& fields, const char* key)
{
    quint64 value = 0;
    CUtil::arrayToValue(0, fields.value(QLatin1String(key)), value);
    return value;
}

void CIsoStreamPage::ackProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
}

void CIsoStreamPage::forward(const QByteArray& frame, StreamProc proc, bool logged)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    const quint64 handle = numberOf(fields, "connection_handle");
    manageCISWidget* page = handle == kPlaceholder ? nullptr : manageWidgets.value(quint16(handle));
    if (!page)
        return;
    if (logged)
        CCommand::logUplink(m_logger, frame, fields);
    (page->*proc)(frame, fields);
}

void CIsoStreamPage::readIsoTxSyncProc(const QByteArray& frame)
{
    forward(frame, &manageCISWidget::readIsoTxSyncProc, true);
}

void CIsoStreamPage::setupDataPathProc(const QByteArray& frame)
{
    forward(frame, &manageCISWidget::setupDataPathProc, true);
}

void CIsoStreamPage::removeDataPathProc(const QByteArray& frame)
{
    forward(frame, &manageCISWidget::removeDataPathProc, true);
}

// The stream's page logs what it received in its own words.
void CIsoStreamPage::receiveIsoDataProc(const QByteArray& frame)
{
    forward(frame, &manageCISWidget::receiveIsoDataProc, false);
}
