#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

class CMsg;
class LogManager;

// Loads firmware into the dongle over its serial link in two passes: a boot image from the
// resources, which resets the dongle into its loader, then the file the user picked. Each pass
// sends ProgramStart, ProgramFlash block by block, ProgramEnd and resetRunFirmware, each waiting
// for the loader's answer.
class cDownLoadFirmWare : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(cDownLoadFirmWare)

public:
    enum Command { ResetRunFirmware = 2, ProgramStart = 35, ProgramFlash = 36, ProgramEnd = 37 };
    static constexpr int MaxBlock = 1024;
    static constexpr int MaxFrame = 1039;
    static constexpr int AnswerTimeoutMs = 5000;
    static constexpr int TrailerSize = 48;
    static constexpr int LongTrailerSize = 904;
    static constexpr quint32 LongTrailerMagic = 0xDEADBEEF;

    // Neither the port nor the logger is owned.
    cDownLoadFirmWare(CMsg* msg, LogManager* logger, QObject* parent = nullptr);
    ~cDownLoadFirmWare() override;

    int checkFirmwareFile(QString path);
    void setDeviceType(int type);
    int start(QString path);

    QString currentFile() const { return m_currentFile; }

    // Where the image's first byte goes; false when neither trailer position holds "DG".
    static bool findLoadAddress(const QByteArray& image, quint32* address);
    // Trailer bytes 8 to 47 into info bytes 8 to 47; false when no trailer is recognised.
    static bool parseTrailer(const QByteArray& image, QByteArray* info);

signals:
    void sig_flash();
    void sig_end();
    void sig_reset();
    void sig_finish();
    void sig_heartBeatRestart();
    void sig_downloadFailed();
    // After every block: bytes flashed of this pass's image.
    void sig_progress(quint32 sentBytes, quint32 imageSize);

public slots:
    void onRcvDownLoadMsg(QByteArray msg);
    void onRecvDownloadFailed();
    void onFlash();
    void onEnd();
    void onReset();
    void onFinish();

protected:
    // The deliberate pauses that leave the dongle time to write and to restart. They block the
    // GUI thread on purpose; a unit test may skip them.
    virtual void pause(int ms);

private:
    bool send(int command, const QByteArray& payload, const char* step);
    bool answerAccepted(const QByteArray& msg) const;
    void endPass();

    QString m_userFile;
    QString m_currentFile;
    bool m_allSent = false;
    int m_expectedCommand = 0;
    quint32 m_loadAddress = 0;
    quint32 m_imageSize = 0;
    QByteArray m_image;
    QByteArray m_imageInfo;
    quint32 m_sentBytes = 0;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    QTimer m_timer;
};
