#pragma once

#include <QObject>
#include <QStringList>
#include <QThread>
#include <QTimer>

class QFileSystemWatcher;

// Notices serial ports that come and go, by comparing the list of ports with the last one seen.
// Lives on the GUI thread, but lists the ports on a thread of its own: a listing reads much of
// /sys and takes milliseconds the GUI can't spare under traffic. A change is reported once per
// port name.
class PortWatcher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PortWatcher)

public:
    explicit PortWatcher(QObject* parent = nullptr, int intervalMs = 500);
    ~PortWatcher() override;

    QStringList ports() const { return m_ports; }

public slots:
    // Asks for a listing; the change it finds is reported when it comes.
    void check();

signals:
    void portArrived(const QString& portName);
    void portRemoved(const QString& portName);

private:
    void watchFolders();
    void compare(const QStringList& now);

    QStringList m_ports;
    QTimer m_timer;
    QFileSystemWatcher* m_fsWatcher = nullptr;
    QThread m_lister;
    QObject* m_listerContext = nullptr;
    bool m_listing = false;
    // A check asked for while a listing ran: the listing may have missed what it was about.
    bool m_checkAgain = false;
};
