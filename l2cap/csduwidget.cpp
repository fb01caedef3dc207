#include "csduwidget.h"
#include "ui_csduwidget.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QPointer>
#include <QTimer>

#include "app/flat/cflatmessage.h"
#include "log/logmanager.h"
#include "schema/cutil.h"

namespace {

// The threshold and the credit input hold one byte.
constexpr quint32 kByteLimit = 255;

} // namespace

CSduWidget::CSduWidget(CMsg* msg, LogManager* logger, const QString& dongleName, QWidget* parent)
    : QWidget(parent)
    , ui(new Ui::CSduWidget)
    , m_msg(msg)
    , m_logger(logger)
    , m_dongleName(dongleName)
{
    ui->setupUi(this);
    ui->lineEditThreshold->setIntType(QStringLiteral("0"), QString::number(kByteLimit), QStringLiteral("1"),
                                      QStringLiteral("0"));
    ui->lineEditCredit->setIntType(QStringLiteral("0"), QString::number(kByteLimit), QStringLiteral("1"),
                                   QStringLiteral("0"));
    // Credits go back by hand until the user picks the threshold.
    ui->radioButtonMan->setChecked(true);
}

CSduWidget::~CSduWidget()
{
    delete ui;
}

void CSduWidget::setup(uint8_t condix, const QString& localId, quint16 segmentSize)
{
    m_condix = condix;
    m_localId = localId;
    m_segmentSize = segmentSize;
    m_fileChunkSize = quint32(segmentSize) * 1000;

    const QString folder = QDir::toNativeSeparators(LogManager::dataRoot() + QLatin1Char('/') + m_dongleName
                                                    + QStringLiteral("/SDU_receive_data/") + QString::number(condix)
                                                    + QLatin1Char('/') + localId);
    m_receiveFile.close();
    m_receiveFile.setFileName(folder + QDir::separator() + QStringLiteral("data.txt"));
    // A channel that opens again under the same id starts a file of its own.
    if (!QDir().mkpath(folder) || !m_receiveFile.open(QIODevice::WriteOnly | QIODevice::Truncate))
        m_logger->log(QStringLiteral("There is wrong in create received SDU data file."), 1);
}

// ---- Sending ----

void CSduWidget::on_textEditTX_textChanged()
{
    QString digits = ui->textEditTX->toPlainText().remove(QLatin1Char(':'));
    if (digits.size() <= MaxTypedDigits)
        return;
    digits.truncate(MaxTypedDigits);
    ui->textEditTX->setPlainText(digits);
    // The message waits until the editor is out of its own signal: should the channel close
    // while it is up, no code of the deleted editor is left on the stack.
    QWidget* parent = dialogParent();
    QTimer::singleShot(0, parent, [parent] {
        CFlatMessage::information(parent, QStringLiteral("error"), QStringLiteral("send length should < 10kb"));
    });
}

void CSduWidget::on_pushButtonSend_clicked()
{
    QString digits = ui->textEditTX->toPlainText().remove(QLatin1Char(':'));
    if (digits.size() % 2 != 0)
        digits.prepend(QLatin1Char('0'));
    // Typed data replaces a file left half sent: its rest must not follow the typed bytes.
    m_sendFile.close();
    sendData(QByteArray::fromHex(digits.toLatin1()), false);
}

void CSduWidget::on_pushButtonSendFile_clicked()
{
    const QString start = m_lastDir.isEmpty() ? QCoreApplication::applicationDirPath() : m_lastDir;
    const QPointer<CSduWidget> self(this);
    const QString name =
        QFileDialog::getOpenFileName(dialogParent(), QStringLiteral("Open File"), start, QStringLiteral("*.*"));
    if (!self || name.isEmpty())
        return;
    m_lastDir = QFileInfo(name).absolutePath();
    m_sendFile.close();
    m_sendFile.setFileName(name);
    if (!m_sendFile.open(QIODevice::ReadOnly)) {
        CFlatMessage::information(dialogParent(), QStringLiteral("ERROR"), QStringLiteral("can't open file ") + name);
        return;
    }
    if (m_sendFile.size() > MaxFileSize) {
        m_sendFile.close();
        CFlatMessage::information(dialogParent(), QStringLiteral("ERROR"),
                                  QStringLiteral("This file is too large for sdu data sending."));
        return;
    }
    if (sendNextFileChunk())
        ui->labelFilePath->setText(name);
}

bool CSduWidget::sendNextFileChunk()
{
    if (!m_sendFile.isOpen())
        return false;
    const QByteArray chunk = m_sendFile.read(m_fileChunkSize);
    if (chunk.isEmpty())
        return false;
    sendData(chunk, true);
    return true;
}

void CSduWidget::sendData(const QByteArray& bytes, bool showHex)
{
    m_sendQueue.clear();
    m_stalled = false;
    if (bytes.isEmpty() || m_segmentSize == 0)
        return;
    for (int at = 0; at < bytes.size(); at += m_segmentSize)
        m_sendQueue.append(bytes.mid(at, m_segmentSize));
    sendHead();
    setSendEnabled(false);
    if (showHex) {
        // The view shows what a user could have typed; the rest of a file goes out unseen.
        const QSignalBlocker quiet(ui->textEditTX);
        ui->textEditTX->setPlainText(QString::fromLatin1(bytes.left(MaxTypedDigits / 2).toHex(':')));
    }
}

void CSduWidget::sendHead()
{
    const QByteArray& head = m_sendQueue.first();
    const FieldValueMap fields{{QStringLiteral("local_cid"), m_localId.toUInt()},
                               {QStringLiteral("data_len"), uint(head.size())},
                               {QStringLiteral("condix"), uint(m_condix)},
                               {QStringLiteral("data"), head}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Send SDU"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("Send SDU"));
}

// The channel, or the whole connection, may close while a dialog runs its own event loop: a
// dialog that is a child of the page would be deleted under its own exec().
QWidget* CSduWidget::dialogParent()
{
    return window();
}

void CSduWidget::setSendEnabled(bool enabled)
{
    ui->pushButtonSend->setEnabled(enabled);
    ui->pushButtonSendFile->setEnabled(enabled);
}

void CSduWidget::on_readySendSDU(QString localId)
{
    if (localId != m_localId) {
        m_logger->log(QStringLiteral("CSduWidget::on_readySendSDU") + localId + QStringLiteral(" is not equal in localId"), 1);
        return;
    }
    if (m_sendQueue.isEmpty()) {
        m_logger->log(QStringLiteral(" send finish"), 1);
        return;
    }
    m_sentBytes += quint64(m_sendQueue.takeFirst().size());
    ui->labelSendedCount->setText(QString::number(m_sentBytes));
    if (!m_sendQueue.isEmpty()) {
        sendHead();
        emit sig_sendSDUData();
        return;
    }
    if (sendNextFileChunk())
        return;
    setSendEnabled(true);
    CFlatMessage::information(dialogParent(), m_dongleName + QStringLiteral(": Info"),
                              QStringLiteral("Send SDU data finished."));
}

void CSduWidget::on_creditErrorCheck(QString localID)
{
    if (localID == m_localId)
        m_stalled = true;
}

// The head refused for want of credits goes again at the peer's next grant, so nothing is lost
// or sent twice.
void CSduWidget::on_remoteCreditChanged(QString localId)
{
    if (localId != m_localId || !m_stalled)
        return;
    if (m_sendQueue.isEmpty()) {
        m_logger->log(QStringLiteral("send file is wrong"), 1);
        return;
    }
    sendHead();
    emit sig_sendSDUData();
    m_stalled = false;
}

void CSduWidget::on_buttonInit(QString localID)
{
    if (localID != m_localId)
        return;
    setSendEnabled(true);
    m_sendQueue.clear();
}

void CSduWidget::on_pushButtonClear_clicked()
{
    ui->textEditTX->clear();
    ui->labelFilePath->clear();
}

// ---- Receiving ----

void CSduWidget::on_receiveSDU(QString localId, QString remainCredits, QString consumedCredits, QByteArray data,
                               UplinkFieldMap fields)
{
    if (localId != m_localId)
        return;
    quint64 length = 0;
    quint64 credits = 0;
    CUtil::arrayToValue(0, fields.value(QStringLiteral("data_length")), length);
    CUtil::arrayToValue(0, fields.value(QStringLiteral("credits")), credits);
    m_receivedLength += length;
    m_receivedCredits += credits;
    showReceivedTotals();
    m_logger->log(QStringLiteral(" receive a package use credits ") + QString::number(credits)
                      + QStringLiteral(" remain credits") + remainCredits,
                  1);

    QString digits = ui->textEditRX->toPlainText().remove(QLatin1Char(':')) + QLatin1String(data.toHex());
    if (digits.size() > ReceiveViewDigits)
        digits = digits.right(ReceiveViewDigits);
    ui->textEditRX->setPlainText(CUtil::colonPairs(digits));

    if (m_receiveFile.isOpen()) {
        m_receiveFile.write(data);
        m_receiveFile.flush();
    }
    m_consumedCredits = consumedCredits.toUInt();

    if (ui->radioButtonMan->isChecked())
        limitCreditInput(m_consumedCredits);
    else if (remainCredits.toLongLong() < qint64(inputValue(ui->lineEditThreshold->value())))
        on_pushButtonSendCredit_clicked();
}

void CSduWidget::showReceivedTotals()
{
    ui->labelRxLength->setText(QString::number(m_receivedLength));
    ui->labelRxCredits->setText(QString::number(m_receivedCredits));
}

void CSduWidget::on_pushButtonRXClear_clicked()
{
    ui->textEditRX->clear();
    m_receivedLength = 0;
    m_receivedCredits = 0;
    showReceivedTotals();
}

void CSduWidget::on_pushButtonSave_clicked()
{
    const QPointer<CSduWidget> self(this);
    const QString name =
        QFileDialog::getSaveFileName(dialogParent(), QStringLiteral("save File..."), QStringLiteral("save.bin"));
    if (!self || name.isEmpty())
        return;
    m_receiveFile.flush();
    // Saved onto itself, the receive file is saved already: removing it first would lose it.
    const QString stored = QFileInfo(m_receiveFile.fileName()).canonicalFilePath();
    if (!stored.isEmpty() && QFileInfo(name).canonicalFilePath() == stored)
        return;
    // The dialog has asked about overwriting already.
    QFile::remove(name);
    if (!QFile::copy(m_receiveFile.fileName(), name))
        CFlatMessage::information(dialogParent(), QStringLiteral("ERROR"), QStringLiteral("save fail!"));
}

// ---- Credits ----

void CSduWidget::on_consumedCreditChanged(QString localID, uint consumedCredits)
{
    if (localID != m_localId)
        return;
    m_consumedCredits = consumedCredits;
    if (ui->radioButtonMan->isChecked())
        limitCreditInput(m_consumedCredits);
}

void CSduWidget::on_radioButtonMan_toggled(bool checked)
{
    ui->lineEditThreshold->setEnabled(!checked);
    ui->lineEditCredit->setEnabled(checked);
    ui->pushButtonSendCredit->setEnabled(checked);
    limitCreditInput(checked ? m_consumedCredits : kByteLimit);
}

void CSduWidget::limitCreditInput(quint32 top)
{
    const quint32 value = qMin(inputValue(ui->lineEditCredit->value()), top);
    ui->lineEditCredit->setIntType(QStringLiteral("0"), QString::number(top), QStringLiteral("1"),
                                   QString::number(value));
}

quint32 CSduWidget::inputValue(const QString& hexValue)
{
    return hexValue.toUInt(nullptr, 16);
}

// Credits never go back beyond what the peer consumed.
void CSduWidget::on_pushButtonSendCredit_clicked()
{
    const quint32 set = inputValue(ui->lineEditCredit->value());
    quint32 credit = set;
    if (set > m_consumedCredits) {
        credit = m_consumedCredits;
        m_logger->log(QStringLiteral("consumed value is") + QString::number(credit), 1);
    } else {
        m_logger->log(QStringLiteral("set value is") + QString::number(credit), 1);
    }
    m_logger->log(QStringLiteral("sending credits value is") + QString::number(credit), 1);
    const FieldValueMap fields{{QStringLiteral("local_cid"), m_localId.toUInt()},
                               {QStringLiteral("credits"), credit},
                               {QStringLiteral("condix"), uint(m_condix)}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Local Credits Management"), fields)) {
        CCommand::logSendFailed(m_logger, QStringLiteral("Local Credits Management"));
        return;
    }
    emit sig_sendCredit(m_localId, QString::number(credit));
    m_logger->log(QString::number(credit) + QStringLiteral(" send credits "), 1);
}
