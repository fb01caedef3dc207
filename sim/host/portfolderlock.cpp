#include "portfolderlock.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <QByteArray>
#include <QDir>
#include <QFile>

PortFolderLock::PortFolderLock(const QString& folder)
    : m_folder(folder)
    , m_path(QDir(folder).filePath(QStringLiteral(".tarvine-sim.lock")))
{
}

PortFolderLock::~PortFolderLock()
{
    // Closing lets go of the lock; the file stays, hidden, for the next simulator to lock.
    if (m_fd >= 0)
        ::close(m_fd);
}

bool PortFolderLock::acquire(QString* error)
{
    const QByteArray path = QFile::encodeName(m_path);
    m_fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (m_fd < 0) {
        *error = QStringLiteral("cannot make the lock file %1: %2").arg(m_path, QString::fromLocal8Bit(std::strerror(errno)));
        return false;
    }
    if (::flock(m_fd, LOCK_EX | LOCK_NB) != 0) {
        char holder[32] = {};
        const ssize_t n = ::pread(m_fd, holder, sizeof holder - 1, 0);
        *error = QStringLiteral("the port folder %1 is in use by another tarvine-sim (pid %2); give this one a "
                                "folder of its own with --dir or TARVINE_SIM_DIR")
                     .arg(m_folder, n > 0 ? QString::fromLatin1(holder).trimmed() : QStringLiteral("unknown"));
        ::close(m_fd);
        m_fd = -1;
        return false;
    }
    // The pid is only for a second simulator's message; the lock holds without it.
    const QByteArray pid = QByteArray::number(qint64(::getpid())) + '\n';
    [[maybe_unused]] const int truncated = ::ftruncate(m_fd, 0);
    [[maybe_unused]] const ssize_t written = ::pwrite(m_fd, pid.constData(), size_t(pid.size()), 0);
    return true;
}
