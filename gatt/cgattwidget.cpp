#include "cgattwidget.h"
#include "ui_cgattwidget.h"

#include <QFile>
#include <QFileDialog>
#include <QHeaderView>
#include <QMessageBox>
#include <QRandomGenerator>
#include <QTextStream>
#include <QTimer>

#include "app/flat/cflatmessage.h"
#include "gatt/cgattcmddlg.h"
#include "gatt/csmdilog.h"
#include "gatt/gatttablemodel.h"
#include "gatt/treeitem.h"
#include "gatt/treemodel.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/cutil.h"

using namespace GattAttributes;

namespace {

const char* const kSourceFile = ".\\cgattwidget";
const QVector<int> kColumnWidths = {120, 120, 160, 300, 120};
constexpr quint8 kRead = 0x02;
constexpr quint8 kWriteWithResponse = 0x08;
constexpr quint8 kNotify = 0x10;
constexpr quint8 kIndicate = 0x20;
// Receiving Encryption Request: the request types, and byte 1 of a passkey request.
constexpr quint8 kPeerRequest = 0;
constexpr quint8 kPasskeyRequest = 1;
constexpr quint8 kComparisonRequest = 3;
constexpr quint8 kPasskeyShow = 1;
constexpr quint8 kPasskeyType = 2;
constexpr int kFrameHeader = 5;
constexpr quint32 kPasskeyLimit = 999999;

QString sixDigits(quint32 value)
{
    return QStringLiteral("%1").arg(value, 6, 10, QLatin1Char('0'));
}

QString hexText(quint16 value)
{
    return QStringLiteral("%1").arg(value, 4, 16, QLatin1Char('0'));
}

} // namespace

CGattWidget::CGattWidget(uint8_t condix, CMsg* msg, LogManager* logger, const QString* dongleName, QWidget* parent)
    : QWidget(parent)
    , ui(new Ui::CGattWidget)
    , condix(condix)
    , m_msg(msg)
    , m_logger(logger)
    , m_dongleName(dongleName)
    , treeModel(new TreeModel(logger, &attributeTable, this))
    , tableModel(new GattTableModel(logger, &attributeTable, this))
{
    ui->setupUi(this);
    ui->treeView->setModel(treeModel);
    setViewColumnWidths();
    m_commandTab = new CGattCmdDlg(condix, msg, logger, ui->gattTabWidget);
    ui->gattTabWidget->addTab(m_commandTab, QStringLiteral("Send Commands"));
    connect(m_commandTab, &CGattCmdDlg::sig_sendDicoverCmd, this, &CGattWidget::onSendDicoverCmd);
    fillProcTable();
    if (m_msg) {
        connect(m_msg, &CMsg::sig_rcvGattMsg, this, &CGattWidget::onRcvMsg);
        connect(m_msg, &CMsg::sig_rcvSmMsg, this, &CGattWidget::onRcvMsg);
    }
}

CGattWidget::~CGattWidget()
{
    delete ui;
}

void CGattWidget::fillProcTable()
{
    for (int opcode = 0x00; opcode <= 0x26; opcode += 2)
        procTable.insert(QStringLiteral("BB@03@%1").arg(opcode, 2, 16, QLatin1Char('0')).toUpper(), &CGattWidget::ackProc);
    for (const char* id : {"BB@03@29", "BB@02@03", "BB@02@0A"})
        procTable.insert(QLatin1String(id), &CGattWidget::ackProc);
    for (const char* id : {"DD@03@1B", "DD@03@1D", "DD@03@1F", "DD@03@17", "DD@03@19", "DD@03@25", "DD@03@27"})
        procTable.insert(QLatin1String(id), &CGattWidget::WriteProc);
    for (const char* id : {"DD@03@0F", "DD@03@11", "DD@03@13", "DD@03@15", "DD@03@21", "DD@03@23"})
        procTable.insert(QLatin1String(id), &CGattWidget::readListProc);
    procTable.insert(QStringLiteral("DD@03@01"), &CGattWidget::ExchangeGATTMTUProc);
    procTable.insert(QStringLiteral("DD@03@28"), &CGattWidget::notificationProc);
    procTable.insert(QStringLiteral("DD@03@03"), &CGattWidget::serviceListProc);
    procTable.insert(QStringLiteral("DD@03@05"), &CGattWidget::serviceListProc);
    procTable.insert(QStringLiteral("DD@03@30"), &CGattWidget::serviceProc);
    procTable.insert(QStringLiteral("DD@03@07"), &CGattWidget::includeListProc);
    procTable.insert(QStringLiteral("DD@03@31"), &CGattWidget::includeProc);
    procTable.insert(QStringLiteral("DD@03@09"), &CGattWidget::characteristicListProc);
    procTable.insert(QStringLiteral("DD@03@0B"), &CGattWidget::characteristicListProc);
    procTable.insert(QStringLiteral("DD@03@32"), &CGattWidget::characteristicProc);
    procTable.insert(QStringLiteral("DD@03@0D"), &CGattWidget::descriptorListProc);
    procTable.insert(QStringLiteral("DD@03@33"), &CGattWidget::descriptorProc);
    procTable.insert(QStringLiteral("DD@03@34"), &CGattWidget::discoverEndProc);
    procTable.insert(QStringLiteral("BB@02@07"), &CGattWidget::lastAckProc);
    procTable.insert(QStringLiteral("DD@02@0A"), &CGattWidget::getLnkProc);
    procTable.insert(QStringLiteral("DD@02@06"), &CGattWidget::smMsgProc);
    procTable.insert(QStringLiteral("DD@02@04"), &CGattWidget::startingPairProc);
}

void CGattWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

bool CGattWidget::send(const QString& name, const FieldValueMap& fields)
{
    FieldValueMap withLink = fields;
    withLink.insert(QStringLiteral("condix"), QByteArray(1, char(condix)));
    // The panel's own commands are answered: from now on their acknowledgements are worth a line.
    sdkResultEnabled = true;
    if (CCommand::sendMsg(m_msg, m_logger, name, withLink, {}))
        return true;
    CCommand::logSendFailed(m_logger, name.toLower());
    return false;
}

void CGattWidget::setBatchControlsEnabled(bool enabled)
{
    ui->gattTabWidget->setEnabled(enabled);
    ui->toolButton_dicoverAllAttr->setEnabled(enabled);
    ui->toolButton_enableNotifyAndIndicate->setEnabled(enabled);
    ui->toolButton_disableNotifyAndIndicate->setEnabled(enabled);
    ui->toolButton_readAllChar->setEnabled(enabled);
}

void CGattWidget::setViewColumnWidths()
{
    for (int i = 0; i < kColumnWidths.size(); ++i)
        ui->treeView->setColumnWidth(i, kColumnWidths.at(i));
}

void CGattWidget::expandSoon()
{
    if (m_expandPending)
        return;
    m_expandPending = true;
    QTimer::singleShot(0, this, [this] {
        m_expandPending = false;
        ui->treeView->expandAll();
    });
}

// ---- Buttons ----

void CGattWidget::on_toolButton_dicoverAllAttr_clicked()
{
    setBatchControlsEnabled(false);
    on_toolButton_clear_clicked();
    ui->comboBox_mode->setEnabled(true);
    send(QStringLiteral("Discover All Attributes"), {});
}

void CGattWidget::on_toolButton_clear_clicked()
{
    clearAttributes();
    ui->toolButton_enableNotifyAndIndicate->setEnabled(false);
    ui->toolButton_disableNotifyAndIndicate->setEnabled(false);
    ui->toolButton_readAllChar->setEnabled(false);
}

void CGattWidget::clearAttributes()
{
    attributeTable.resize(0);
    tableModel->clear();
    treeModel->clear();
}

void CGattWidget::on_toolButton_exchangeMTU_clicked()
{
    send(QStringLiteral("Exchange GATT MTU"), {});
}

void CGattWidget::on_toolButton_pair_clicked()
{
    send(QStringLiteral("Starting Pair"), {});
}

void CGattWidget::on_toolButton_getLnk_clicked()
{
    send(QStringLiteral("Gatt get Lnk"), {});
}

void CGattWidget::on_pairEnable(bool pairEnable)
{
    ui->toolButton_pair->setEnabled(pairEnable);
}

void CGattWidget::on_toolButton_enableNotifyAndIndicate_clicked()
{
    setBatchControlsEnabled(false);
    walkNotifications(true, false);
}

void CGattWidget::on_toolButton_disableNotifyAndIndicate_clicked()
{
    setBatchControlsEnabled(false);
    walkNotifications(false, false);
}

int CGattWidget::walkNotifications(bool enable, bool readBack)
{
    pendingCount = 0;
    const QVector<TreeItem*> items = treeModel->items();
    for (const TreeItem* item : items) {
        if (!item) {
            m_logger->log(QStringLiteral("CGattWidget::on_toolButton_enableNotifications_pressed: treeItem is null."), 1);
            return -1;
        }
        if (!isUuid16(item->attribute(), Characteristic))
            continue;
        if (item->childCount() == 0) {
            m_logger->log(QStringLiteral("CGattWidget::on_toolButton_enableNotifications_pressed: the child of "
                                         "Characteristic Declaration is empty."),
                          1);
            return -1;
        }
        const quint8 properties = item->child(0)->attribute().properties;
        if (!(properties & (kNotify | kIndicate)))
            continue;
        quint16 word = 0;
        if (enable)
            word = ((properties & kNotify) ? 1 : 0) + ((properties & kIndicate) ? 2 : 0);
        for (int i = 0; i < item->childCount(); ++i) {
            const GattAttribute& descriptor = item->child(i)->attribute();
            if (!isUuid16(descriptor, ClientConfiguration))
                continue;
            // The codec writes hex text last pair first: this text goes out little-endian.
            const FieldValueMap fields{{QStringLiteral("attrible_handle"), hexText(descriptor.handle)},
                                       {QStringLiteral("value"), hexText(word)}};
            const bool sent = readBack ? send(QStringLiteral("Read Characteristic Descriptor"), fields)
                                       : send(QStringLiteral("Write Characteristic Descriptor"), fields);
            if (sent)
                ++pendingCount;
        }
    }
    return 0;
}

void CGattWidget::on_toolButton_readAllChar_clicked()
{
    setBatchControlsEnabled(false);
    pendingCount = 0;
    const QVector<GattAttribute> rows = tableModel->attributes();
    for (int i = 0; i < rows.size(); ++i) {
        if (!isUuid16(rows.at(i), Characteristic))
            continue;
        if (i + 1 >= rows.size()) {
            m_logger->log(QStringLiteral("CGattWidget::on_toolButton_readAllChar_pressed: attribute handle is wrong."), 1);
            return;
        }
        const GattAttribute& valueRow = rows.at(i + 1);
        if (!(valueRow.properties & kRead))
            continue;
        send(QStringLiteral("Read Long Characteristic Value"),
             {{QStringLiteral("attrible_handle"), hexText(valueRow.handle)}, {QStringLiteral("offset"), QStringLiteral("0000")}});
        ++pendingCount;
    }
}

void CGattWidget::on_toolButton_export_clicked()
{
    const QString path = askExportPath();
    if (path.isEmpty())
        return;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        m_logger->log(QStringLiteral("Open file failed."), 4);
        return;
    }
    QTextStream out(&file);
    out << "Handle,UUID,UUID Description,Value,Properties" << Qt::endl;
    for (const GattAttribute& row : tableModel->attributes()) {
        out << handleText(row.handle) << ',' << CCommand::uuidDisplayText(row.uuid) << ',' << row.uuidDescription << ','
            << QString::fromLatin1(row.value.toHex(':')) << ','
            << (row.properties ? QStringLiteral("0x%1").arg(row.properties, 2, 16, QLatin1Char('0')) : QString())
            << Qt::endl;
    }
}

QString CGattWidget::askExportPath()
{
    return QFileDialog::getSaveFileName(this, QStringLiteral("save File..."), QStringLiteral("GATT Attribute.csv"));
}

void CGattWidget::on_toolButton_expandAll_clicked()
{
    ui->treeView->expandAll();
}

void CGattWidget::on_toolButton_collapseAll_clicked()
{
    ui->treeView->collapseAll();
}

void CGattWidget::on_comboBox_mode_currentIndexChanged(int index)
{
    if (index == 0) {
        ui->treeView->setModel(treeModel);
        ui->treeView->expandAll();
    } else if (index == 1) {
        ui->treeView->setModel(tableModel);
    }
    ui->toolButton_expandAll->setEnabled(index != 1);
    ui->toolButton_collapseAll->setEnabled(index != 1);
    setViewColumnWidths();
}

void CGattWidget::onSendDicoverCmd()
{
    ui->comboBox_mode->setCurrentIndex(1);
    ui->comboBox_mode->setEnabled(false);
    ui->toolButton_enableNotifyAndIndicate->setEnabled(false);
    ui->toolButton_disableNotifyAndIndicate->setEnabled(false);
}

void CGattWidget::on_treeView_pressed(const QModelIndex& index)
{
    if (!index.isValid()) {
        m_logger->log(QStringLiteral("CGattWidget::on_treeView_pressed: index is not valid."), 1);
        return;
    }
    GattAttribute attribute;
    const int found = ui->comboBox_mode->currentIndex() == 0 ? treeModel->getAttribute(index, attribute)
                                                              : tableModel->getAttribute(index, attribute);
    if (found != 0) {
        m_logger->log(QStringLiteral("CGattWidget::on_treeView_pressed: getAttribute failed."), 1);
        return;
    }
    ui->label_handle->setText(handleText(attribute.handle));
    ui->label_UUID->setText(CCommand::uuidDisplayText(attribute.uuid));
    ui->label_UUIDDescription->setText(attribute.uuidDescription);
    ui->label_property->setText(propertyNames(attribute.properties, QStringLiteral(" , ")));
    ui->textEdit_value->setPlainText(QString::fromLatin1(attribute.value.toHex()));
    ui->pb_read->setEnabled(attribute.properties & kRead);
    ui->pb_write->setEnabled(attribute.properties & kWriteWithResponse);
}

void CGattWidget::on_pb_read_clicked()
{
    if (ui->label_handle->text().isEmpty()) {
        m_logger->log(QStringLiteral("Handle is empty."), 4);
        return;
    }
    send(QStringLiteral("Read Characteristic Value"), {{QStringLiteral("attrible_handle"), ui->label_handle->text().mid(2)}});
}

void CGattWidget::on_pb_write_clicked()
{
    if (ui->label_UUID->text().isEmpty()) {
        m_logger->log(QStringLiteral("UUID is empty."), 4);
        return;
    }
    // Text values go out byte-reversed, as the codec writes every text: 0102 reaches the peer
    // as 02 01, while a read shows bytes in wire order.
    send(QStringLiteral("Write Characteristic Value"), {{QStringLiteral("attrible_handle"), ui->label_handle->text().mid(2)},
                                                        {QStringLiteral("value"), ui->textEdit_value->value()}});
}

// ---- Uplinks ----

bool CGattWidget::parseOwn(const QByteArray& frame, UplinkFieldMap& fields)
{
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return false;
    CCommand::logUplink(m_logger, frame, fields);
    const QByteArray link = fields.value(QStringLiteral("condix"));
    return link.size() == 1 && quint8(link.at(0)) == condix;
}

void CGattWidget::store(quint16 handle, const GattAttribute& attribute)
{
    if (attributeTable.size() <= handle)
        attributeTable.resize(handle + 1);
    attributeTable[handle] = attribute;
}

void CGattWidget::ackProc(const QByteArray& frame)
{
    if (sdkResultEnabled)
        CCommand::SDKProc(m_logger, frame);
}

void CGattWidget::lastAckProc(const QByteArray& frame)
{
    if (sdkResultEnabled)
        CCommand::lastSDKProc(m_logger, frame);
}

namespace {

// A declaration as discovery reports it: its slot's handle, the declaration's UUID and its value.
GattAttribute declaration(quint16 handle, quint16 uuid, const QByteArray& value)
{
    GattAttribute attribute;
    attribute.used = 1;
    attribute.handle = handle;
    attribute.uuid = CCommand::uuid16ToArray(uuid);
    attribute.uuidDescription = uuidDescription(attribute.uuid.left(2));
    attribute.value = value;
    return attribute;
}

GattAttribute descriptor(quint16 handle, const QByteArray& uuid)
{
    GattAttribute attribute;
    attribute.used = 1;
    attribute.handle = handle;
    attribute.uuidDescription = uuidDescription(uuid, 4);
    attribute.uuid = paddedUuid(uuid);
    return attribute;
}

// The slot of a value that a characteristic declaration names: filled when its own row comes.
GattAttribute placeholder(quint16 handle)
{
    GattAttribute attribute;
    attribute.used = 1;
    attribute.handle = handle;
    return attribute;
}

} // namespace

void CGattWidget::storeCharacteristic(quint16 handle, const GattAttribute& attribute)
{
    store(handle, attribute);
    // The last handle has no slot after it: slot 0 stays empty.
    if (handle < 0xFFFF)
        store(quint16(handle + 1), placeholder(quint16(handle + 1)));
}

bool CGattWidget::parseWithHandle(const QByteArray& frame, const char* handleKey, UplinkFieldMap& fields,
                                  quint16& handle)
{
    if (!parseOwn(frame, fields))
        return false;
    if (!readHandle(fields.value(QLatin1String(handleKey)), 0, &handle)) {
        m_logger->log(QStringLiteral("GATT receive msg is wrong."), 4);
        return false;
    }
    return true;
}

void CGattWidget::serviceProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint16 handle = 0;
    if (!parseWithHandle(frame, "start_handle", fields, handle))
        return;
    store(handle, declaration(handle, PrimaryService,
                              fields.value(QStringLiteral("start_handle")) + fields.value(QStringLiteral("end_handle"))
                                  + fields.value(QStringLiteral("service_UUID"))));
    tableModel->build(true);
}

void CGattWidget::includeProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint16 handle = 0;
    if (!parseWithHandle(frame, "attr_hdl", fields, handle))
        return;
    store(handle, declaration(handle, Include,
                              fields.value(QStringLiteral("start_handle")) + fields.value(QStringLiteral("end_handle"))
                                  + fields.value(QStringLiteral("service_UUID"))));
    tableModel->build(true);
}

void CGattWidget::characteristicProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint16 handle = 0;
    if (!parseWithHandle(frame, "handle", fields, handle))
        return;
    storeCharacteristic(handle, declaration(handle, Characteristic,
                                            fields.value(QStringLiteral("properties"))
                                                + fields.value(QStringLiteral("value_handle"))
                                                + fields.value(QStringLiteral("char_UUID"))));
    tableModel->build(true);
}

void CGattWidget::descriptorProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint16 handle = 0;
    if (!parseWithHandle(frame, "handle", fields, handle))
        return;
    store(handle, descriptor(handle, fields.value(QStringLiteral("descriptor_UUID"))));
    tableModel->build(false);
}

void CGattWidget::discoverEndProc(const QByteArray& frame)
{
    setBatchControlsEnabled(true);
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields))
        return;
    treeModel->build();
    tableModel->build(true);
    ui->treeView->expandAll();
}

QList<QByteArray> CGattWidget::listRecords(const QByteArray& frame, int headerBytes, int lengthAt, int lengthBytes,
                                           bool* ok)
{
    *ok = false;
    CCommand::logUplinkRaw(m_logger, frame);
    const QString formatError = QLatin1String("Uplink Command Name:")
        + CCfgFileParse::instance()->m_uplinkIdToName.value(CCommand::uplinkId(frame)) + QLatin1String(" Format error.");
    const QByteArray body = frame.mid(5);
    if (body.size() < 4) {
        m_logger->log(formatError, 4);
        return {};
    }
    if (quint8(body.at(0)) != condix)
        return {};
    if (body.at(1) != 0) {
        CCommand::logUplinkResult(m_logger, frame, quint8(body.at(1)));
        return {};
    }
    quint16 count = 0;
    readHandle(body, 2, &count);
    QList<QByteArray> records;
    for (int at = 4; at < body.size();) {
        if (body.size() - at < headerBytes) {
            m_logger->log(formatError, 4);
            return {};
        }
        quint64 length = 0;
        CUtil::arrayToValue(0, body.mid(at + lengthAt, lengthBytes), length);
        if (quint64(body.size() - at - headerBytes) < length) {
            m_logger->log(formatError, 4);
            return {};
        }
        records.append(body.mid(at, headerBytes + int(length)));
        at += headerBytes + int(length);
    }
    if (records.size() != count) {
        m_logger->log(formatError, 4);
        return {};
    }
    *ok = true;
    return records;
}

void CGattWidget::serviceListProc(const QByteArray& frame)
{
    bool ok = false;
    for (const QByteArray& record : listRecords(frame, 5, 4, 1, &ok)) {
        quint16 start = 0;
        readHandle(record, 0, &start);
        store(start, declaration(start, PrimaryService, record.left(4) + record.mid(5)));
    }
    if (ok)
        tableModel->build(true);
}

void CGattWidget::includeListProc(const QByteArray& frame)
{
    bool ok = false;
    for (const QByteArray& record : listRecords(frame, 7, 6, 1, &ok)) {
        quint16 handle = 0;
        readHandle(record, 0, &handle);
        store(handle, declaration(handle, Include, record.mid(2, 4) + record.mid(7)));
    }
    if (ok)
        tableModel->build(true);
}

void CGattWidget::characteristicListProc(const QByteArray& frame)
{
    bool ok = false;
    for (const QByteArray& record : listRecords(frame, 6, 5, 1, &ok)) {
        quint16 handle = 0;
        readHandle(record, 0, &handle);
        storeCharacteristic(handle,
                            declaration(handle, Characteristic, record.mid(4, 1) + record.mid(2, 2) + record.mid(6)));
    }
    if (ok)
        tableModel->build(true);
}

void CGattWidget::descriptorListProc(const QByteArray& frame)
{
    bool ok = false;
    for (const QByteArray& record : listRecords(frame, 3, 2, 1, &ok)) {
        quint16 handle = 0;
        readHandle(record, 0, &handle);
        store(handle, descriptor(handle, record.mid(3)));
    }
    if (ok)
        tableModel->build(false);
}

void CGattWidget::readListProc(const QByteArray& frame)
{
    if (--pendingCount == 0)
        setBatchControlsEnabled(true);
    bool ok = false;
    for (const QByteArray& record : listRecords(frame, 6, 4, 2, &ok)) {
        quint16 handle = 0;
        readHandle(record, 0, &handle);
        showValue(handle, record.mid(6));
        if (ui->label_handle->text() == handleText(handle))
            ui->textEdit_value->setPlainText(QString::fromLatin1(record.mid(6).toHex()));
    }
}

void CGattWidget::showValue(quint16 handle, const QByteArray& value)
{
    treeModel->updateValue(handle, value);
    tableModel->updateValue(handle, value);
    expandSoon();
}

void CGattWidget::notificationProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    quint16 handle = 0;
    if (!parseWithHandle(frame, "handle", fields, handle))
        return;
    showValue(handle, fields.value(QStringLiteral("value")));
}

void CGattWidget::WriteProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    if (--pendingCount == 0)
        walkNotifications(true, true);
    const QByteArray link = fields.value(QStringLiteral("condix"));
    const QByteArray status = fields.value(QStringLiteral("status"));
    if (link.size() != 1 || status.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QStringLiteral("CGattWidget::WriteProc"));
        return;
    }
    if (status.at(0) != 0)
        CCommand::logUplinkResult(m_logger, frame, quint8(status.at(0)));
}

void CGattWidget::ExchangeGATTMTUProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (!parseOwn(frame, fields))
        return;
    const QByteArray status = fields.value(QStringLiteral("status"));
    if (status.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QStringLiteral("CGattWidget::ExchangeGATTMTUProc"));
        return;
    }
    if (status.at(0) != 0) {
        CCommand::logUplinkResult(m_logger, frame, quint8(status.at(0)));
        return;
    }
    emit sig_showDongleTab(dongleName());
    const QString success = CCommand::statusWord("STATUS_RSP", 0).replace(QLatin1Char(' '), QLatin1Char('_'));
    if (success == QLatin1String("BLE_SUCCESS"))
        CFlatMessage::information(this, QStringLiteral("ATTENTION"), QStringLiteral("Exchange MTU success"));
    else
        CFlatMessage::information(this, QStringLiteral("ERROR"), QStringLiteral("Exchange MTU failed,error code is ") + success);
}

void CGattWidget::getLnkProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    const QByteArray link = fields.value(QStringLiteral("condix"));
    if (link.size() != 1 || quint8(link.at(0)) != condix)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    const QByteArray ltk = fields.value(QStringLiteral("ltk"));
    if (ltk.size() != 16) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QStringLiteral("CGattWidget::getLnkProc"));
        return;
    }
    emit sig_showDongleTab(dongleName());
    CFlatMessage::information(this, dongleName() + QStringLiteral(" Link Value"),
                              QStringLiteral("Link value number: ") + QString::fromLatin1(ltk.toHex(':')));
}

// ---- Pairing ----

void CGattWidget::on_cmsdialogPair(QString number, uint8_t accpet)
{
    passkeyNumber = number.toUInt();
    passkeyAccept = accpet;
}

QPointer<csmdilog> CGattWidget::runPairDialog(const QString& title, const QString& heading, const QString& passkey,
                                              bool editable)
{
    QPointer<csmdilog> dialog = new csmdilog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose, false);
    dialog->setTitle(dongleName() + title);
    dialog->setHeading(heading);
    dialog->setPasskeyText(passkey);
    dialog->setPasskeyEnabled(editable);
    connect(dialog, &csmdilog::cmsdialogPair, this, &CGattWidget::on_cmsdialogPair);
    pairDialog = dialog;
    dialog->exec();
    return dialog;
}

// The security manager's questions: the request type, what it needs, the link last.
void CGattWidget::smMsgProc(const QByteArray& frame)
{
    if (frame.size() < kFrameHeader + 2 || quint8(frame.at(frame.size() - 1)) != condix)
        return;
    CCommand::logUplinkRaw(m_logger, frame);
    const QByteArray body = frame.mid(kFrameHeader);
    const quint8 type = quint8(body.at(0));
    if (type == kPeerRequest) {
        emit sig_showDongleTab(dongleName());
        // Closing the box answers No, as every question box does.
        const int answer = CFlatMessage::question(this, dongleName() + QStringLiteral(": Make Pair"),
                                                  QStringLiteral("Receive encryption request from the peer device"));
        if (confirmMode == 1)
            sendConfirm(QByteArray(1, char(type)) + char(answer == QMessageBox::Yes ? 1 : 0) + char(condix));
        return;
    }
    QPointer<csmdilog> dialog;
    QByteArray reply(1, char(type));
    if (type == kPasskeyRequest) {
        const quint8 action = body.size() > 2 ? quint8(body.at(1)) : 0;
        if (action == kPasskeyShow) {
            const quint32 passkey = QRandomGenerator::global()->bounded(kPasskeyLimit + 1);
            dialog = runPairDialog(QStringLiteral(": Generate Passkey"), QStringLiteral("Generate Passkey"), sixDigits(passkey), false);
        } else if (action == kPasskeyType) {
            dialog = runPairDialog(QStringLiteral(": Input Passkey"), QStringLiteral("Input Passkey"), QString(), true);
        }
        reply += char(passkeyAccept) + CUtil::valueToArray(0, passkeyNumber, 4);
    } else if (type == kComparisonRequest) {
        quint64 number = 0;
        if (body.size() < 6 || CUtil::arrayToValue(0, body.mid(1, 4), number) != 0)
            return;
        dialog = runPairDialog(QStringLiteral(": Number Comparison"), QStringLiteral("Number Comparison"),
                               sixDigits(quint32(number)), false);
        reply += char(passkeyAccept);
    } else {
        return;
    }
    if (confirmMode == 1 && pairDialog)
        sendConfirm(reply + char(condix));
    if (dialog)
        dialog->deleteLater();
}

void CGattWidget::sendConfirm(const QByteArray& body)
{
    QByteArray frame;
    frame.append(char(0xAA)).append(char(0x02)).append(char(0x07));
    frame.append(CUtil::valueToArray(0, quint64(body.size()), 2));
    frame.append(body);
    if (m_logger)
        m_logger->log(QStringLiteral("Sending Confirm Information\r\nRaw data: ") + QLatin1String(frame.toHex()), 2);
    if (!m_msg || m_msg->sendMsg(frame) != 0) {
        CCommand::logSendFailed(m_logger, QStringLiteral("Sending Confirm Information"));
        return;
    }
    pairDialog = nullptr;
}

void CGattWidget::startingPairProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    const QByteArray link = fields.value(QStringLiteral("condix"));
    if (link.size() != 1 || quint8(link.at(0)) != condix)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    const QByteArray result = fields.value(QStringLiteral("result"));
    if (result.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QStringLiteral("CGattWidget::startingPairProc"));
        return;
    }
    const QString title = dongleName() + QStringLiteral(": Pair Result");
    if (result.at(0) == 0) {
        emit sig_showDongleTab(dongleName());
        CFlatMessage::information(this, title, QStringLiteral("Pair succeeded."));
        return;
    }
    const QString reason = CCommand::statusWord("en_PAIR_RESULT", quint8(result.at(0)));
    if (pairDialog) {
        pairDialog->close();
        pairDialog = nullptr;
    }
    CFlatMessage::information(this, title, QStringLiteral("Pair failed. Result: ") + reason);
}
