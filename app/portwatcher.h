#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>

class QFileSystemWatcher;

// Notices serial ports that come and go, by comparing the list of ports with the last one seen.
// Lives on the GUI thread; a change is reported once per port name.
class PortWatcher : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PortWatcher)

public:
    explicit PortWatcher(QObject* parent = nullptr, int intervalMs = 500);
    ~PortWatcher() override;

    QStringList ports() const { return m_ports; }

public slots:
    void check();

signals:
    void portArrived(const QString& portName);
    void portRemoved(const QString& portName);

private:
    void watchFolders();

    QStringList m_ports;
    QTimer m_timer;
    QFileSystemWatcher* m_fsWatcher = nullptr;
};
