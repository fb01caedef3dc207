#include "refreshdonglethread.h"

#include <algorithm>

#include <sys/ioctl.h>
#include <unistd.h>

#include <QPair>
#include <QVector>

#include "app/crashhandler.h"
#include "link/serialdevice.h"

namespace {

// The downlink frame of module 0, opcode 0, no payload, with its checksum.
const char kProbe[] = {char(0xAA), 0x00, 0x00, 0x00, 0x00, 0x56};

} // namespace

RefreshDongleThread::RefreshDongleThread(QObject* parent)
    : QThread(parent)
{
}

void RefreshDongleThread::run()
{
    const CrashHandler::ThreadStack crashStack;
    QVector<QPair<QString, int>> opened;
    for (const QString& port : qAsConst(m_ports)) {
        QString failure;
        const int fd = SerialDevice::open(port, &failure);
        if (fd < 0)
            continue;
        opened.append({port, fd});
        // A port that can't take the probe simply won't answer it.
        [[maybe_unused]] const ssize_t written = ::write(fd, kProbe, sizeof kProbe);
    }
    // One wait for all ports: a dongle answers well within it.
    if (!opened.isEmpty())
        QThread::msleep(200);

    for (const auto& port : qAsConst(opened)) {
        int waiting = 0;
        QByteArray data;
        bool ok = ::ioctl(port.second, FIONREAD, &waiting) == 0 && waiting > 0;
        while (ok && waiting > 0) {
            const int chunk = std::min(waiting, int(sizeof m_buffer));
            const ssize_t got = ::read(port.second, m_buffer, size_t(chunk));
            ok = got == chunk;
            if (ok)
                data.append(m_buffer, chunk);
            waiting -= chunk;
        }
        if (ok) {
            const DongleInfo info = parseProbeAnswer(data);
            if (info.dongleName != QLatin1String("Unknown"))
                m_results.append({port.first, info});
        }
        SerialDevice::release(port.second);
    }
}

DongleInfo RefreshDongleThread::parseProbeAnswer(const QByteArray& data)
{
    DongleInfo info;
    const int start = data.indexOf(char(0xBB));
    if (start < 0)
        return info;
    const QByteArray answer = data.mid(start);
    if (answer.size() < 3 || answer.at(1) != 0 || answer.at(2) != 0)
        return info;

    // Six strings from offset 3 on, each a signed 16-bit little-endian length and its bytes.
    QString* const targets[] = {&info.product, &info.manufacturer, &info.firmwareVersion,
                                &info.hardwareVersion, &info.description, &info.sdkVersion};
    int at = 3;
    for (QString* target : targets) {
        if (at + 2 > answer.size())
            break;
        const qint16 length = qint16(quint8(answer.at(at)) | (quint8(answer.at(at + 1)) << 8));
        at += 2;
        if (length < 0 || at + length > answer.size())
            break;
        *target = QString::fromUtf8(answer.mid(at, length));
        at += length;
    }
    info.dongleName = info.product;
    return info;
}
