#include "manageciswidget.h"
#include "ui_manageciswidget.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileDialog>
#include <QHeaderView>
#include <QIntValidator>
#include <QPointer>

#include "app/flat/cflatmessage.h"
#include "iso/receivedatatablemodel.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/cutil.h"

namespace {

const char* const kSendCommand = "Send ISO data";
const char* const kPathSetting = "cisdata_filepath";

quint64 numberOf(const UplinkFieldMap& fields, const char* key)
{
    quint64 value = 0;
    CUtil::arrayToValue(0, fields.value(QLatin1String(key)), value);
    return value;
}

} // namespace

manageCISWidget::manageCISWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings, const QString& handle,
                                 QWidget* parent)
    : QWidget(parent)
    , ui(new Ui::manageCISWidget)
    , m_msg(msg)
    , m_logger(logger)
    , m_settings(settings)
    , handle(handle)
    , dataPathIds{{QStringLiteral("Disabled"), 0xFF}, {QStringLiteral("TVN"), 0xF6}}
    , m_receiveModel(new ReceiveDataTableModel(logger, this))
{
    ui->setupUi(this);
    if (m_settings)
        lastPath = m_settings->value(QLatin1String(kPathSetting)).toString();
    ui->lineEdit_times->setValidator(new QIntValidator(0, 1000000, this));
    ui->lineEdit_randomLength->setValidator(new QIntValidator(0, 4095, this));
    ui->lineEdit_interval->setValidator(new QIntValidator(0, 16777215, this));
    ui->tableView_receivedata->setModel(m_receiveModel);
    ui->tableView_receivedata->verticalHeader()->hide();
    ui->tableView_receivedata->verticalHeader()->setDefaultSectionSize(25);
    ui->tableView_receivedata->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    ui->tableView_receivedata->horizontalHeader()->setStretchLastSection(true);
    connect(ui->textEdit_sendData, &CValidateTextEdit::sig_textEditLength, this, &manageCISWidget::on_sendDataLength);
    on_sendDataLength(ui->textEdit_sendData->toPlainText().size());
    repeatTimer.setTimerType(Qt::PreciseTimer);
    connect(&repeatTimer, &QTimer::timeout, this, &manageCISWidget::on_repeatSendData);
}

manageCISWidget::~manageCISWidget()
{
    receiveFile.close();
    delete ui;
}

void manageCISWidget::setStreamParameters(const QString& interval, const QString& largestSdu)
{
    sduInterval = interval;
    maxSdu = largestSdu;
    ui->lineEdit_randomLength->setValidator(new QIntValidator(0, maxSdu.toInt(), this));
    ui->lineEdit_interval->setText(sduInterval);
}

void manageCISWidget::setIntervalEditable(bool editable)
{
    ui->lineEdit_interval->setEnabled(editable);
}

void manageCISWidget::setBroadcastReceiver(bool receiver)
{
    ui->groupBox_receive->setVisible(receiver);
    ui->groupBox_send->setVisible(!receiver);
    // A sender alone gives the room of the received table to the data it types.
    if (!receiver)
        ui->textEdit_sendData->setMaximumHeight(QWIDGETSIZE_MAX);
}

QString manageCISWidget::receiveDir() const
{
    return QDir::toNativeSeparators(LogManager::dataRoot() + QStringLiteral("/ISO_receive_data/") + handle);
}

QString manageCISWidget::receiveFilePath() const
{
    return QDir::toNativeSeparators(receiveDir() + QStringLiteral("/data.txt"));
}

QString manageCISWidget::startDir() const
{
    return lastPath.isEmpty() ? QCoreApplication::applicationDirPath() : lastPath;
}

void manageCISWidget::showError(const QString& text)
{
    CFlatMessage::information(dialogParent(), QStringLiteral("ERROR"), text);
}

// ---- Data path and TX sync ----

void manageCISWidget::on_pushButton_set_clicked()
{
    const FieldValueMap fields{
        {QStringLiteral("cis_connect_handle"), handle.toUInt()},
        {QStringLiteral("input_direction"), uint(dataPathIds.value(ui->comboBox_input->currentText(), 0))},
        {QStringLiteral("output_direction"), uint(dataPathIds.value(ui->comboBox_output->currentText(), 0))}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Setup ISO data path"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("Setup ISO data path"));
}

void manageCISWidget::on_pushButton_remove_clicked()
{
    const int direction = ui->comboBox_direction->currentIndex();
    if (direction == 0 || direction == 2)
        ui->comboBox_input->setCurrentIndex(0);
    if (direction == 1 || direction == 2)
        ui->comboBox_output->setCurrentIndex(0);
    const FieldValueMap fields{{QStringLiteral("cis_connect_handle"), handle.toUInt()},
                               {QStringLiteral("datapath_direction"), uint(direction + 1)}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Remove ISO data path"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("Remove ISO data path"));
}

void manageCISWidget::on_pushButton_get_clicked()
{
    const FieldValueMap fields{{QStringLiteral("cis_conncet_handle"), handle.toUInt()}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Read ISO TX Sync"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("Read ISO TX Sync"));
}

bool manageCISWidget::isOwnAnswer(const UplinkFieldMap& fields, const char* command)
{
    if (numberOf(fields, "connection_handle") == handle.toULongLong())
        return true;
    showError(QStringLiteral("The returned connection handle is wrong in %1 command.").arg(QLatin1String(command)));
    return false;
}

bool manageCISWidget::succeeded(const QByteArray& frame, const UplinkFieldMap& fields)
{
    const int status = int(numberOf(fields, "status"));
    if (status != 0)
        CCommand::logCompleteResult(m_logger, frame, status);
    return status == 0;
}

void manageCISWidget::setupDataPathProc(const QByteArray& frame, const UplinkFieldMap& fields)
{
    if (isOwnAnswer(fields, "set ISO data path") && succeeded(frame, fields))
        m_logger->log(QStringLiteral("Set ISO data path succeed."), 2);
}

void manageCISWidget::removeDataPathProc(const QByteArray& frame, const UplinkFieldMap& fields)
{
    if (isOwnAnswer(fields, "Remove ISO data path") && succeeded(frame, fields))
        m_logger->log(QStringLiteral("Remove ISO data path succeed."), 2);
}

void manageCISWidget::readIsoTxSyncProc(const QByteArray& frame, const UplinkFieldMap& fields)
{
    if (!isOwnAnswer(fields, "Read ISO TX Sync") || !succeeded(frame, fields))
        return;
    ui->lineEdit_packetSN->setText(QString::number(numberOf(fields, "packet_sn")));
    ui->lineEdit_timeStamp->setText(QString::number(numberOf(fields, "time_stamp")));
    ui->lineEdit_timeOffset->setText(QString::number(numberOf(fields, "time_offset")));
    // The removal's text, which users of this page have long searched their logs for.
    m_logger->log(QStringLiteral("Remove ISO data path succeed."), 2);
}

// ---- Receiving ----

void manageCISWidget::receiveIsoDataProc(const QByteArray& frame, const UplinkFieldMap& fields)
{
    if (!isOwnAnswer(fields, "Receive ISO data"))
        return;
    if (!receiveFile.exists() || !receiveFile.isOpen()) {
        QDir().mkpath(receiveDir());
        receiveFile.close();
        receiveFile.setFileName(receiveFilePath());
        if (!receiveFile.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            m_logger->log(QStringLiteral("There is wrong in create received ISO data file."), 4);
            return;
        }
    }

    QString text = QStringLiteral("Raw Data: ") + QLatin1String(frame.toHex()) + QStringLiteral("\r\nField Data: ");
    const QVector<CmdField> rows = CCfgFileParse::instance()->m_uplinkIdToFields.value(CCommand::uplinkId(frame));
    for (const CmdField& row : rows)
        text += row.key + QStringLiteral("->") + QLatin1String(fields.value(row.key).toHex(':')) + QStringLiteral("  ");
    m_logger->log(text, 2);

    receiveFile.write(fields.value(QStringLiteral("data")).toHex(':') + "\r\n");
    receiveFile.flush();
    m_receiveModel->addRow(fields);
}

void manageCISWidget::on_pushButton_clear_clicked()
{
    m_receiveModel->clear();
}

void manageCISWidget::on_pushButton_save_clicked()
{
    const QString source = receiveFilePath();
    const QPointer<manageCISWidget> self(this);
    const QString target = QFileDialog::getSaveFileName(dialogParent(), QStringLiteral("Save File..."), startDir(),
                                                        QStringLiteral("save(*.txt)"));
    if (!self)
        return;
    if (target.isEmpty()) {
        m_logger->log(QStringLiteral("Save File Error!"), 4);
        return;
    }
    if (!QFile::copy(source, target))
        m_logger->log(QStringLiteral("Copy Save File Error!"), 4);
}

// ---- Sending ----

void manageCISWidget::on_checkBox_random_clicked(bool checked)
{
    ui->lineEdit_randomLength->setEnabled(checked);
    ui->textEdit_sendData->setEnabled(!checked);
    sendMode = checked ? 1 : 0;
}

void manageCISWidget::on_checkBox_repeat_clicked(bool checked)
{
    ui->lineEdit_times->setEnabled(checked);
    ui->lineEdit_interval->setEnabled(checked);
}

// Whole bytes of the hex digits, colons aside.
void manageCISWidget::on_sendDataLength(int /*length*/)
{
    ui->lineEdit_dataLength->setText(QString::number(ui->textEdit_sendData->value().size() / 2));
}

void manageCISWidget::on_pushButton_clearSendData_clicked()
{
    ui->textEdit_sendData->clear();
}

void manageCISWidget::on_pushButton_send_clicked()
{
    QByteArray data;
    if (sendMode == 0) {
        QString digits = ui->textEdit_sendData->value();
        if (digits.size() > 2 * maxSdu.toInt()) {
            showError(QStringLiteral("The ISO send data length is large than Max SDU."));
            return;
        }
        // Typed hex is a number: its last two digits go first, as the codec sends hex text.
        if (digits.size() % 2 != 0)
            digits.prepend(QLatin1Char('0'));
        data = CUtil::reversed(QByteArray::fromHex(digits.toLatin1()));
    } else {
        // The length's digits are read in base 16 and each byte stays below 255, as the page
        // always did: users size their runs by it.
        const uint count = ui->lineEdit_randomLength->text().toUInt(nullptr, 16);
        data.reserve(int(count));
        for (uint i = 0; i < count; ++i)
            data.append(char(CUtil::randomInRange(0, 255)));
    }
    sendOrRepeat({{QStringLiteral("connection_handle"), handle.toUInt()},
                  {QStringLiteral("data_length"), uint(data.size())},
                  {QStringLiteral("value"), data}});
}

void manageCISWidget::on_pushButton_sendFile_clicked()
{
    const QPointer<manageCISWidget> self(this);
    const QString path = QFileDialog::getOpenFileName(dialogParent(), QStringLiteral("Open ISO Data File"), startDir());
    if (!self)
        return;
    QFile file(path);
    if (path.isEmpty() || !file.exists() || !file.open(QIODevice::ReadOnly)) {
        showError(QStringLiteral("The ISO send file is wrong."));
        return;
    }
    const QByteArray data = file.readAll();
    if (data.size() > maxSdu.toInt()) {
        showError(QStringLiteral("The ISO send File data length is large than Max SDU."));
        return;
    }
    ui->textEdit_sendData->setPlainText(QString::fromLatin1(data.toHex(':')));
    const FieldValueMap fields{{QStringLiteral("connection_handle"), handle.toUInt()},
                               {QStringLiteral("data_length"), uint(data.size())},
                               {QStringLiteral("value"), data}};
    if (ui->checkBox_repeat->isChecked()) {
        sendOrRepeat(fields);
        return;
    }
    sendIsoData(fields);
    lastPath = path;
}

void manageCISWidget::sendOrRepeat(const FieldValueMap& fields)
{
    if (!ui->checkBox_repeat->isChecked()) {
        sendIsoData(fields);
        return;
    }
    if (repeatTimer.isActive()) {
        showError(QStringLiteral("Tarvine's sending iso data can work only after the former sending work finished."));
        return;
    }
    repeatFields = fields;
    // The field is in microseconds, the timer in whole milliseconds: below 1000 it fires
    // whenever the event loop is free.
    repeatTimer.setInterval(int(ui->lineEdit_interval->text().toUInt() / 1000));
    repeatTimer.start();
}

// The count is read again at every tick, so that a run can be lengthened or cut short; its
// digits are taken in base 16.
void manageCISWidget::on_repeatSendData()
{
    const uint times = ui->lineEdit_times->text().toUInt(nullptr, 16);
    if (times <= repeatCount) {
        repeatTimer.stop();
        repeatCount = 0;
        return;
    }
    sendIsoData(repeatFields);
    ++repeatCount;
}

void manageCISWidget::sendIsoData(const FieldValueMap& fields)
{
    if (!CCommand::sendMsg(m_msg, m_logger, QLatin1String(kSendCommand), fields))
        CCommand::logSendFailed(m_logger, QLatin1String(kSendCommand));
}
