#include "portwatcher.h"

#include <QDir>
#include <QFileSystemWatcher>

#include <utility>

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
    m_listerContext = new QObject;
    m_listerContext->moveToThread(&m_lister);
    connect(&m_lister, &QThread::finished, m_listerContext, &QObject::deleteLater);
    m_lister.start();
    m_timer.start(intervalMs);
}

PortWatcher::~PortWatcher()
{
    m_lister.quit();
    m_lister.wait();
}

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
    if (m_listing) {
        m_checkAgain = true;
        return;
    }
    m_listing = true;
    QMetaObject::invokeMethod(m_listerContext, [this] {
        const QStringList now = PortRegistry::availablePorts();
        QMetaObject::invokeMethod(this, [this, now] { compare(now); }, Qt::QueuedConnection);
    }, Qt::QueuedConnection);
}

void PortWatcher::compare(const QStringList& now)
{
    m_listing = false;
    if (std::exchange(m_checkAgain, false))
        check();
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
