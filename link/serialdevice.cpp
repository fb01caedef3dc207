#include "serialdevice.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <QFile>

#include "link/portregistry.h"

namespace SerialDevice {

int open(const QString& portName, QString* failure)
{
    const QByteArray path = QFile::encodeName(PortRegistry::devicePath(portName));
    const int fd = ::open(path.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        *failure = QStringLiteral("Create File Error");
        return -1;
    }
    // TIOCEXCL alone does not stop root; the lock does, so a port held by another tab fails
    // here for every user. Lock first so that a refused open never touches the holder's tty.
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        *failure = QStringLiteral("Create File Error");
        return -1;
    }
    if (::ioctl(fd, TIOCEXCL) != 0) {
        release(fd);
        *failure = QStringLiteral("Create File Error");
        return -1;
    }

    termios tio {};
    if (::tcgetattr(fd, &tio) != 0) {
        release(fd);
        *failure = QStringLiteral("Get Comm State Error");
        return -1;
    }
    ::cfmakeraw(&tio);
    tio.c_cflag &= ~tcflag_t(CSIZE | PARENB | CSTOPB | CRTSCTS);
    tio.c_cflag |= CS8 | CLOCAL | CREAD;
    tio.c_iflag &= ~tcflag_t(IXON | IXOFF | IXANY);
    tio.c_cc[VMIN] = 0;
    tio.c_cc[VTIME] = 0;
    if (::cfsetispeed(&tio, B460800) != 0 || ::cfsetospeed(&tio, B460800) != 0
        || ::tcsetattr(fd, TCSANOW, &tio) != 0) {
        release(fd);
        *failure = QStringLiteral("Set Comm State Error");
        return -1;
    }

    ::tcflush(fd, TCIOFLUSH);
    return fd;
}

// Gives the port back to other users: TIOCEXCL outlives our descriptor while the tty does.
void release(int fd)
{
    ::ioctl(fd, TIOCNXCL);
    ::flock(fd, LOCK_UN);
    ::close(fd);
}

} // namespace SerialDevice
