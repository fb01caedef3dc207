#pragma once

#include <memory>

#include <QElapsedTimer>
#include <QFile>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVector>

class PortFolderLock;
class PtyEndpoint;
class VirtualAir;
class VirtualDongle;

// The whole simulator: the air, its dongles, their terminals, the trace file and the control
// lines that tests and people type.
class Simulator : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Simulator)

public:
    struct Options {
        int dongles = 1;
        QString folder;
        QString worldFile;
        QString traceFile;
        bool baudPace = false;
    };

    explicit Simulator(QObject* parent = nullptr);
    ~Simulator() override;

    // Builds the world, takes the port folder and opens one terminal per dongle; the error says
    // what went wrong.
    bool start(const Options& options, QString* error);
    // "ttySIM0 -> /dev/pts/7", one per dongle.
    QStringList portLines() const;
    // Runs one control line and gives its answer: "ok" or "error: ...".
    QString control(const QString& line);

    // The port folder as the tool finds it: $TARVINE_SIM_DIR, else $XDG_RUNTIME_DIR/tarvine-sim,
    // else /tmp/tarvine-sim-<uid>.
    static QString defaultFolder();

    VirtualDongle* dongle(int n) const;

signals:
    void quitAsked();

private:
    QString startRfTransmitter(const QStringList& words);
    void trace(int dongle, const char* direction, const QByteArray& bytes);

    std::unique_ptr<PortFolderLock> m_lock;
    VirtualAir* m_air = nullptr;
    QVector<VirtualDongle*> m_dongles;
    QVector<PtyEndpoint*> m_endpoints;
    std::unique_ptr<QFile> m_trace;
    QElapsedTimer m_clock;
};
