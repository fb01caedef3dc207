#include "portwatcher.h"

#include <QDir>
#include <QFileSystemWatcher>

#include "link/portregistry.h"

PortWatcher::PortWatcher(QObject* parent, int intervalMs)
    : QObject(parent)
    , m_ports(PortRegistry::availablePorts())
    , m_fsWatcher(new QFileSystemWatcher(this))
{
    // The folders give a quick answer where inotify works; the timer is the guarantee, and it also
    // sees a simulator folder that is made after start-up.
    connect(m_fsWatcher, &QFileSystemWatcher::directoryChanged, this, &PortWatcher::check);
    connect(&m_timer, &QTimer::timeout, this, &PortWatcher::check);
    watchFolders();
    m_timer.start(intervalMs);
}

PortWatcher::~PortWatcher() = default;

void PortWatcher::watchFolders()
{
    for (const QString& folder : {QStringLiteral("/dev"), PortRegistry::simulatorFolder()}) {
        if (!m_fsWatcher->directories().contains(folder) && QDir(folder).exists())
            m_fsWatcher->addPath(folder);
    }
}

void PortWatcher::check()
{
    watchFolders();
    const QStringList now = PortRegistry::availablePorts();
    if (now == m_ports)
        return;
    const QStringList before = m_ports;
    // Stored first: a slot that opens a modal dialog runs the event loop and may call check() again.
    m_ports = now;
    for (const QString& name : before) {
        if (!now.contains(name))
            emit portRemoved(name);
    }
    for (const QString& name : now) {
        if (!before.contains(name))
            emit portArrived(name);
    }
}
