#include "cconnectionwidget.h"
#include "ui_cconnectionwidget.h"

#include <QHeaderView>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QTime>
#include <QTreeWidget>

#include "app/flat/cflatmessage.h"
#include "app/flat/searchbox.h"
#include "gap/adddevicedialog.h"
#include "gap/addperiodicdevicedialog.h"
#include "gap/devicelistmodel.h"
#include "gap/deviceperiodiclistmodel.h"
#include "gap/devicerpalistmodel.h"
#include "gap/clayerwidget.h"
#include "iso/ccigciswidget.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/cutil.h"

namespace {

const char* const kSourceFile = ".\\cconnectionwidget";

const char* const kStartScan = "Start Scan";
const char* const kStopScan = "Stop Scan";
const char* const kConnect = "Connect";
const char* const kCancel = "Cancel";
const char* const kDisconnect = "Disconnect";
const char* const kAutoConnect = "Auto Connect";
const char* const kCancelAutoConnect = "Cancel Auto Connect";
const char* const kPeerDevice = "Peer Device";
const char* const kStartSync = "Start Sync";
const char* const kCancelSync = "Cancel Sync";
const char* const kSyncIndexWrong = "The sync index of periodic advertising is wrong.";
constexpr quint8 kIdleSyncView = 0xFF;
constexpr int kPeriodicViewBlocks = 1000;
constexpr int kReportFlushMs = 50;

// Report classes of a scan report.
enum AdvClassification : quint8 {
    ExtendedAdvertising = 0,
    LegacyAdvertising = 1,
    ExtendedScanResponse = 2,
    LegacyScanResponse = 3,
    PeriodicData = 4,
};

constexpr quint8 kAdvTypeConnectable = 0x02;
constexpr quint8 kAdvTypeSyncable = 0x10;
// A legacy report names no secondary PHY; this value shows as "N/A".
constexpr char kNoSecondaryPhy = 0x0C;

const char* const kFlagBits[] = {
    "LE Limited Discoverable Mode",
    "LE General Discoverable Mode",
    "BR/EDR Not Supported",
    "Simultaneous LE and BR/EDR to Same Device Capable (Controller)",
    "Simultaneous LE and BR/EDR to Same Device Capable (Host)",
    "Reserved",
    "Reserved",
    "Reserved",
};

QString byteText(quint8 value)
{
    return QStringLiteral("0x%1").arg(value, 2, 16, QLatin1Char('0'));
}

// The report's type, plus the "Syncable" bit when it has a periodic interval. An addition, not
// an OR: a type that has the bit already carries into the next. The interval only matters as
// zero or not, so its byte order does not.
QByteArray typeWithSyncable(const UplinkFieldMap& fields)
{
    const QByteArray type = fields.value("adv_type");
    if (type.isEmpty() || fields.value("period_adv_intv").toHex().toULongLong(nullptr, 16) == 0)
        return type;
    return QByteArray(1, char(quint8(type.at(0)) + kAdvTypeSyncable));
}

quint8 firstByte(const QByteArray& bytes)
{
    return bytes.isEmpty() ? 0 : quint8(bytes.at(0));
}

// The lists of the Device List panel, by the index of deviceListType.
enum DeviceList { WhiteList = 0, BondList = 1, PeriodicAdvertisingList = 2, RpaList = 3 };

// Each list's commands; an empty name is a command the list has not.
struct ListCommands
{
    const char* add;
    const char* remove;
    const char* clear;
    const char* refresh;
};
const ListCommands kListCommands[] = {
    {"Add Whitelist", "Delete Whitelist", "Clear Whitelist", "Get Whitelist"},
    {"", "Deleting Bond List", "Clear Bond List", "Getting Bond List"},
    {"Add Periodic Adv List", "Delete Periodic Adv List", "Clear Periodic Adv List", "Get Periodic Adv List"},
    {"", "", "", "Get Rpa List"},
};

FieldValueMap fieldValues(const UplinkFieldMap& fields)
{
    FieldValueMap values;
    for (auto it = fields.cbegin(); it != fields.cend(); ++it)
        values.insert(it.key(), it.value());
    return values;
}

quint64 littleEndian(const QByteArray& bytes)
{
    quint64 value = 0;
    CUtil::arrayToValue(0, bytes, value);
    return value;
}

} // namespace

CConnectionWidget::CConnectionWidget(CMsg* msg, LogManager* logger, FieldValueMap* config,
                                     const QString* dongleName, QWidget* parent)
    : QWidget(parent)
    , ui(new Ui::CConnectionWidget)
    , m_msg(msg)
    , m_logger(logger)
    , m_config(config)
    , m_dongleName(dongleName)
{
    ui->setupUi(this);

    QVector<UiField> columns;
    for (const UiNameToFields& form : CCfgFileParse::instance()->m_uplinkNameToUiVec) {
        if (form.name == QLatin1String("DEVICES_TABLE"))
            columns = form.fields;
    }
    m_model = new DevicesTableModel(m_logger, deviceRows, columns, this);
    ui->tableView_devices->setModel(m_model);
    // Fixed row heights keep a table of thousands of advertisers cheap to lay out.
    ui->tableView_devices->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    ui->tableView_devices->verticalHeader()->setDefaultSectionSize(24);
    // Every caption whole; names and the joined type bits need more than their captions.
    QHeaderView* header = ui->tableView_devices->horizontalHeader();
    header->resizeSections(QHeaderView::ResizeToContents);
    header->setStretchLastSection(true);
    ui->tableView_devices->setColumnWidth(0, qMax(header->sectionSize(0), 150));
    ui->tableView_devices->setColumnWidth(4, qMax(header->sectionSize(4), 220));
    connect(ui->tableView_devices, &QTableView::pressed, this,
            &CConnectionWidget::onTableView_devicesClicked);

    for (QTreeWidget* tree : {ui->treeWidget_advertising, ui->treeWidget_scanRsp}) {
        tree->setColumnWidth(0, 270);
        tree->setColumnWidth(1, 80);
    }

    // The device table is what the page is for; the lists take what the user drags them.
    ui->splitter_master->setStretchFactor(0, 3);
    ui->splitter_master->setStretchFactor(1, 1);
    m_whiteListModel = new DeviceListModel(m_logger, this);
    m_bondListModel = new DeviceListModel(m_logger, this);
    m_periodicListModel = new DevicePeriodicListModel(m_logger, this);
    m_rpaListModel = new DeviceRpaListModel(m_logger, this);
    ui->tableView_deviceList->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    ui->tableView_deviceList->verticalHeader()->setDefaultSectionSize(24);
    showDeviceList(WhiteList);
    m_reportFlush.setSingleShot(true);
    m_reportFlush.setInterval(kReportFlushMs);
    connect(&m_reportFlush, &QTimer::timeout, this, &CConnectionWidget::flushPeriodicReports);
    ui->m_tbSave->hide();
    connect(ui->m_tbClear, &QToolButton::clicked, this, &CConnectionWidget::onPeriodicAdvDataClear);
    connect(ui->m_tbSave, &QToolButton::clicked, this, &CConnectionWidget::onPeriodicAdvDataSave);

    m_searchBox = new SearchBox(this);
    m_searchBox->hide();
    connect(m_searchBox, &SearchBox::searchNext, this, &CConnectionWidget::on_searchNext);
    connect(m_searchBox, &SearchBox::searchPrevious, this, &CConnectionWidget::on_searchPrevious);
    connect(this, &CConnectionWidget::sig_masterCondixChanged, this,
            &CConnectionWidget::on_masterCondixChanged);

    fillAdTypeNames();
    fillProcTable();
    reset();
}

CConnectionWidget::~CConnectionWidget()
{
    delete ui;
}

void CConnectionWidget::fillProcTable()
{
    procTable = {
        {"BB@01@01", &CConnectionWidget::responseProc},
        {"BB@01@03", &CConnectionWidget::responseProc},
        {"BB@01@3D", &CConnectionWidget::responseProc},
        {"DD@01@F0", &CConnectionWidget::startScanResultProc},
        {"DD@01@02", &CConnectionWidget::startScanProc},
        {"DD@01@04", &CConnectionWidget::stopScanProc},
        {"BB@01@07", &CConnectionWidget::responseProc},
        {"BB@01@49", &CConnectionWidget::responseProc},
        {"BB@01@3F", &CConnectionWidget::connectResponseProc},
        {"DD@01@06", &CConnectionWidget::connectProc},
        {"DD@01@08", &CConnectionWidget::disconnectProc},
        {"DD@01@80", &CConnectionWidget::autoConnectTimeoutProc},
        {"DD@01@4A", &CConnectionWidget::cancelConnectProc},
        {"BB@01@09", &CConnectionWidget::addWhitelistProc},
        {"BB@01@0B", &CConnectionWidget::deleteWhitelistProc},
        {"BB@01@0F", &CConnectionWidget::clearWhitelistProc},
        {"DD@01@0A", &CConnectionWidget::operateWhitelistProc},
        {"BB@01@0D", &CConnectionWidget::responseProc},
        {"DD@01@0E", &CConnectionWidget::whitelistContentProc},
        {"BB@01@11", &CConnectionWidget::deleteBondlistProc},
        {"BB@01@15", &CConnectionWidget::clearBondlistProc},
        {"BB@01@13", &CConnectionWidget::responseProc},
        {"DD@01@14", &CConnectionWidget::bondlistContentProc},
        {"BB@01@17", &CConnectionWidget::addPeriodicAdvlistProc},
        {"BB@01@19", &CConnectionWidget::deletePeriodicAdvlistProc},
        {"BB@01@1D", &CConnectionWidget::clearPeriodicAdvlistProc},
        {"DD@01@18", &CConnectionWidget::OperateBondlistProc},
        {"BB@01@1B", &CConnectionWidget::responseProc},
        {"DD@01@1C", &CConnectionWidget::periodicAdvlistContentProc},
        {"BB@01@7E", &CConnectionWidget::responseProc},
        // The file names the resolving list DD@00@7F; this page has always listened for it here.
        {"DD@01@7F", &CConnectionWidget::rpalistContentProc},
        {"BB@01@80", &CConnectionWidget::privacyModeProc},
        {"BB@01@1F", &CConnectionWidget::createSyncStartSDKProc},
        {"DD@01@20", &CConnectionWidget::createSyncStartProc},
        {"BB@01@22", &CConnectionWidget::responseProc},
        {"DD@01@23", &CConnectionWidget::createSyncStopProc},
        {"DD@01@82", &CConnectionWidget::syncPassiveStopProc},
    };
}

void CConnectionWidget::fillAdTypeNames()
{
    adTypeNames = {
        {0x01, "<<Flags>>"},
        {0x02, "<<Incomplete List of 16-bit Service Class UUIDs>>"},
        {0x03, "<<Complete List of 16-bit Service Class UUIDs>>"},
        {0x04, "<<Incomplete List of 32-bit Service Class UUIDs>>"},
        {0x05, "<<Complete List of 32-bit Service Class UUIDs>>"},
        {0x06, "<<Incomplete List of 128-bit Service Class UUIDs>>"},
        {0x07, "<<Complete List of 128-bit Service Class UUIDs>>"},
        {0x08, "<<Shortened Local Name>>"},
        {0x09, "<<Complete Local Name>>"},
        {0x0A, "<<Tx Power Level>>"},
        {0x0D, "<<Class of Device>>"},
        {0x0E, "<<Simple Pairing Hash C-192>>"},
        {0x0F, "<<Simple Pairing Randomizer R-192>>"},
        {0x10, "<<Security Manager TK Value>>"},
        {0x11, "<<Security Manager Out of Band Flags>>"},
        {0x12, "<<Slave Connection Interval Range>>"},
        {0x14, "<<List of 16-bit Service Solicitation UUIDs>>"},
        {0x15, "<<List of 128-bit Service Solicitation UUIDs>>"},
        {0x16, "<<Service Data - 16-bit UUID>>"},
        {0x17, "<<Public Target Address>>"},
        {0x18, "<<Random Target Address>>"},
        {0x19, "<<Appearance>>"},
        {0x1A, "<<Advertising Interval>>"},
        {0x1B, "<<LE Bluetooth Device Address>>"},
        {0x1C, "<<LE Role>>"},
        {0x1D, "<<Simple Pairing Hash C-256>>"},
        {0x1E, "<<Simple Pairing Randomizer R-256>>"},
        {0x1F, "<<List of 32-bit Service Solicitation UUIDs>>"},
        {0x20, "<<Service Data - 32-bit UUID>>"},
        {0x21, "<<Service Data - 128-bit UUID>>"},
        {0x22, "<<LE Secure Connections Confirmation Value>>"},
        {0x23, "<<LE Secure Connections Random Value>>"},
        {0x24, "<<URI>>"},
        {0x25, "<<Indoor Positioning>>"},
        {0x26, "<<Transport Discovery Data>>"},
        {0x27, "<<LE Supported Features>>"},
        {0x28, "<<Channel Map Update Indication>>"},
        {0x29, "<<PB-ADV>>"},
        {0x2A, "<<Mesh Message>>"},
        {0x2B, "<<Mesh Beacon>>"},
        {0x3D, "<<3D Information Data>>"},
        {0xFF, "<<Manufacturer Specific Data>>"},
    };
}

bool CConnectionWidget::isAutoConnecting() const
{
    return ui->buttonAutoConnect->text() == QLatin1String(kCancelAutoConnect);
}

void CConnectionWidget::refreshCommandFields()
{
    for (auto it = m_config->cbegin(); it != m_config->cend(); ++it)
        commandFields.insert(it.key(), it.value());
}

bool CConnectionWidget::send(const QString& name, const FieldValueMap& fields, const FieldValueMap& extra)
{
    if (CCommand::sendMsg(m_msg, m_logger, name, fields, extra))
        return true;
    m_logger->log(QString("send " + name + " message failed").toLower(), 4);
    return false;
}

bool CConnectionWidget::parseAndLog(const QByteArray& frame, UplinkFieldMap& fields)
{
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return false;
    CCommand::logUplink(m_logger, frame, fields);
    return true;
}

bool CConnectionWidget::readStatus(const UplinkFieldMap& fields, int line, const char* function,
                                   quint8& status)
{
    const QByteArray bytes = fields.value("status");
    if (bytes.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, line, function);
        return false;
    }
    status = quint8(bytes.at(0));
    return true;
}

void CConnectionWidget::setButton(QToolButton* button, const QString& text, const QString& icon,
                                  const QString& toolTip)
{
    button->setText(text);
    button->setToolTip(toolTip.isEmpty() ? text : toolTip);
    button->setIcon(QIcon(icon));
}

void CConnectionWidget::setScanButtonAtRest(bool atRest)
{
    if (atRest)
        setButton(ui->buttonScan, kStartScan, ":/icons/scan");
    else
        setButton(ui->buttonScan, kStopScan, ":/icons/stopscan");
    scanning = !atRest;
}

void CConnectionWidget::setAutoConnectAtRest()
{
    setButton(ui->buttonAutoConnect, kAutoConnect, ":/icons/autoConnect");
}

// The pressed row's connection attempt is over: back to idle, and the buttons follow.
void CConnectionWidget::releaseCurrentRow()
{
    const QModelIndex current = ui->tableView_devices->currentIndex();
    if (current.isValid() && current.row() < deviceRows.size()) {
        deviceRows[current.row()].insert("connected", QByteArray(1, 0));
        m_model->updateItem(current.row());
    }
    onTableView_devicesClicked(current);
}

void CConnectionWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

void CConnectionWidget::responseProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
}

void CConnectionWidget::on_buttonScan_clicked()
{
    refreshCommandFields();
    if (ui->buttonScan->text() == QLatin1String(kStopScan)) {
        send("Stop Scan", {});
        return;
    }

    ui->buttonConnect->setEnabled(false);
    setButton(ui->buttonConnect, kConnect, ":/icons/connect");
    ui->buttonAddToWhiteList->setEnabled(false);
    m_model->clear();
    send("5_0_Start Scan", commandFields);
    syncListMode = commandFields.value("type").toInt() == 1 ? 1 : 0;
    if (syncListMode == 1)
        ui->buttonSync->setEnabled(true);
}

void CConnectionWidget::startScanResultProc(const QByteArray& frame)
{
    scanStateProc(frame, false, "CConnectionWidget::startScanResultProc");
}

// The dongle also ends a scan by itself when its duration is over.
void CConnectionWidget::stopScanProc(const QByteArray& frame)
{
    scanStateProc(frame, true, "CConnectionWidget::stopScanProc");
}

// Only the dongle's answers move the scan button: a click merely asks.
void CConnectionWidget::scanStateProc(const QByteArray& frame, bool atRest, const char* function)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (!parseAndLog(frame, fields) || !readStatus(fields, __LINE__, function, status))
        return;
    if (status == 0)
        setScanButtonAtRest(atRest);
    else
        CCommand::logUplinkResult(m_logger, frame, status);
}

void CConnectionWidget::startScanProc(const QByteArray& frame)
{
    UplinkFieldMap m;
    if (CCommand::parseUplinkMsg(m_logger, frame, m) != 0)
        return;
    if (m.isEmpty()) {
        m_logger->log(QStringLiteral("Scan response or adv msg is empty"), 1);
        return;
    }
    const quint8 cls = firstByte(m.value("adv_classification"));
    if (cls == PeriodicData) {
        periodicReportProc(frame, m);
        return;
    }

    QString text = QLatin1String("Raw Data: ") + QLatin1String(frame.toHex()) + QLatin1String("\r\nField Data: ");
    for (auto it = m.cbegin(); it != m.cend(); ++it)
        text += it.key() + QLatin1String("->") + QLatin1String(it.value().toHex(':')) + QLatin1String("  ");
    m_logger->log(text, 1);

    // The payload carries a length word in front that the page has no use for.
    const QByteArray payload = m.take("adv_data_response_data").mid(2);
    QByteArray name;
    bool named = false;
    for (int i = 0; i < payload.size();) {
        const int length = quint8(payload.at(i));
        if (i + length >= payload.size()) {
            CCommand::logInternalError(m_logger, kSourceFile, __LINE__, "CConnectionWidget::startScanProc");
            break;
        }
        // A Complete Local Name always wins; a Shortened one only stands in until then.
        if (length >= 2) {
            const quint8 type = quint8(payload.at(i + 1));
            if (type == 0x09 || (type == 0x08 && !named)) {
                name = payload.mid(i + 2, length - 1);
                named = true;
            }
        }
        i += length + 1;
    }
    if (named)
        m.insert("device", name);

    const int at = m_model->findRow(m.value("addr"), m.value("addr_type"));
    if (at >= 0) {
        DeviceRow& row = deviceRows[at];
        if (cls == ExtendedAdvertising || cls == LegacyAdvertising) {
            for (auto it = m.cbegin(); it != m.cend(); ++it)
                row.insert(it.key(), it.value());
            if (cls == LegacyAdvertising)
                row.insert("phy_second", QByteArray(1, kNoSecondaryPhy));
            row.insert("adv_data", payload);
            row.insert("adv_type", typeWithSyncable(m));
        } else if (cls == ExtendedScanResponse || cls == LegacyScanResponse) {
            // A scan response's type must not replace the advertising report's.
            for (auto it = m.cbegin(); it != m.cend(); ++it) {
                if (it.key() != QLatin1String("adv_type"))
                    row.insert(it.key(), it.value());
            }
            if (cls == LegacyScanResponse)
                row.insert("phy_second", QByteArray(1, kNoSecondaryPhy));
            row.insert("response_data", payload);
        } else {
            return;
        }
        m_model->updateItem(at);
        return;
    }

    if (!m.contains("device"))
        m.insert("device", kPeerDevice);
    if (cls == ExtendedAdvertising || cls == LegacyAdvertising)
        m.insert("adv_data", payload);
    else if (cls == ExtendedScanResponse || cls == LegacyScanResponse)
        m.insert("response_data", payload);
    if (cls == LegacyAdvertising || cls == LegacyScanResponse)
        m.insert("phy_second", QByteArray(1, kNoSecondaryPhy));
    m.insert("connected", QByteArray(1, 0));
    m.insert("adv_type", typeWithSyncable(m));
    m_model->appendRow(m);
}

void CConnectionWidget::onTableView_devicesClicked(const QModelIndex& index)
{
    m_model->setHighlightIndex(QModelIndex());
    if (syncListMode == 1 && !index.isValid()) {
        ui->buttonScan->setEnabled(true);
        ui->tableView_devices->setEnabled(true);
    }
    if (!index.isValid() || index.row() >= deviceRows.size()) {
        m_logger->log(QStringLiteral("CConnectionWidget::onTableView_devices:Clicked index is not valid."), 1);
        return;
    }
    const DeviceRow& row = deviceRows.at(index.row());
    const QByteArray advType = row.value("adv_type");
    if (advType.size() != 1) {
        m_logger->log(QStringLiteral("CConnectionWidget::onTableView_devices:the length of advType is wrong."), 1);
        return;
    }

    bool busy = false;
    if (autoConnectMode) {
        ui->buttonConnect->setEnabled(false);
    } else if (quint8(advType.at(0)) & kAdvTypeConnectable) {
        ui->buttonConnect->setEnabled(true);
        const QByteArray connected = row.value("connected");
        if (connected.size() != 1) {
            CCommand::logInternalError(m_logger, kSourceFile, __LINE__,
                                       "CConnectionWidget::onTableView_devicesClicked");
            return;
        }
        switch (connected.at(0)) {
        case 0:
            setButton(ui->buttonConnect, kConnect, ":/icons/connect");
            break;
        case 1:
            setButton(ui->buttonConnect, kCancel, ":/icons/cancelConnect");
            busy = true;
            break;
        case 2:
            setButton(ui->buttonConnect, kDisconnect, ":/icons/disconnect");
            break;
        default:
            break;
        }
    } else {
        ui->buttonConnect->setEnabled(false);
    }

    if (row.value("adv_classification").size() != 1)
        m_logger->log(QStringLiteral("The lenth of advClassification is wrong"), 1);

    const bool syncable = quint8(advType.at(0)) & kAdvTypeSyncable;
    ui->buttonSync->setEnabled(syncable && ui->buttonScan->text() == QLatin1String(kStopScan));

    // While the pressed row connects, "Cancel" is the only way on.
    ui->buttonScan->setEnabled(!busy);
    ui->buttonAddToWhiteList->setEnabled(!busy);
    ui->tableView_devices->setEnabled(!busy);
    ui->buttonSync->setEnabled((ui->buttonSync->isEnabled() && !busy) || syncListMode == 1);

    showRawData(row.value("adv_data"), row.value("response_data"));
}

void CConnectionWidget::showRawData(const QByteArray& adv, const QByteArray& rsp)
{
    ui->rawData_advertising->setPlainText(QString::fromLatin1(adv.toHex(':')));
    ui->labelAdv->setText(QStringLiteral("raw data(%1)").arg(adv.size()));
    ui->rawData_scanRsp->setPlainText(QString::fromLatin1(rsp.toHex(':')));
    ui->labelScan->setText(QStringLiteral("raw data(%1)").arg(rsp.size()));
    showAdvertisingTree(ui->treeWidget_advertising, adv);
    showAdvertisingTree(ui->treeWidget_scanRsp, rsp);
}

void CConnectionWidget::showAdvertisingTree(QTreeWidget* tree, const QByteArray& data)
{
    tree->clear();
    tree->setColumnCount(2);
    tree->setHeaderLabels({QStringLiteral("Description"), QStringLiteral("Value")});
    tree->setColumnWidth(0, 270);
    tree->setColumnWidth(1, 80);

    int n = 0;
    for (int i = 0; i < data.size();) {
        const int length = quint8(data.at(i));
        if (length == 0 || i + length >= data.size()) {
            m_logger->log(QStringLiteral("The format of advertisng data is wrong."), 1);
            return;
        }
        const quint8 type = quint8(data.at(i + 1));
        const QString typeName = adTypeNames.value(type);
        auto* top = new QTreeWidgetItem(tree, {QStringLiteral("Data %1:").arg(n) + typeName});
        new QTreeWidgetItem(top, {QStringLiteral("Lenth of this data"), byteText(quint8(length))});
        auto* typeRow = new QTreeWidgetItem(top, {typeName, byteText(type)});

        if (type == 0x01) {
            // Flags are one byte; any other size ends the tree here, as the payload is broken.
            if (length != 2)
                return;
            const quint8 flags = quint8(data.at(i + 2));
            auto* flagRow = new QTreeWidgetItem(typeRow, {QStringLiteral("Flag Data:%1").arg(byteText(flags)), byteText(flags)});
            for (int bit = 0; bit < 8; ++bit)
                new QTreeWidgetItem(flagRow, {kFlagBits[bit], (flags >> bit) & 1 ? QStringLiteral("ON") : QStringLiteral("OFF")});
        } else {
            const bool isName = type == 0x08 || type == 0x09;
            for (int at = i + 2; at <= i + length; ++at) {
                const quint8 byte = quint8(data.at(at));
                new QTreeWidgetItem(typeRow, {isName ? QString(QChar(byte)) : QString(), byteText(byte)});
            }
        }
        ++n;
        i += length + 1;
    }
    tree->expandAll();
}

void CConnectionWidget::on_buttonSearch_clicked()
{
    m_searchBox->show();
    m_searchBox->setFound(-1, -1);
}

void CConnectionWidget::on_searchNext(SearchBox* sb)
{
    searchFrom(sb, true);
}

void CConnectionWidget::on_searchPrevious(SearchBox* sb)
{
    searchFrom(sb, false);
}

// Cell by cell from the top (or from the bottom), the first match past the last hit wins; the
// walk does not wrap.
void CConnectionWidget::searchFrom(SearchBox* sb, bool forward)
{
    const QString wanted = sb->text().toLower();
    const int rows = deviceRows.size();
    const int lastRow = sb->foundRow();
    const int lastColumn = sb->foundColumn();
    for (int step = 0; step < rows; ++step) {
        const int r = forward ? step : rows - 1 - step;
        const int columns = qMin(deviceRows.at(r).size(), m_model->columnCount());
        for (int cstep = 0; cstep < columns; ++cstep) {
            const int c = forward ? cstep : columns - 1 - cstep;
            const bool beyond = forward ? (r > lastRow || (r == lastRow && c > lastColumn))
                                        : (r < lastRow || (r == lastRow && c < lastColumn));
            if (!beyond)
                continue;
            const QModelIndex index = m_model->index(r, c);
            if (!m_model->data(index).toString().toLower().contains(wanted))
                continue;
            QScrollBar* bar = ui->tableView_devices->verticalScrollBar();
            // In 64 bits: past about 46,000 rows the product leaves an int.
            bar->setValue(int(qint64(bar->maximum()) * r / rows));
            m_model->setHighlightIndex(index);
            sb->setFound(r, c, sb->text());
            return;
        }
    }
    if (sb->text() != sb->foundText())
        m_model->setHighlightIndex(QModelIndex());
}

void CConnectionWidget::on_buttonConnect_clicked()
{
    refreshCommandFields();
    const QModelIndex current = ui->tableView_devices->currentIndex();
    if (!current.isValid() || current.row() >= deviceRows.size()) {
        m_logger->log(QStringLiteral("The row selected from the Discovery Devices table is wrong."), 4);
        return;
    }
    DeviceRow& row = deviceRows[current.row()];
    const QString text = ui->buttonConnect->text();
    if (text == QLatin1String(kConnect)) {
        FieldValueMap extra;
        for (auto it = row.cbegin(); it != row.cend(); ++it)
            extra.insert(it.key(), it.value());
        send("5_0_Connect", commandFields, extra);
        row.insert("connected", QByteArray(1, 1));
        m_model->updateItem(current.row());
        pendingPeer = {{"addr", row.value("addr")}, {"addr_type", row.value("addr_type")}};
        onTableView_devicesClicked(current);
    } else if (text == QLatin1String(kCancel)) {
        send("Cancel Connect", {});
    } else if (text == QLatin1String(kDisconnect)) {
        send("Disconnect", {{"condix", row.value("condix")}});
    }
}

void CConnectionWidget::on_buttonAutoConnect_clicked()
{
    refreshCommandFields();
    const QString text = ui->buttonAutoConnect->text();
    if (text == QLatin1String(kAutoConnect)) {
        // The white list chooses the peer: the address fields stay zero.
        send("5_0_Connect", commandFields, {{"addr", QByteArray(6, 0)}, {"addr_type", QByteArray(1, 0)}});
        setButton(ui->buttonAutoConnect, kCancelAutoConnect, ":/icons/cancelAutoConnect", kCancel);
    } else if (text == QLatin1String(kCancelAutoConnect)) {
        send("Cancel Connect", {});
    } else if (text == QLatin1String(kDisconnect)) {
        send("Disconnect", {{"condix", autoCondix}});
    }
}

void CConnectionWidget::on_openAutoConnect(bool autoConnect)
{
    autoConnectMode = autoConnect;
    if (autoConnect) {
        ui->buttonConnect->setEnabled(false);
        ui->buttonAutoConnect->setEnabled(true);
        return;
    }
    const QModelIndex current = ui->tableView_devices->currentIndex();
    if (current.isValid())
        onTableView_devicesClicked(current);
    ui->buttonAutoConnect->setEnabled(false);
}

void CConnectionWidget::on_masterCondixChanged()
{
    ui->buttonCIGCIS->setEnabled(!m_masterCondixes.isEmpty());
}

void CConnectionWidget::on_buttonCIGCIS_clicked()
{
    if (cigCisOpen) {
        emit toCIGCISWidget();
        return;
    }
    auto* page = new CCigCisWidget(m_msg, m_logger, m_config, m_dongleName, &m_masterCondixes);
    cigCisOpen = true;
    emit cigcisSuccess(page);
}

void CConnectionWidget::connectResponseProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
    if (frame.size() != 6 || frame.at(5) == 0)
        return;
    if (autoConnectMode)
        setAutoConnectAtRest();
    else
        releaseCurrentRow();
}

void CConnectionWidget::connectProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (!parseAndLog(frame, fields) || !readStatus(fields, __LINE__, "CConnectionWidget::connectProc", status))
        return;
    if (status != 0) {
        if (autoConnectMode)
            setAutoConnectAtRest();
        else
            releaseCurrentRow();
        CCommand::logUplinkResult(m_logger, frame, status);
        return;
    }
    const QByteArray addr = fields.value("addr");
    if (addr.isEmpty()) {
        m_logger->log(QStringLiteral("Parse connect response failed."), 1);
        return;
    }
    if (firstByte(fields.value("connected")) != 1) {
        m_logger->log(QStringLiteral("Connect failed."), 1);
        return;
    }
    ++m_connectionCount;

    const QString address = QString::fromLatin1(CUtil::reversed(addr).toHex(':'));
    const quint8 condix = firstByte(fields.value("condix"));
    const quint8 role = firstByte(fields.value("role"));
    if (role == 0) {
        m_masterCondixes.append(char(condix));
        emit sig_masterCondixChanged();
    }
    const auto interval = quint16(littleEndian(fields.value("con_interval")));
    const auto latency = quint16(littleEndian(fields.value("con_latency")));
    const auto timeout = quint16(littleEndian(fields.value("sup_to")));
    const auto makeLayer = [&](const QString& name) {
        return new CLayerWidget(m_msg, m_logger, m_config, m_dongleName, role, interval, latency,
                                timeout, name, address, condix);
    };

    if (autoConnectMode) {
        autoCondix = QByteArray(1, char(condix));
        emit connectSuccess(role, address, makeLayer(kPeerDevice));
        setButton(ui->buttonAutoConnect, kDisconnect, ":/icons/disAutoConnect");
        return;
    }

    const QModelIndex current = ui->tableView_devices->currentIndex();
    QString name = kPeerDevice;
    if (role == 0 && current.isValid() && current.row() < deviceRows.size()
        && !deviceRows.at(current.row()).value("device").isEmpty())
        name = QString::fromUtf8(deviceRows.at(current.row()).value("device"));
    emit connectSuccess(role, address, makeLayer(name));
    if (role == 1)
        return;

    // The row that asked, not the frame's address: a resolvable address may differ here.
    const int at = m_model->findRow(pendingPeer.value("addr"), pendingPeer.value("addr_type"));
    if (at >= 0) {
        deviceRows[at].insert("connected", QByteArray(1, 2));
        deviceRows[at].insert("condix", QByteArray(1, char(condix)));
        m_model->updateItem(at);
    }
    onTableView_devicesClicked(current);
}

void CConnectionWidget::disconnectProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (!parseAndLog(frame, fields) || !readStatus(fields, __LINE__, "CConnectionWidget::disconnectProc", status))
        return;
    if (status != 0) {
        CCommand::logUplinkResult(m_logger, frame, status);
        return;
    }
    const QByteArray condix = fields.value("condix").left(1);
    const int master = m_masterCondixes.indexOf(condix);
    if (!condix.isEmpty() && master >= 0) {
        m_masterCondixes.remove(master, 1);
        emit sig_masterCondixChanged();
    }
    emit disConnectRequest(firstByte(condix));
    --m_connectionCount;

    if (autoConnectMode) {
        setAutoConnectAtRest();
        return;
    }
    for (int at = 0; at < deviceRows.size(); ++at) {
        if (deviceRows.at(at).contains("condix") && deviceRows.at(at).value("condix") == condix) {
            deviceRows[at].insert("connected", QByteArray(1, 0));
            deviceRows[at].remove("condix");
            m_model->updateItem(at);
            break;
        }
    }
    onTableView_devicesClicked(ui->tableView_devices->currentIndex());
}

void CConnectionWidget::cancelConnectProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (!parseAndLog(frame, fields) || !readStatus(fields, __LINE__, "CConnectionWidget::cancelConnectProc", status))
        return;
    if (status != 0) {
        CCommand::logUplinkResult(m_logger, frame, status);
        return;
    }
    if (autoConnectMode)
        setAutoConnectAtRest();
    else
        releaseCurrentRow();
}

void CConnectionWidget::autoConnectTimeoutProc(const QByteArray& frame)
{
    CCommand::logUplinkRaw(m_logger, frame);
    if (autoConnectMode) {
        setAutoConnectAtRest();
        return;
    }
    releaseCurrentRow();
    ui->buttonScan->setEnabled(true);
    ui->tableView_devices->setEnabled(true);
}

void CConnectionWidget::reset()
{
    m_connectionCount = 0;
    m_masterCondixes.clear();
    on_masterCondixChanged();
    m_model->clear();
    showRawData({}, {});

    setScanButtonAtRest(true);
    setButton(ui->buttonConnect, kConnect, ":/icons/connect");
    setSyncButtonAtRest();
    setAutoConnectAtRest();
    ui->buttonScan->setEnabled(true);
    ui->tableView_devices->setEnabled(true);
    ui->buttonAddToWhiteList->setEnabled(false);
    ui->buttonConnect->setEnabled(false);
    ui->buttonAutoConnect->setEnabled(false);
    ui->buttonSync->setEnabled(false);
    on_openAutoConnect(m_config->value("5_0_conn_type").toUInt() == 1);
    resetSyncViews();
}

DeviceEntryModel* CConnectionWidget::deviceListModel(int index) const
{
    switch (index) {
    case WhiteList:
        return m_whiteListModel;
    case BondList:
        return m_bondListModel;
    case PeriodicAdvertisingList:
        return m_periodicListModel;
    case RpaList:
        return m_rpaListModel;
    default:
        return nullptr;
    }
}

void CConnectionWidget::showDeviceList(int index)
{
    DeviceEntryModel* model = deviceListModel(index);
    if (!model)
        return;
    ui->tableView_deviceList->setModel(model);
    ui->deviceListAdd->setEnabled(index == WhiteList || index == PeriodicAdvertisingList);
    ui->deviceListDelete->setEnabled(index != RpaList);
    ui->deviceListClear->setEnabled(index != RpaList);
    ui->devicePrivacyModeUpdate->setVisible(index == RpaList);
    static const QVector<QVector<int>> widths = {{400, 400}, {400, 400}, {270, 270, 260}, {120, 120, 120, 250, 250}};
    for (int column = 0; column < widths.at(index).size(); ++column)
        ui->tableView_deviceList->setColumnWidth(column, widths.at(index).at(column));
}

void CConnectionWidget::on_deviceListType_currentIndexChanged(int index)
{
    showDeviceList(index);
    on_deviceListRefresh_clicked();
}

void CConnectionWidget::on_deviceListAdd_clicked()
{
    const int index = ui->deviceListType->currentIndex();
    if (index != WhiteList && index != PeriodicAdvertisingList) {
        m_logger->log(QStringLiteral("device list type is wrong"), 1);
        return;
    }
    // The dongle's lists hold 10 and 4 entries: a full one is refused before the dialog opens.
    const bool white = index == WhiteList;
    if (deviceListModel(index)->rowCount() > (white ? 9 : 3)) {
        const QString text = white ? QStringLiteral("Can not add white list because white list is full.")
                                   : QStringLiteral("Can not add periodic advertising list because periodic "
                                                    "advertising list is full.");
        m_logger->log(text, 4);
        CFlatMessage::information(this, QStringLiteral("error"), text);
        return;
    }
    if (white) {
        AddDeviceDialog dialog(m_logger, this);
        if (dialog.exec() != QDialog::Accepted)
            return;
        pendingDevice = {{"addr", dialog.address()}, {"addr_type", QByteArray(1, char(dialog.addressType()))}};
    } else {
        AddPeriodicDeviceDialog dialog(m_logger, this);
        if (dialog.exec() != QDialog::Accepted)
            return;
        pendingDevice = {{"addr", dialog.address()},
                         {"addr_type", QByteArray(1, char(dialog.addressType()))},
                         {"adv_sid", QByteArray(1, char(dialog.advSid()))}};
    }
    send(QLatin1String(kListCommands[index].add), fieldValues(pendingDevice));
}

// The fullness of the white list is not looked at here: the dongle answers for it.
void CConnectionWidget::on_buttonAddToWhiteList_clicked()
{
    const QModelIndex current = ui->tableView_devices->currentIndex();
    if (!current.isValid() || current.row() >= deviceRows.size()) {
        m_logger->log(QStringLiteral("The row selected from the Discovery Devices table is wrong."), 4);
        return;
    }
    const DeviceRow& row = deviceRows.at(current.row());
    pendingDevice = {{"addr", row.value("addr")}, {"addr_type", row.value("addr_type")}};
    send(QLatin1String(kListCommands[WhiteList].add), fieldValues(pendingDevice));
}

void CConnectionWidget::on_deviceListDelete_clicked()
{
    const int index = ui->deviceListType->currentIndex();
    const QModelIndex current = ui->tableView_deviceList->currentIndex();
    DeviceEntryModel* model = deviceListModel(index);
    if (!model || !current.isValid() || current.row() >= model->rowCount()) {
        m_logger->log(QStringLiteral("The row selected from the Device list is wrong."), 4);
        return;
    }
    pendingDevice = model->item(current.row());
    if (index != RpaList)
        send(QLatin1String(kListCommands[index].remove), fieldValues(pendingDevice));
}

void CConnectionWidget::on_deviceListClear_clicked()
{
    const int index = ui->deviceListType->currentIndex();
    if (index >= WhiteList && index < RpaList)
        send(QLatin1String(kListCommands[index].clear), {});
}

void CConnectionWidget::on_deviceListRefresh_clicked()
{
    const int index = ui->deviceListType->currentIndex();
    if (index >= WhiteList && index <= RpaList)
        send(QLatin1String(kListCommands[index].refresh), {});
}

void CConnectionWidget::on_devicePrivacyModeUpdate_clicked()
{
    if (ui->deviceListType->currentIndex() != RpaList) {
        m_logger->log(QStringLiteral("device list type is wrong"), 1);
        return;
    }
    const QModelIndex current = ui->tableView_deviceList->currentIndex();
    if (!current.isValid() || current.row() >= m_rpaListModel->rowCount()) {
        m_logger->log(QStringLiteral("The row selected from the Device list is wrong."), 4);
        return;
    }
    const UplinkFieldMap row = m_rpaListModel->item(current.row());
    pendingDevice = {{"peer_addr", row.value("peer_addr")}, {"peer_addr_type", row.value("peer_addr_type")}};
    FieldValueMap fields = fieldValues(pendingDevice);
    fields.insert(QStringLiteral("privacy_mode"), QByteArray(1, row.value("privacy_mode") == QByteArray(1, '\0') ? 1 : 0));
    send(QStringLiteral("Update Privacy Mode"), fields);
}

bool CConnectionWidget::listCommandAccepted(const QByteArray& frame, const char* function)
{
    CCommand::SDKProc(m_logger, frame);
    if (frame.size() != 6) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QLatin1String(function));
        return false;
    }
    return frame.at(5) == 0;
}

void CConnectionWidget::addWhitelistProc(const QByteArray& frame)
{
    if (listCommandAccepted(frame, "CConnectionWidget::addWhitelistProc"))
        m_whiteListModel->addItem(pendingDevice);
}

void CConnectionWidget::addPeriodicAdvlistProc(const QByteArray& frame)
{
    if (listCommandAccepted(frame, "CConnectionWidget::addPeriodicAdvlistProc"))
        m_periodicListModel->addItem(pendingDevice);
}

void CConnectionWidget::deleteWhitelistProc(const QByteArray& frame)
{
    if (listCommandAccepted(frame, "CConnectionWidget::deleteWhitelistProc"))
        m_whiteListModel->removeItem(pendingDevice);
}

void CConnectionWidget::deleteBondlistProc(const QByteArray& frame)
{
    if (listCommandAccepted(frame, "CConnectionWidget::deleteBondlistProc"))
        m_bondListModel->removeItem(pendingDevice);
}

void CConnectionWidget::deletePeriodicAdvlistProc(const QByteArray& frame)
{
    if (listCommandAccepted(frame, "CConnectionWidget::deletePeriodicAdvlistProc"))
        m_periodicListModel->removeItem(pendingDevice);
}

void CConnectionWidget::clearWhitelistProc(const QByteArray& frame)
{
    if (listCommandAccepted(frame, "CConnectionWidget::clearWhitelistProc"))
        m_whiteListModel->clear();
}

void CConnectionWidget::clearBondlistProc(const QByteArray& frame)
{
    if (listCommandAccepted(frame, "CConnectionWidget::clearBondlistProc"))
        m_bondListModel->clear();
}

void CConnectionWidget::clearPeriodicAdvlistProc(const QByteArray& frame)
{
    if (listCommandAccepted(frame, "CConnectionWidget::clearPeriodicAdvlistProc"))
        m_periodicListModel->clear();
}

void CConnectionWidget::operateWhitelistProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (parseAndLog(frame, fields) && readStatus(fields, __LINE__, "CConnectionWidget::operateWhitelistProc", status)
        && status != 0)
        CCommand::logUplinkResult(m_logger, frame, status);
}

// The dongle's event on its periodic advertiser list; the name is the one it has always had.
void CConnectionWidget::OperateBondlistProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (parseAndLog(frame, fields) && readStatus(fields, __LINE__, "CConnectionWidget::OperateBondlistProc", status)
        && status != 0)
        CCommand::logUplinkResult(m_logger, frame, status);
}

void CConnectionWidget::whitelistContentProc(const QByteArray& frame)
{
    listContentProc(frame, m_whiteListModel, "Get white list response is wrong.");
}

void CConnectionWidget::bondlistContentProc(const QByteArray& frame)
{
    listContentProc(frame, m_bondListModel, "Get bond list response is wrong.");
}

void CConnectionWidget::periodicAdvlistContentProc(const QByteArray& frame)
{
    listContentProc(frame, m_periodicListModel, "Get periodic advertising list response is wrong.");
}

void CConnectionWidget::rpalistContentProc(const QByteArray& frame)
{
    listContentProc(frame, m_rpaListModel, "Get Rpa list response is wrong.");
}

// The entries follow the frame's header back to back; the model changes only when all are whole.
void CConnectionWidget::listContentProc(const QByteArray& frame, DeviceEntryModel* model, const char* wrong)
{
    UplinkFieldMap fields;
    if (!parseAndLog(frame, fields))
        return;
    if (!model->setContent(frame.mid(5)))
        m_logger->log(QLatin1String(wrong), 4);
}

void CConnectionWidget::privacyModeProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
    if (frame.size() == 6 && frame.at(5) == 0)
        on_deviceListRefresh_clicked();
}

void CConnectionWidget::setSyncButtonAtRest()
{
    setButton(ui->buttonSync, kStartSync, ":/icons/sync");
}

// Every view goes, and the idle one is made anew.
void CConnectionWidget::resetSyncViews()
{
    const QList<QPair<quint16, QPlainTextEdit*>> entries = syncViews.values();
    syncViews.clear();
    m_pendingReports.clear();
    for (const auto& entry : entries)
        delete entry.second;
    ui->comboBox_peerAddr->clear();
    auto* idle = new QPlainTextEdit(ui->tabPeriodic);
    idle->setReadOnly(true);
    syncViews.insert(kIdleSyncView, {0, idle});
    on_comboBox_peerAddr_currentIndexChanged(-1);
}

bool CConnectionWidget::removeSync(quint8 index)
{
    if (index == kIdleSyncView || !syncViews.contains(index))
        return false;
    delete syncViews.take(index).second;
    m_pendingReports.remove(index);
    const int item = ui->comboBox_peerAddr->findData(index);
    if (item >= 0)
        ui->comboBox_peerAddr->removeItem(item);
    return true;
}

void CConnectionWidget::on_buttonSync_clicked()
{
    const QString command = QStringLiteral("LE Periodic Advertising Create Sync Start");
    if (ui->buttonSync->toolTip() == QLatin1String(kCancelSync)) {
        send(QStringLiteral("LE Periodic Advertising Create Sync Stop"), {},
             {{QStringLiteral("index"), QByteArray(1, char(pendingSyncIndex))}});
        return;
    }
    refreshCommandFields();
    FieldValueMap extra;
    if (syncListMode == 1) {
        // The dongle takes the advertisers from its periodic advertiser list.
        extra = {{"addr", QByteArray(6, '\0')}, {"addr_type", QByteArray(1, '\0')}, {"adv_sid", QByteArray(1, '\0')}};
    } else {
        const QModelIndex current = ui->tableView_devices->currentIndex();
        if (!current.isValid() || current.row() >= deviceRows.size()) {
            m_logger->log(QStringLiteral("The row selected from the Discovery Devices table is wrong."), 4);
            return;
        }
        extra = fieldValues(deviceRows.at(current.row()));
    }
    quint8 index = 0;
    while (syncViews.contains(index))
        ++index;
    pendingSyncIndex = index;
    setButton(ui->buttonSync, ui->buttonSync->text(), ":/icons/cancelSync", kCancelSync);
    ui->buttonScan->setEnabled(false);
    ui->buttonConnect->setEnabled(false);
    ui->buttonAddToWhiteList->setEnabled(false);
    ui->tableView_devices->setEnabled(false);
    auto* view = new QPlainTextEdit(ui->tabPeriodic);
    view->setReadOnly(true);
    view->setMaximumBlockCount(kPeriodicViewBlocks);
    view->hide();
    syncViews.insert(index, {0, view});
    extra.insert(QStringLiteral("index"), QByteArray(1, char(index)));
    send(command, commandFields, extra);
}

void CConnectionWidget::createSyncStartSDKProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
    if (frame.size() != 6 || frame.at(5) == 0)
        return;
    setSyncButtonAtRest();
    onTableView_devicesClicked(ui->tableView_devices->currentIndex());
    if (!removeSync(pendingSyncIndex))
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, "CConnectionWidget::createSyncStartSDKProc");
}

void CConnectionWidget::createSyncStartProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint8 status = 0;
    if (!parseAndLog(frame, fields) || !readStatus(fields, __LINE__, "CConnectionWidget::createSyncStartProc", status))
        return;
    const QByteArray index = fields.value("index");
    if (index.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, "CConnectionWidget::createSyncStartProc");
        return;
    }
    setSyncButtonAtRest();
    onTableView_devicesClicked(ui->tableView_devices->currentIndex());
    const quint8 syncIndex = quint8(index.at(0));
    if (status != 0) {
        removeSync(syncIndex);
        CCommand::logUplinkResult(m_logger, frame, status);
        return;
    }
    if (!syncViews.contains(syncIndex) || syncIndex == kIdleSyncView) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, "CConnectionWidget::createSyncStartProc");
        return;
    }
    syncViews[syncIndex].first = quint16(littleEndian(fields.value("sync_handle")));
    ui->buttonMasterBIG->setEnabled(true);
    ui->tabWidget_device->setCurrentIndex(2);
    const QByteArray type = fields.value("addr_type");
    if (type.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, "CConnectionWidget::createSyncStartProc");
        return;
    }
    // The type and then the address, as the item has always read.
    const QString text = (type.at(0) == 0 ? QStringLiteral("public") : QStringLiteral("random"))
                         + QString::fromLatin1(CUtil::reversed(fields.value("peer_addr")).toHex(':'));
    ui->comboBox_peerAddr->addItem(text, syncIndex);
    ui->comboBox_peerAddr->setCurrentIndex(ui->comboBox_peerAddr->count() - 1);
    CFlatMessage::information(this, QStringLiteral("Info"), QStringLiteral("synchronize succeeded."));
}

void CConnectionWidget::createSyncStopProc(const QByteArray& frame)
{
    syncEnded(frame, true, "CConnectionWidget::createSyncStopProc");
}

// The dongle lost the train: as a stop, but the scan button and the table stay as they are.
void CConnectionWidget::syncPassiveStopProc(const QByteArray& frame)
{
    syncEnded(frame, false, "CConnectionWidget::syncPassiveStopProc");
}

void CConnectionWidget::syncEnded(const QByteArray& frame, bool byStop, const char* function)
{
    UplinkFieldMap fields;
    if (!parseAndLog(frame, fields))
        return;
    const QByteArray index = fields.value("index");
    quint8 status = 0;
    if (index.size() != 1 || (byStop && !readStatus(fields, __LINE__, function, status))) {
        if (index.size() != 1)
            CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QLatin1String(function));
        return;
    }
    if (status != 0)
        return;
    setSyncButtonAtRest();
    if (byStop) {
        ui->buttonScan->setEnabled(true);
        ui->tableView_devices->setEnabled(true);
    }
    onTableView_devicesClicked(ui->tableView_devices->currentIndex());
    if (!removeSync(quint8(index.at(0))))
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QLatin1String(function));
}

void CConnectionWidget::on_m_tbStopSync_clicked()
{
    if (ui->comboBox_peerAddr->count() == 0)
        return;
    send(QStringLiteral("LE Periodic Advertising Create Sync Stop"), {},
         {{QStringLiteral("index"), QByteArray(1, char(ui->comboBox_peerAddr->currentData().toUInt()))}});
}

// One view at a time: the current sync's, or the idle one while none stands.
void CConnectionWidget::on_comboBox_peerAddr_currentIndexChanged(int index)
{
    Q_UNUSED(index)
    while (QLayoutItem* item = ui->verticalLayout_periodicAdv->takeAt(0))
        delete item;
    for (const auto& entry : qAsConst(syncViews))
        entry.second->hide();
    const quint8 shown = ui->comboBox_peerAddr->count() == 0 ? kIdleSyncView
                                                               : quint8(ui->comboBox_peerAddr->currentData().toUInt());
    QPlainTextEdit* view = syncView(shown);
    if (!view) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__,
                                   "CConnectionWidget::on_comboBox_peerAddr_currentIndexChanged");
        return;
    }
    ui->verticalLayout_periodicAdv->addWidget(view);
    view->show();
}

void CConnectionWidget::onPeriodicAdvDataClear()
{
    if (ui->comboBox_peerAddr->count() == 0)
        return;
    QPlainTextEdit* view = syncView(quint8(ui->comboBox_peerAddr->currentData().toUInt()));
    if (!view) {
        m_logger->log(QLatin1String(kSyncIndexWrong), 4);
        return;
    }
    view->clear();
}

// Saving a train's data is not offered: the button stays hidden.
void CConnectionWidget::onPeriodicAdvDataSave()
{
}

void CConnectionWidget::on_buttonMasterBIG_clicked()
{
    if (ui->comboBox_peerAddr->count() == 0)
        return;
    emit masterBIGSucceed(syncViews.value(quint8(ui->comboBox_peerAddr->currentData().toUInt())).first);
}

// A report of a train the dongle is synchronised to: appended to that sync's view, never a row.
void CConnectionWidget::periodicReportProc(const QByteArray& frame, const UplinkFieldMap& fields)
{
    const QByteArray index = fields.value("per_sync_idx");
    if (index.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, "CConnectionWidget::periodicReportProc");
        return;
    }
    QPlainTextEdit* view = quint8(index.at(0)) == kIdleSyncView ? nullptr : syncView(quint8(index.at(0)));
    if (!view) {
        m_logger->log(QLatin1String(kSyncIndexWrong), 4);
        return;
    }
    QString text = QLatin1String("Time:") + QTime::currentTime().toString(QStringLiteral("hh:mm:ss.zzz"))
                   + QLatin1String("\r\nRaw Data: ") + QLatin1String(frame.toHex()) + QLatin1String("\r\n")
                   + QLatin1String("Field Data: ");
    for (auto it = fields.cbegin(); it != fields.cend(); ++it) {
        if (it.key() == QLatin1String("tx_power") || it.key() == QLatin1String("rssi")
            || it.key() == QLatin1String("adv_data_response_data"))
            text += it.key() + QLatin1String("->") + QLatin1String(it.value().toHex(':')) + QLatin1String("  ");
    }
    m_pendingReports[quint8(index.at(0))].append(text);
    if (!m_reportFlush.isActive())
        m_reportFlush.start();
}

void CConnectionWidget::flushPeriodicReports()
{
    for (auto it = m_pendingReports.cbegin(); it != m_pendingReports.cend(); ++it) {
        if (QPlainTextEdit* view = syncView(it.key()))
            view->appendPlainText(it.value().join(QLatin1Char('\n')));
    }
    m_pendingReports.clear();
}
