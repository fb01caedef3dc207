#include "cgapcmdwidget.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QTableView>
#include <QVBoxLayout>

#include "app/flat/tflatscrollarea.h"
#include "gap/cupdateconnparams.h"
#include "gap/diagramwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/ccommanduiwidget.h"
#include "schema/cutil.h"

namespace {

const char* const kSourceFile = ".\\cgapcmdwidget";
constexpr int kUpdateWaitMs = 5000;

quint64 littleEndian(const QByteArray& bytes)
{
    quint64 value = 0;
    CUtil::arrayToValue(0, bytes, value);
    return value;
}

// A form's bit tables show every row, and every column in the width that their form has, the
// captions taking what the state columns leave (four columns of 250 and 150 pixels would push the
// forms past a 1280-pixel window), beside labels at their top: the tab scrolls, the tables don't.
void fitBitTables(CCommandUiWidget* form)
{
    auto* grid = form->findChild<QGridLayout*>(QStringLiteral("gridLayout"));
    for (QTableView* table : form->findChildren<QTableView*>()) {
        table->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
        table->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        table->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        table->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
        for (int caption = 0; caption < table->horizontalHeader()->count(); caption += 2)
            table->horizontalHeader()->setSectionResizeMode(caption, QHeaderView::Stretch);
        int row = 0;
        int column = 0;
        int rows = 0;
        int columns = 0;
        grid->getItemPosition(grid->indexOf(table), &row, &column, &rows, &columns);
        grid->itemAtPosition(row, column - 1)->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        grid->itemAtPosition(row, column)->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        // A table alone on its row takes the width of the field beside it too.
        if (!grid->itemAtPosition(row, column + 1)) {
            for (int empty = column + 1; empty < grid->columnCount(); ++empty)
                grid->setColumnStretch(empty, 0);
        }
    }
}

QString milliseconds(double value)
{
    return QString::number(value) + QStringLiteral("ms");
}

// The setting holds the name's bytes as hex pairs, last byte first, maybe behind "0x".
QString localName(QString hex)
{
    if (hex.startsWith(QLatin1String("0x")))
        hex.remove(0, 2);
    QString name;
    for (int i = hex.size() - 2; i >= 0; i -= 2)
        name += QChar(hex.midRef(i, 2).toUInt(nullptr, 16));
    return name;
}

} // namespace

CGapCmdWidget::CGapCmdWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, const QString* dongleName,
                             uint8_t condix, quint16 interval, quint16 latency, quint16 supervisionTimeout,
                             const QString& name, const QString& address, QWidget* parent)
    : QWidget(parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_config(config)
    , m_dongleName(dongleName)
    , m_condix(condix)
    , m_name(name)
    , m_address(address)
    , diagram(new DiagramWidget(this))
{
    auto* layout = new QHBoxLayout(this);
    auto* scroll = new CFlatScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* host = new QWidget(scroll);
    auto* column = new QVBoxLayout(host);
    m_formsLayout = new QVBoxLayout;
    m_formsLayout->setSpacing(0);
    column->addLayout(m_formsLayout);
    column->addStretch();
    scroll->setWidget(host);
    layout->addWidget(scroll, 1);
    layout->addWidget(diagram);

    fillProcTable();
    fillDiagram(interval, latency, supervisionTimeout);
    // Never stopped: ticks do nothing unless a change of parameters is pending.
    connect(&updateTimer, &QTimer::timeout, this, &CGapCmdWidget::on_timeout);
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvGapMsg, this, &CGapCmdWidget::onRcvMsg);
}

CGapCmdWidget::~CGapCmdWidget() = default;

void CGapCmdWidget::fillProcTable()
{
    // BB@01@57 stands twice and BB@01@55 not at all: the response to Get Connection PHY goes
    // unhandled, as the dongle's tools have always had it.
    procTable = {
        {"BB@01@37", &CGapCmdWidget::responseProc},
        {"BB@01@43", &CGapCmdWidget::responseProc},
        {"BB@01@4B", &CGapCmdWidget::responseProc},
        {"BB@01@4D", &CGapCmdWidget::responseProc},
        {"BB@01@4F", &CGapCmdWidget::responseProc},
        {"BB@01@51", &CGapCmdWidget::responseProc},
        {"BB@01@53", &CGapCmdWidget::responseProc},
        {"BB@01@57", &CGapCmdWidget::responseProc},
        {"BB@01@57", &CGapCmdWidget::responseProc},
        {"BB@01@39", &CGapCmdWidget::writeResponseProc},
        {"BB@01@81", &CGapCmdWidget::writeResponseProc},
        {"DD@01@38", &CGapCmdWidget::updateConnectionParameterRequestProc},
        {"DD@01@3C", &CGapCmdWidget::peerUpdateRequestProc},
        {"DD@01@44", &CGapCmdWidget::dataLengthUpdateProc},
        {"DD@01@4C", &CGapCmdWidget::phyUpdateProc},
        {"DD@01@4E", &CGapCmdWidget::getCmdProc},
        {"DD@01@50", &CGapCmdWidget::getCmdProc},
        {"DD@01@52", &CGapCmdWidget::getCmdProc},
        {"DD@01@54", &CGapCmdWidget::getCmdProc},
        {"DD@01@56", &CGapCmdWidget::getCmdProc},
        {"DD@01@58", &CGapCmdWidget::getCmdProc},
    };
}

const QList<CCommandUiWidget*>& CGapCmdWidget::forms()
{
    buildForms();
    return m_forms;
}

void CGapCmdWidget::showEvent(QShowEvent* event)
{
    buildForms();
    QWidget::showEvent(event);
}

void CGapCmdWidget::buildForms()
{
    if (!m_forms.isEmpty())
        return;
    for (const UiInfo& info : CCfgFileParse::instance()->m_downlinkUiInfoVec) {
        if (info.father != QLatin1String("GAP"))
            continue;
        auto* form = new CCommandUiWidget(m_msg, m_logger, this, info.name, &updateTimer,
                                          info.format == QLatin1String("write"), m_condix, false, this);
        form->setContentsMargins(0, m_forms.isEmpty() ? 0 : 5, 0, 0);
        fitBitTables(form);
        m_formsLayout->addWidget(form);
        m_forms.append(form);
    }
}

void CGapCmdWidget::fillDiagram(quint16 interval, quint16 latency, quint16 supervisionTimeout)
{
    const QString name = localName(m_config ? m_config->value(QStringLiteral("device_name")).toString() : QString());
    const QString address = m_config ? m_config->value(QStringLiteral("identity_addr")).toString() : QString();
    // A dongle with no name of its own is shown as what it is.
    diagram->setDongle(name.isEmpty() ? QStringLiteral("Dongle") : name, CUtil::colonPairs(address));
    diagram->setDevice(m_name, m_address);
    diagram->setState(DiagramWidget::Linked);
    diagram->setParameters(milliseconds(interval * 1.25), QString::number(latency),
                           milliseconds(supervisionTimeout * 10));
}

int CGapCmdWidget::linkState() const
{
    return diagram->state();
}

void CGapCmdWidget::setLinkState(int state)
{
    diagram->setState(state);
}

void CGapCmdWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

bool CGapCmdWidget::parseOwn(const QByteArray& frame, UplinkFieldMap& fields, const char* key)
{
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return false;
    const QByteArray condix = fields.value(QLatin1String(key));
    // Another connection's frame is dropped before it is logged.
    if (condix.size() != 1 || quint8(condix.at(0)) != m_condix)
        return false;
    CCommand::logUplink(m_logger, frame, fields);
    return true;
}

bool CGapCmdWidget::readStatus(const UplinkFieldMap& fields, int line, const char* function, quint8& status)
{
    const QByteArray bytes = fields.value(QStringLiteral("status"));
    if (bytes.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, line, QLatin1String(function));
        return false;
    }
    status = quint8(bytes.at(0));
    return true;
}

void CGapCmdWidget::responseProc(const QByteArray& frame)
{
    if (uplinkEnabled)
        CCommand::SDKProc(m_logger, frame);
}

void CGapCmdWidget::writeResponseProc(const QByteArray& frame)
{
    if (uplinkEnabled)
        CCommand::lastSDKProc(m_logger, frame);
}

void CGapCmdWidget::getCmdProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (!parseOwn(frame, fields) || !readStatus(fields, __LINE__, "CGapCmdWidget::getCmdProc", status))
        return;
    if (status != 0) {
        CCommand::logUplinkResult(m_logger, frame, status);
        return;
    }
    const QString name = CCfgFileParse::instance()->m_uplinkIdToName.value(CCommand::uplinkId(frame));
    buildForms(); // a result can come before the page was ever shown
    for (int i = 0; i < m_formsLayout->count(); ++i) {
        auto* form = qobject_cast<CCommandUiWidget*>(m_formsLayout->itemAt(i)->widget());
        if (!form) {
            CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QStringLiteral("CGapCmdWidget::getCmdProc"));
            return;
        }
        if (form->name() == name) {
            form->setFieldValueInGlayout(fields);
            return;
        }
    }
}

void CGapCmdWidget::dataLengthUpdateProc(const QByteArray& frame)
{
    statusOnlyProc(frame, "CGapCmdWidget::dataLengthUpdateProc");
}

void CGapCmdWidget::phyUpdateProc(const QByteArray& frame)
{
    statusOnlyProc(frame, "CGapCmdWidget::phyUpdateProc");
}

// The completions of Data Length Update and PHY Update name their link by `index`.
void CGapCmdWidget::statusOnlyProc(const QByteArray& frame, const char* function)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (!parseOwn(frame, fields, "index") || !readStatus(fields, __LINE__, function, status))
        return;
    if (status != 0)
        CCommand::logUplinkResult(m_logger, frame, status);
}

void CGapCmdWidget::updateConnectionParameterRequestProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (!parseOwn(frame, fields)
        || !readStatus(fields, __LINE__, "CGapCmdWidget::updateConnectionParameterRequestProc", status))
        return;
    if (status != 0) {
        CCommand::logUplinkResult(m_logger, frame, status);
        return;
    }
    setLinkState(DiagramWidget::Linked);
    diagram->setParameters(milliseconds(littleEndian(fields.value(QStringLiteral("interval"))) * 1.25),
                           QString::number(littleEndian(fields.value(QStringLiteral("slave_latency")))),
                           milliseconds(littleEndian(fields.value(QStringLiteral("sup_timeout"))) * 10.0));
}

void CGapCmdWidget::peerUpdateRequestProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields))
        return;
    QMap<QString, QString> values;
    for (auto it = fields.cbegin(); it != fields.cend(); ++it) {
        const quint64 value = littleEndian(it.value());
        if (it.key() == QLatin1String("interval_min") || it.key() == QLatin1String("interval_max"))
            values.insert(it.key(), QString::number(value * 1.25));
        else if (it.key() == QLatin1String("sup_timeout"))
            values.insert(it.key(), QString::number(value * 10));
        else
            values.insert(it.key(), QString::number(value));
    }
    emit sig_showDongleTab(m_dongleName ? *m_dongleName : QString());
    auto* dialog = new CUpdateConnParams(m_msg, m_logger, m_condix, m_address, values, this);
    connect(dialog, &CUpdateConnParams::receiveUpdateRequest, this, &CGapCmdWidget::on_receiveUpdateRequest);
    dialog->show();
}

void CGapCmdWidget::on_receiveUpdateRequest()
{
    setLinkState(DiagramWidget::Updating);
    updateTimer.start(kUpdateWaitMs);
}

void CGapCmdWidget::on_timeout()
{
    if (linkState() == DiagramWidget::Updating)
        setLinkState(DiagramWidget::Lost);
}
