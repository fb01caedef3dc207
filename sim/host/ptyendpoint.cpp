#include "ptyendpoint.h"

#include <cerrno>
#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QTimer>

PtyEndpoint::PtyEndpoint(const QString& folder, const QString& portName, QObject* parent)
    : QObject(parent)
    , m_folder(folder)
    , m_portName(portName)
{
    m_paceTimer = new QTimer(this);
    m_paceTimer->setTimerType(Qt::PreciseTimer);
    m_paceTimer->setInterval(2);
    connect(m_paceTimer, &QTimer::timeout, this, &PtyEndpoint::flush);
}

PtyEndpoint::~PtyEndpoint()
{
    close();
}

QString PtyEndpoint::linkPath() const
{
    return QDir(m_folder).filePath(m_portName);
}

bool PtyEndpoint::open(QString* error)
{
    if (isOpen())
        return true;
    auto fail = [&](const QString& text) {
        if (error)
            *error = text + QStringLiteral(": ") + QString::fromLocal8Bit(strerror(errno));
        close();
        return false;
    };
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (m_master < 0)
        return fail(QStringLiteral("posix_openpt"));
    if (::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
        return fail(QStringLiteral("grantpt/unlockpt"));
    m_slavePath = QString::fromLocal8Bit(::ptsname(m_master));
    m_slave = ::open(::ptsname(m_master), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (m_slave < 0)
        return fail(QStringLiteral("open ") + m_slavePath);
    termios tio{};
    if (::tcgetattr(m_slave, &tio) != 0)
        return fail(QStringLiteral("tcgetattr"));
    ::cfmakeraw(&tio);
    ::cfsetispeed(&tio, B460800);
    ::cfsetospeed(&tio, B460800);
    tio.c_cflag |= CLOCAL | CREAD | CS8;
    tio.c_cflag &= ~(PARENB | CSTOPB | CRTSCTS);
    if (::tcsetattr(m_slave, TCSANOW, &tio) != 0)
        return fail(QStringLiteral("tcsetattr"));

    QDir().mkpath(m_folder);
    const QString link = linkPath();
    // A link left by a simulator that was killed hard points nowhere or at a stranger's terminal.
    if (QFileInfo(link).isSymLink())
        QFile::remove(link);
    if (!QFile::link(m_slavePath, link)) {
        errno = EEXIST;
        return fail(QStringLiteral("link ") + link);
    }

    m_readNotifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_readNotifier, &QSocketNotifier::activated, this, &PtyEndpoint::readMaster);
    m_writeNotifier = new QSocketNotifier(m_master, QSocketNotifier::Write, this);
    m_writeNotifier->setEnabled(false);
    connect(m_writeNotifier, &QSocketNotifier::activated, this, &PtyEndpoint::flush);
    m_paceClock.start();
    m_pace.restart(0);
    return true;
}

void PtyEndpoint::close()
{
    if (!m_slavePath.isEmpty()) {
        const QFileInfo link(linkPath());
        if (link.isSymLink() && link.symLinkTarget() == m_slavePath)
            QFile::remove(linkPath());
    }
    delete m_readNotifier;
    m_readNotifier = nullptr;
    delete m_writeNotifier;
    m_writeNotifier = nullptr;
    m_paceTimer->stop();
    m_pending.clear();
    m_frames.clear();
    m_headWritten = 0;
    if (m_slave >= 0)
        ::close(m_slave);
    if (m_master >= 0)
        ::close(m_master);
    m_slave = -1;
    m_master = -1;
    m_slavePath.clear();
}

void PtyEndpoint::readMaster()
{
    char buffer[4096];
    QByteArray data;
    for (;;) {
        const ssize_t n = ::read(m_master, buffer, sizeof buffer);
        if (n <= 0)
            break;
        data.append(buffer, int(n));
    }
    if (!data.isEmpty())
        emit received(data);
}

void PtyEndpoint::write(const QByteArray& bytes)
{
    if (!isOpen() || bytes.isEmpty())
        return;
    if (m_pending.size() + bytes.size() > MaxPending)
        dropUnsent();
    m_pending.append(bytes);
    m_frames.push_back(bytes);
    flush();
}

// What waits unread is old news by the time a tool comes, and must not hold up the answer to its
// probe by more than a second of the line; so the old goes and the new stays, as a dongle whose
// host stopped reading loses words. Only the rest of a frame already begun is kept.
void PtyEndpoint::dropUnsent()
{
    const bool begun = m_headWritten > 0;
    m_pending.truncate(begun ? m_frames.front().size() - m_headWritten : 0);
    m_frames.erase(m_frames.begin() + (begun ? 1 : 0), m_frames.end());
}

void PtyEndpoint::flush()
{
    if (!isOpen() || m_pending.isEmpty()) {
        if (m_writeNotifier)
            m_writeNotifier->setEnabled(false);
        m_paceTimer->stop();
        return;
    }
    int allowed = m_pending.size();
    if (m_paced)
        allowed = qMin(allowed, m_pace.allowed(m_paceClock.nsecsElapsed()));
    if (allowed > 0) {
        const ssize_t n = ::write(m_master, m_pending.constData(), size_t(allowed));
        if (n > 0) {
            m_pending.remove(0, int(n));
            if (m_paced)
                m_pace.spend(int(n));
            m_headWritten += int(n);
            while (!m_frames.empty() && m_headWritten >= m_frames.front().size()) {
                m_headWritten -= m_frames.front().size();
                const QByteArray frame = m_frames.front();
                m_frames.pop_front();
                emit delivered(frame);
            }
        }
    }
    if (m_pending.isEmpty()) {
        m_writeNotifier->setEnabled(false);
        m_paceTimer->stop();
    } else if (m_paced) {
        m_paceTimer->start();
    } else {
        m_writeNotifier->setEnabled(true);
    }
}
