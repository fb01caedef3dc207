#include "crftestwidget.h"

#include <QApplication>
#include <QClipboard>
#include <QDebug>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QScrollBar>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>

#include "app/flat/cflatmessage.h"
#include "app/flat/tflatscrollarea.h"
#include "log/logmanager.h"
#include "rftest/rfrxtablemodel.h"
#include "schema/cutil.h"

namespace {

constexpr int kTimeOutTickMs = 2000;
// The dongle acknowledges every packet; a transmission is given up when no acknowledgement came
// for this long, or for two intervals when they are longer.
constexpr quint64 kLeastWaitMs = 25000;

bool isHexDigits(const QString& text)
{
    static const QRegularExpression hex(QRegularExpression::anchoredPattern(QStringLiteral("[0-9a-fA-F]+")));
    return hex.match(text).hasMatch();
}

} // namespace

CRfTestWidget::CRfTestWidget(const RfTestProfile& profile, CMsg* msg, LogManager* logger, const QString* dongleName,
                             QWidget* parent)
    : QWidget(parent)
    , m_profile(profile)
    , m_msg(msg)
    , m_logger(logger)
    , m_dongleName(dongleName)
    , m_rxModel(new RfRxTableModel(profile.headerReceived, this))
{
    m_clock.start();
    buildForm();
    fillProcTable();

    connect(this, &CRfTestWidget::sig_send_msg, this, &CRfTestWidget::onSendMsg);
    connect(this, &CRfTestWidget::sig_send_cmd, this, &CRfTestWidget::onSendCmd);
    connect(this, &CRfTestWidget::sig_receive_data_display, this, &CRfTestWidget::onRcvDataDisplay);
    connect(this, &CRfTestWidget::sig_start_mode, this, &CRfTestWidget::onStartMode);
    connect(this, &CRfTestWidget::sig_stop_mode, this, &CRfTestWidget::onStopMode);
    connect(this, &CRfTestWidget::sig_start_tx, this, &CRfTestWidget::onStartTX);
    connect(this, &CRfTestWidget::sig_stop_tx, this, &CRfTestWidget::onStopTX);
    connect(this, &CRfTestWidget::sig_start_rx, this, &CRfTestWidget::onStartRX);
    connect(this, &CRfTestWidget::sig_stop_rx, this, &CRfTestWidget::onStopRX);
    connect(this, &CRfTestWidget::sig_tx_progress, this, &CRfTestWidget::onTxProgress);
}

CRfTestWidget::~CRfTestWidget() = default;

void CRfTestWidget::buildForm()
{
    auto* groups = new QVBoxLayout;
    QFormLayout* forms[3] = {};
    const char* const titles[3] = {"Mode", "Radio Parameters", "Transmit"};
    for (int group = RfTestEditor::Mode; group <= RfTestEditor::Transmit; ++group) {
        auto* box = new QGroupBox(QString::fromLatin1(titles[group]), this);
        forms[group] = new QFormLayout(box);
        forms[group]->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
        groups->addWidget(box);
    }
    for (const RfTestEditor& e : m_profile.editors) {
        auto* edit = new QLineEdit(QString::fromLatin1(e.text), this);
        edit->setObjectName(QLatin1String("lineEdit_") + QString::fromLatin1(e.key).remove(QLatin1Char(' ')));
        edit->setPlaceholderText(QString::fromLatin1(e.hint));
        if (e.pattern[0] != '\0')
            edit->setValidator(new QRegularExpressionValidator(QRegularExpression(QString::fromLatin1(e.pattern)), edit));
        forms[e.group]->addRow(QString::fromLatin1(e.caption), edit);
        m_editors.insert(QString::fromLatin1(e.key), edit);
    }
    const QString name = QString::fromLatin1(m_profile.name);
    auto button = [this](const QString& text, const QString& objectName) {
        auto* b = new QPushButton(text, this);
        b->setObjectName(objectName);
        return b;
    };
    m_modeButton = button(QStringLiteral("Start %1 Mode").arg(name), QLatin1String("btn_start") + name.toLower());
    m_setButton = button(QStringLiteral("Set"), QStringLiteral("btn_set"));
    m_sendButton = button(QStringLiteral("Send"), QStringLiteral("btn_send"));
    m_rxButton = button(QStringLiteral("Start Rx"), QStringLiteral("btn_startrx"));
    m_clearButton = button(QStringLiteral("Clear Rx"), QStringLiteral("btn_clearrx"));
    forms[RfTestEditor::Mode]->addRow(m_modeButton);
    forms[RfTestEditor::Parameters]->addRow(m_setButton);
    m_txNum = new QLineEdit(QStringLiteral("0"), this);
    m_txNum->setObjectName(QStringLiteral("lineEdit_txNum"));
    m_txNum->setReadOnly(true);
    forms[RfTestEditor::Transmit]->addRow(QStringLiteral("Tx num"), m_txNum);
    forms[RfTestEditor::Transmit]->addRow(m_sendButton);

    groups->addStretch();

    // Reception sits over its table, so that the editors fit a small screen.
    m_rxNum = new QLineEdit(QStringLiteral("0"), this);
    m_rxNum->setObjectName(QStringLiteral("lineEdit_rxNum"));
    m_rxNum->setReadOnly(true);
    m_rxNum->setMaximumWidth(120);
    auto* receive = new QHBoxLayout;
    receive->addWidget(new QLabel(QStringLiteral("Rx num"), this));
    receive->addWidget(m_rxNum);
    receive->addWidget(m_rxButton);
    receive->addWidget(m_clearButton);
    receive->addStretch();

    m_rxTable = new QTableView(this);
    m_rxTable->setObjectName(QStringLiteral("tableWidget_rxinfo"));
    m_rxTable->setModel(m_rxModel);
    m_rxTable->setContextMenuPolicy(Qt::CustomContextMenu);
    m_rxTable->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_rxTable->verticalHeader()->setDefaultSectionSize(22);
    m_rxTable->horizontalHeader()->setStretchLastSection(true);
    // Fixed widths from the texts: measuring the rows would cost a pass over them at every packet.
    const QFontMetrics metrics(m_rxTable->font());
    const int padding = 3 * metrics.averageCharWidth();
    m_rxTable->setColumnWidth(0, metrics.horizontalAdvance(QStringLiteral("00:00:00.000")) + padding);
    for (int column = 1; column + 1 < m_rxModel->columnCount(); ++column)
        m_rxTable->setColumnWidth(column, metrics.horizontalAdvance(QStringLiteral("Header")) + padding);
    // Follow the newest row by the scroll bar's range, which moves after the layout has caught up.
    QScrollBar* bar = m_rxTable->verticalScrollBar();
    connect(bar, &QScrollBar::valueChanged, this, [this, bar](int value) { m_followRx = value == bar->maximum(); });
    connect(bar, &QScrollBar::rangeChanged, this, [this, bar](int, int maximum) {
        if (m_followRx)
            bar->setValue(maximum);
    });

    // The editors scroll where the page is lower than they are.
    auto* left = new QWidget;
    left->setLayout(groups);
    auto* scroll = new TFlatScrollArea<QScrollArea>(this);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setWidget(left);
    scroll->setFixedWidth(340);
    auto* right = new QVBoxLayout;
    right->addLayout(receive);
    right->addWidget(m_rxTable, 1);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(scroll);
    layout->addLayout(right, 1);

    connect(m_setButton, &QPushButton::clicked, this, &CRfTestWidget::on_btn_set_clicked);
    connect(m_sendButton, &QPushButton::clicked, this, &CRfTestWidget::on_btn_send_clicked);
    connect(m_rxButton, &QPushButton::clicked, this, &CRfTestWidget::on_btn_startrx_clicked);
    connect(m_clearButton, &QPushButton::clicked, this, &CRfTestWidget::on_btn_clearrx_clicked);
    connect(m_rxTable, &QWidget::customContextMenuRequested, this,
            &CRfTestWidget::on_tableWidget_rxinfo_customContextMenuRequested);
    updateEnabled();
}

void CRfTestWidget::fillProcTable()
{
    for (quint8 opcode = 0x01; opcode <= 0x07; ++opcode)
        procTable.insert(QString::asprintf("BB@%02X@%02X", m_profile.module, opcode), &CRfTestWidget::ackProc);
    procTable.insert(QString::asprintf("BB@%02X@04", m_profile.module), &CRfTestWidget::txAckProc);
    procTable.insert(QString::asprintf("DD@%02X@05", m_profile.module), &CRfTestWidget::rxDataProc);
}

QLineEdit* CRfTestWidget::editor(const char* key) const
{
    return m_editors.value(QString::fromLatin1(key));
}

QString CRfTestWidget::text(const char* key) const
{
    const QLineEdit* edit = editor(key);
    return edit ? edit->text() : QString();
}

qint64 CRfTestWidget::valueOf(const char* key) const
{
    for (const RfTestEditor& e : m_profile.editors) {
        if (qstrcmp(e.key, key) == 0)
            return number(e);
    }
    return 0;
}

qint64 CRfTestWidget::number(const RfTestEditor& e) const
{
    bool ok = false;
    const qint64 value = text(e.key).toLongLong(&ok, e.kind == RfTestEditor::Decimal ? 10 : 16);
    return ok ? value : 0;
}

bool CRfTestWidget::inRange(const RfTestEditor& e) const
{
    if (e.kind == RfTestEditor::HexGroups)
        return isHexDigits(text(e.key));
    bool ok = false;
    const qint64 value = text(e.key).toLongLong(&ok, e.kind == RfTestEditor::Decimal ? 10 : 16);
    return ok && value >= e.min && value <= e.max;
}

// The parameters are all checked for emptiness before any range; the other groups check each
// editor in turn.
QString CRfTestWidget::validate(RfTestEditor::Group group) const
{
    QString message;
    for (const RfTestEditor& e : m_profile.editors) {
        if (e.group != group)
            continue;
        if (text(e.key).isEmpty())
            message += QString::fromLatin1(e.emptyText);
        else if (group == RfTestEditor::Transmit && e.rangeText && !inRange(e))
            message += QString::fromLatin1(e.rangeText);
    }
    if (group != RfTestEditor::Parameters || !message.isEmpty())
        return message;
    for (const RfTestEditor& e : m_profile.editors) {
        if (e.group == group && e.rangeText && !inRange(e))
            message += QString::fromLatin1(e.rangeText);
    }
    return message;
}

void CRfTestWidget::showError(const QString& text)
{
    CFlatMessage::information(window(), QStringLiteral("ERROR"), text);
}

QString CRfTestWidget::commandName(const char* pattern) const
{
    return QString::fromLatin1(pattern).arg(QString::fromLatin1(m_profile.name));
}

void CRfTestWidget::fillMap(QStringList keys, FieldValueMap& map) const
{
    for (const RfTestEditor& e : m_profile.editors) {
        if (keys.contains(QString::fromLatin1(e.key)) && e.kind != RfTestEditor::HexGroups)
            map.insert(QString::fromLatin1(e.key), CUtil::valueToArray(0, quint64(number(e)), e.bytes));
    }
}

void CRfTestWidget::updateEnabled()
{
    for (const RfTestEditor& e : m_profile.editors) {
        const bool enabled = e.group == RfTestEditor::Mode ? !modeOn : modeOn && (e.group != RfTestEditor::Transmit || !txOn);
        editor(e.key)->setEnabled(enabled);
    }
    m_setButton->setEnabled(modeOn);
    m_sendButton->setEnabled(modeOn);
    m_rxButton->setEnabled(modeOn);
}

void CRfTestWidget::toggleMode()
{
    qDebug().noquote() << "click start" + QString::fromLatin1(m_profile.name).toLower();
    if (!modeOn) {
        const QString message = validate(RfTestEditor::Mode);
        if (!message.isEmpty()) {
            showError(message);
            return;
        }
    }
    modeOn = !modeOn;
    m_modeButton->setText(commandName(modeOn ? "Stop %1 Mode" : "Start %1 Mode"));
    if (modeOn) {
        emit sig_start_mode();
    } else {
        emit sig_stop_mode();
        if (txTimer)
            txTimer->stop();
        txOn = false;
        m_sendButton->setText(QStringLiteral("Send"));
        rxOn = false;
        m_rxButton->setText(QStringLiteral("Start Rx"));
    }
    updateEnabled();
}

void CRfTestWidget::reset()
{
    modeOn = txOn = rxOn = false;
    if (txTimer)
        txTimer->stop();
    txAckCount = txRepeat = 0;
    m_modeButton->setText(commandName("Start %1 Mode"));
    m_sendButton->setText(QStringLiteral("Send"));
    m_rxButton->setText(QStringLiteral("Start Rx"));
    updateEnabled();
}

void CRfTestWidget::stop()
{
    if (modeOn)
        toggleMode();
    reset();
}

void CRfTestWidget::on_btn_set_clicked()
{
    qDebug() << "click set";
    const QString message = validate(RfTestEditor::Parameters);
    if (!message.isEmpty()) {
        showError(message);
        return;
    }
    FieldValueMap map;
    QStringList keys;
    for (const RfTestEditor& e : m_profile.editors) {
        if (e.group == RfTestEditor::Parameters)
            keys.append(QString::fromLatin1(e.key));
    }
    fillMap(keys, map);
    emit sig_send_msg(commandName("%1 Set Parameters"), map);
}

void CRfTestWidget::on_btn_send_clicked()
{
    qDebug() << "click send";
    if (!txOn) {
        const QString message = validate(RfTestEditor::Transmit);
        if (!message.isEmpty()) {
            showError(message);
            return;
        }
    }
    txOn = !txOn;
    m_sendButton->setText(txOn ? QStringLiteral("Stop Tx") : QStringLiteral("Send"));
    updateEnabled();
    if (txOn) {
        txAckCount = 0;
        m_txNum->setText(QStringLiteral("0"));
        emit sig_start_tx();
    } else {
        if (txTimer)
            txTimer->stop();
        emit sig_stop_tx();
    }
}

void CRfTestWidget::on_btn_startrx_clicked()
{
    qDebug() << "click startrx";
    rxOn = !rxOn;
    m_rxButton->setText(rxOn ? QStringLiteral("Stop Rx") : QStringLiteral("Start Rx"));
    if (rxOn)
        emit sig_start_rx();
    else
        emit sig_stop_rx();
}

void CRfTestWidget::on_btn_clearrx_clicked()
{
    qDebug() << "click clearrx";
    if (CFlatMessage::question(window(), QStringLiteral("Clear Rx"), QStringLiteral("Are sure to clear Rx data"))
        != QMessageBox::Yes)
        return;
    rxCount = 0;
    m_rxNum->setText(QStringLiteral("0"));
    m_rxModel->clear();
}

void CRfTestWidget::on_tableWidget_rxinfo_customContextMenuRequested(QPoint pos)
{
    QMenu menu(this);
    connect(menu.addAction(QStringLiteral("Copy")), &QAction::triggered, this, &CRfTestWidget::onCopyRxData);
    menu.exec(m_rxTable->viewport()->mapToGlobal(pos));
}

// The selected cells as text: a line a row, tabs between columns.
void CRfTestWidget::onCopyRxData()
{
    QModelIndexList cells = m_rxTable->selectionModel()->selectedIndexes();
    if (cells.isEmpty())
        return;
    std::sort(cells.begin(), cells.end());
    QString copied;
    int row = cells.first().row();
    for (const QModelIndex& cell : qAsConst(cells)) {
        if (cell.row() != row) {
            copied += QLatin1Char('\n');
            row = cell.row();
        } else if (cell != cells.first()) {
            copied += QLatin1Char('\t');
        }
        copied += cell.data().toString();
    }
    QApplication::clipboard()->setText(copied);
}

void CRfTestWidget::onSendMsg(QString strCmdName, QMap<QString, QVariant>& mapPayload)
{
    if (!CCommand::sendMsg(m_msg, m_logger, strCmdName, mapPayload))
        CCommand::logSendFailed(m_logger, strCmdName);
}

void CRfTestWidget::onSendCmd(QString strCmdName)
{
    if (!CCommand::sendMsg(m_msg, m_logger, strCmdName, {}, {}))
        CCommand::logSendFailed(m_logger, strCmdName);
}

void CRfTestWidget::onStartMode()
{
    FieldValueMap map = m_profile.startConstants;
    fillMap(m_profile.startKeys, map);
    emit sig_send_msg(commandName("Start %1 Mode"), map);
}

void CRfTestWidget::onStopMode()
{
    emit sig_send_cmd(commandName("Stop %1 Mode"));
}

void CRfTestWidget::onStartTX()
{
    txRepeat = quint32(valueOf("Repeat Time"));
    const quint64 interval = quint64(valueOf("Repeat Interval"));
    const int length = int(valueOf("Length"));
    FieldValueMap map;
    QStringList keys;
    QString payloadText;
    for (const RfTestEditor& e : m_profile.editors) {
        if (e.group != RfTestEditor::Transmit)
            continue;
        if (e.kind == RfTestEditor::HexGroups)
            payloadText = text(e.key);
        else
            keys.append(QString::fromLatin1(e.key));
    }
    fillMap(keys, map);
    // Two hex digits a byte; what the text lacks of the length is zeros.
    QByteArray payload(length, '\0');
    for (int i = 0; i < length && 2 * i < payloadText.size(); ++i)
        payload[i] = char(payloadText.mid(2 * i, 2).toUInt(nullptr, 16));
    map.insert(QStringLiteral("Payload"), payload);

    if (!txTimer) {
        txTimer = new QTimer(this);
        connect(txTimer, &QTimer::timeout, this, &CRfTestWidget::onTxTimeOut);
    }
    txTimer->start(kTimeOutTickMs);
    lastTick = quint64(m_clock.elapsed());
    waitTicks = interval < kLeastWaitMs ? kLeastWaitMs : interval * 2;
    // Sent once: the dongle repeats the packet by itself and acknowledges each one.
    emit sig_send_msg(commandName("%1 Transmit Data"), map);
}

void CRfTestWidget::onStopTX()
{
    emit sig_send_cmd(commandName("%1 Stop Transmit"));
}

void CRfTestWidget::onStartRX()
{
    emit sig_send_cmd(commandName("%1 Start Receive"));
}

void CRfTestWidget::onStopRX()
{
    emit sig_send_cmd(commandName("%1 Stop Receive"));
}

void CRfTestWidget::onRcvMsg(QByteArray rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

void CRfTestWidget::ackProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
}

void CRfTestWidget::txAckProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
    if (frame.size() < 6)
        return;
    ++txAckCount;
    lastTick = quint64(m_clock.elapsed());
    emit sig_tx_progress(txAckCount, frame.at(5) == 0);
}

void CRfTestWidget::rxDataProc(const QByteArray& frame)
{
    const QDateTime time = QDateTime::currentDateTime();
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    if (fields.isEmpty()) {
        m_logger->log(commandName("%1 receive is empty"), 1);
        return;
    }
    emit sig_receive_data_display(time, fields);
}

void CRfTestWidget::onRcvDataDisplay(QDateTime timeRx, QMap<QString, QByteArray> fieldMap)
{
    if (!rxOn)
        return;
    ++rxCount;
    RfRxRecord record;
    record.time = timeRx.time();
    record.header = quint8(fieldMap.value(QStringLiteral("Header")).leftJustified(1, '\0').at(0));
    record.length = quint8(fieldMap.value(QStringLiteral("Length")).leftJustified(1, '\0').at(0));
    record.payload = fieldMap.value(QStringLiteral("contain"));
    m_rxModel->append(record);
    m_rxNum->setText(QString::number(rxCount));
}

void CRfTestWidget::onTxProgress(uint32_t cnt, bool bSuccess)
{
    m_txNum->setText(QString::number(cnt));
    const bool finished = cnt == txRepeat;
    if (bSuccess && !finished)
        return;
    // The dongle stops by itself after the last packet of a good run; any other end needs telling.
    if (!(bSuccess && finished))
        emit sig_stop_tx();
    endTransmission();
}

void CRfTestWidget::endTransmission()
{
    if (txTimer)
        txTimer->stop();
    txAckCount = 0;
    txRepeat = 0;
    txOn = false;
    m_sendButton->setText(QStringLiteral("Send"));
    updateEnabled();
}

void CRfTestWidget::onTxTimeOut()
{
    const quint64 now = quint64(m_clock.elapsed());
    if (now - lastTick <= waitTicks)
        return;
    m_logger->log(QStringLiteral("time out %1,last:%2,wait:%3").arg(now).arg(lastTick).arg(waitTicks), 1);
    if (txTimer)
        txTimer->stop();
    if (!txOn || txAckCount >= txRepeat)
        return;
    m_logger->log(QStringLiteral("%1 send data time out send cnt:%2,repeat:%3")
                      .arg(QString::fromLatin1(m_profile.name))
                      .arg(txAckCount)
                      .arg(txRepeat),
                  1);
    // The page is ready again before the box waits for the user, since frames keep coming.
    emit sig_stop_tx();
    txRepeat = 0;
    txOn = false;
    m_sendButton->setText(QStringLiteral("Send"));
    updateEnabled();
    emit sig_showDongleTab(m_dongleName ? *m_dongleName : QString());
    showError(commandName("%1 mode: it's time out when transmitting."));
}
