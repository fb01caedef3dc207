#include "portregistry.h"

#include <unistd.h>

#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QSerialPortInfo>
#include <QtGlobal>

namespace {

// Name -> device path of every port that exists now. Later sources win over earlier ones, so a
// name the user lists explicitly beats the simulator's, which beats the system's.
QMap<QString, QString> portMap()
{
    QMap<QString, QString> ports;
    const auto infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : infos)
        ports.insert(info.portName(), info.systemLocation());

    const QDir simDir(PortRegistry::simulatorFolder());
    const QFileInfoList entries =
        simDir.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries) {
        // A link whose pseudo-terminal is gone is a port that no longer exists.
        if (entry.exists())
            ports.insert(entry.fileName(), entry.absoluteFilePath());
    }

    const QStringList extra =
        QString::fromLocal8Bit(qgetenv("TARVINE_EXTRA_PORTS")).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString& path : extra) {
        const QFileInfo info(path);
        if (info.exists())
            ports.insert(info.fileName(), path);
    }
    return ports;
}

} // namespace

namespace PortRegistry {

QStringList availablePorts()
{
    return portMap().keys();
}

QString devicePath(const QString& portName)
{
    const QMap<QString, QString> ports = portMap();
    const auto it = ports.constFind(portName);
    if (it != ports.constEnd())
        return it.value();
    if (portName.startsWith(QLatin1Char('/')))
        return portName;
    return QStringLiteral("/dev/") + portName;
}

QString simulatorFolder()
{
    const QString explicitDir = QString::fromLocal8Bit(qgetenv("TARVINE_SIM_DIR"));
    if (!explicitDir.isEmpty())
        return explicitDir;
    const QString runtimeDir = QString::fromLocal8Bit(qgetenv("XDG_RUNTIME_DIR"));
    if (!runtimeDir.isEmpty())
        return runtimeDir + QStringLiteral("/tarvine-sim");
    return QStringLiteral("/tmp/tarvine-sim-%1").arg(uint(::getuid()));
}

} // namespace PortRegistry
