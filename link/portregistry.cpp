#include "portregistry.h"

#include <unistd.h>

#include <QDir>
#include <QFileInfo>
#include <QMap>
#include <QMutex>
#include <QMutexLocker>
#include <QRegularExpression>
#include <QSerialPortInfo>
#include <QSet>
#include <QVector>
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
    static const QRegularExpression digitsOnly(QStringLiteral("^\\d*$"));
    QString name = wordCharacters(port.fileName());
    if (digitsOnly.match(name).hasMatch())
        name.prepend(wordCharacters(port.dir().dirName()));
    if (digitsOnly.match(name).hasMatch())
        name.prepend(QLatin1String("port"));
    if (!name.back().isDigit())
        name += QLatin1Char('0');
    return name;
}

// The names given out, by port path: a port keeps its name for as long as it is there, so that
// another port coming or going never renames it under the tab that holds it. The probe thread
// asks too, hence the lock.
struct Names
{
    QMutex mutex;
    QMap<QString, QString> byPath;
};

Names& names()
{
    static Names instance;
    return instance;
}

// Name -> device path of every port that exists now. A device reached by several paths is
// listed once, by the first source that names it: the system, the simulator's folder, then
// $TARVINE_EXTRA_PORTS. A name another port holds gets a number after it.
QMap<QString, QString> portMap()
{
    QStringList paths;
    const auto infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& info : infos)
        paths.append(info.systemLocation());
    const QDir simDir(PortRegistry::simulatorFolder());
    const QFileInfoList entries =
        simDir.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QFileInfo& entry : entries)
        paths.append(entry.absoluteFilePath());
    paths += QString::fromLocal8Bit(qgetenv("TARVINE_EXTRA_PORTS")).split(QLatin1Char(':'), Qt::SkipEmptyParts);

    QVector<QFileInfo> present;
    QSet<QString> devices;
    QSet<QString> listed;
    for (const QString& path : qAsConst(paths)) {
        const QFileInfo info(path);
        // A link whose pseudo-terminal is gone is a port that no longer exists.
        if (!info.exists() || devices.contains(info.canonicalFilePath()))
            continue;
        devices.insert(info.canonicalFilePath());
        listed.insert(info.filePath());
        present.append(info);
    }

    QMutexLocker lock(&names().mutex);
    QMap<QString, QString>& byPath = names().byPath;
    for (auto it = byPath.begin(); it != byPath.end();)
        it = listed.contains(it.key()) ? std::next(it) : byPath.erase(it);
    QSet<QString> taken;
    for (const QString& name : qAsConst(byPath))
        taken.insert(name);

    QMap<QString, QString> ports;
    for (const QFileInfo& info : qAsConst(present)) {
        QString name = byPath.value(info.filePath());
        if (name.isEmpty()) {
            const QString base = nameFor(info);
            name = base;
            for (int n = 2; taken.contains(name); ++n)
                name = base + QLatin1Char('_') + QString::number(n);
            byPath.insert(info.filePath(), name);
            taken.insert(name);
        }
        ports.insert(name, info.filePath());
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
