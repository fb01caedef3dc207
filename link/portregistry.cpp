#include "portregistry.h"

#include <unistd.h>

#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QRegularExpression>
#include <QSet>
#include <QSerialPortInfo>
#include <QtGlobal>

namespace {

QString wordCharacters(QString text)
{
    static const QRegularExpression other(QStringLiteral("\\W"));
    return text.remove(other);
}

// A name the selection dialog can cut from "product(port)", word characters ending in digits:
// a link's own name where it is one (ttySIM0, ttyUSB0), else one made from the path: /dev/pts/7
// gives pts7, a by-id link loses its dashes.
QString nameFor(const QFileInfo& port)
{
    QString name = wordCharacters(port.fileName());
    static const QRegularExpression digitsOnly(QStringLiteral("^\\d*$"));
    if (digitsOnly.match(name).hasMatch())
        name.prepend(wordCharacters(port.dir().dirName()));
    if (name.isEmpty() || !name.back().isDigit())
        name += QLatin1Char('0');
    return name;
}

// Name -> device path of every port that exists now. A device reached by several paths is
// listed once, by the first source that names it: the system, the simulator's folder, then
// $TARVINE_EXTRA_PORTS; a name taken by another device gets a number after it.
QMap<QString, QString> portMap()
{
    QMap<QString, QString> ports;
    QSet<QString> devices;
    const auto add = [&](const QString& path) {
        const QFileInfo info(path);
        // A link whose pseudo-terminal is gone is a port that no longer exists.
        if (!info.exists() || devices.contains(info.canonicalFilePath()))
            return;
        devices.insert(info.canonicalFilePath());
        const QString base = nameFor(info);
        QString name = base;
        for (int n = 2; ports.contains(name); ++n)
            name = base + QLatin1Char('_') + QString::number(n);
        ports.insert(name, path);
    };

    const auto infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : infos)
        add(info.systemLocation());

    const QDir simDir(PortRegistry::simulatorFolder());
    const QFileInfoList entries =
        simDir.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries)
        add(entry.absoluteFilePath());

    const QStringList extra =
        QString::fromLocal8Bit(qgetenv("TARVINE_EXTRA_PORTS")).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    for (const QString& path : extra)
        add(path);
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
