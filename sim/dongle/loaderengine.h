#pragma once

#include <QByteArray>
#include <QHash>
#include <QObject>
#include <QString>
#include <QTimer>

class VirtualDongle;

// The firmware loader of a dongle: takes an image in "DG" frames (ProgramStart, ProgramFlash
// block by block, ProgramEnd with the image's sum, resetRunFirmware) and restarts the dongle on
// it. The application's update handler writes the boot image, which runs the loader; the loader
// writes the application. Each answer is "DG", the command, length 1 and a status.
class LoaderEngine : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(LoaderEngine)

public:
    enum Command : quint16 { ResetRunFirmware = 2, ProgramStart = 35, ProgramFlash = 36, ProgramEnd = 37 };
    enum Status : quint8 { Success = 1, Refused = 2, SumMismatch = 3 };
    // How the loader treats one step, for failure tests: as it should, with status Refused, or
    // with no answer at all.
    enum Behaviour { Normal, Refuse, Silent };
    static constexpr int MaxBlock = 1024;
    // The restart follows the answer to resetRunFirmware by this long.
    static constexpr int RestartDelayMs = 50;

    explicit LoaderEngine(VirtualDongle& dongle);

    // A frame with a good sum, sum included.
    void handle(const QByteArray& frame);
    // Stays until changed, across restarts and unplugging.
    void setBehaviour(Command command, Behaviour behaviour);
    void setAllNormal();
    // Unplugged: the image half written is lost, and so is a restart that was due.
    void powerCycle();

    // "DG", command, length 1, status, 16-bit sum of the bytes from the command on.
    static QByteArray answer(quint16 command, quint8 status);

private:
    quint8 start(const QByteArray& payload);
    quint8 flash(const QByteArray& payload);
    quint8 end(const QByteArray& payload);
    quint8 reset(const QByteArray& payload);
    void restart();

    enum class Step { Idle, Started, Ended };

    VirtualDongle& m_dongle;
    QHash<quint16, Behaviour> m_behaviour;
    Step m_step = Step::Idle;
    quint32 m_loadAddress = 0;
    QByteArray m_image;
    int m_written = 0;
    QString m_imageVersion;
    QTimer m_restartTimer;
};
