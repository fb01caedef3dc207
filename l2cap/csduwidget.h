#pragma once

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QString>
#include <QWidget>

#include "schema/ccommand.h"

class CMsg;
class LogManager;

namespace Ui {
class CSduWidget;
}

// The page of one credit-based channel: sends typed or file data cut into SDUs, one at a time
// under the dongle's reports; shows and stores what arrives; hands credits back to the peer by
// hand or below a threshold. The counters themselves live in the channel manager; the page
// keeps copies for display and decisions.
class CSduWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CSduWidget)

public:
    // Hex digits a user may type: 10 KB.
    static constexpr int MaxTypedDigits = 20480;
    static constexpr qint64 MaxFileSize = 0x1400000;
    // The receive view keeps the last 512 bytes; the file keeps everything.
    static constexpr int ReceiveViewDigits = 1024;

    CSduWidget(CMsg* msg, LogManager* logger, const QString& dongleName, QWidget* parent = nullptr);
    ~CSduWidget() override;

    // `segmentSize` bytes go in each SDU. Makes the channel's receive file afresh.
    void setup(uint8_t condix, const QString& localId, quint16 segmentSize);
    QString localId() const { return m_localId; }
    QString receiveFilePath() const { return m_receiveFile.fileName(); }
    int queuedSdus() const { return m_sendQueue.size(); }
    bool isStalled() const { return m_stalled; }

    // The channel manager's reports, connected by pointer: declared slots would be taken for
    // widgets of the form by name. Each ignores other channels.
    void on_readySendSDU(QString localId);
    void on_receiveSDU(QString localId, QString remainCredits, QString consumedCredits, QByteArray data,
                       UplinkFieldMap fields);
    void on_consumedCreditChanged(QString localID, uint consumedCredits);
    void on_remoteCreditChanged(QString localId);
    void on_creditErrorCheck(QString localID);
    void on_buttonInit(QString localID);

signals:
    void sig_sendCredit(QString cid, QString credit);
    void sig_sendSDUData();

public slots:
    void on_radioButtonMan_toggled(bool checked);
    void on_pushButtonSendCredit_clicked();
    void on_pushButtonClear_clicked();
    void on_pushButtonSendFile_clicked();
    void on_pushButtonSend_clicked();
    void on_pushButtonSave_clicked();
    void on_pushButtonRXClear_clicked();
    void on_textEditTX_textChanged();

private:
    void sendData(const QByteArray& bytes, bool showHex);
    void sendHead();
    void setSendEnabled(bool enabled);
    // The parent of the page's modal dialogs, which outlives the page.
    QWidget* dialogParent();
    // The credit input takes 0 up to `top`; a value above it comes down to it.
    void limitCreditInput(quint32 top);
    static quint32 inputValue(const QString& hexValue);
    void showReceivedTotals();
    // Reads the next chunk of the file under way and sends it; false when it has no more.
    bool sendNextFileChunk();

    Ui::CSduWidget* ui;
    uint8_t m_condix = 0;
    QString m_localId;
    quint16 m_segmentSize = 0;
    quint32 m_fileChunkSize = 0;
    QList<QByteArray> m_sendQueue; // the head is the SDU under way
    quint64 m_receivedLength = 0;
    quint64 m_receivedCredits = 0;
    quint32 m_consumedCredits = 0;
    quint64 m_sentBytes = 0;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    QString m_dongleName;
    QString m_lastDir;
    QFile m_sendFile;
    QFile m_receiveFile;
    bool m_stalled = false;
};
