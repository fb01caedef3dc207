#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QThread>

// What a dongle says about itself in answer to the probe.
struct DongleInfo
{
    QString dongleName = QStringLiteral("Unknown");
    QString manufacturer = QStringLiteral("Unknown");
    QString product = QStringLiteral("Unknown");
    QString firmwareVersion = QStringLiteral("Unknown");
    QString hardwareVersion = QStringLiteral("Unknown");
    QString description;
    QString sdkVersion = QStringLiteral("Unknown");
};

struct DongleEntry
{
    QString portName;
    DongleInfo info;
};

// Probes a list of ports off the GUI thread, once: a port is a dongle only if it answers the
// probe frame within 200 ms. A port held by another tab fails to open and is left out.
class RefreshDongleThread : public QThread
{
    Q_OBJECT
    Q_DISABLE_COPY(RefreshDongleThread)

public:
    explicit RefreshDongleThread(QObject* parent = nullptr);

    void setPorts(const QStringList& ports) { m_ports = ports; }
    // Read by the GUI thread after finished().
    QList<DongleEntry> results() const { return m_results; }

    static DongleInfo parseProbeAnswer(const QByteArray& data);

protected:
    void run() override;

private:
    QStringList m_ports;
    QList<DongleEntry> m_results;
    char m_buffer[0x100000];
};
