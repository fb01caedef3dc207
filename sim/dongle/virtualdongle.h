#pragma once

#include <memory>

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QRandomGenerator>
#include <QSet>
#include <QString>
#include <QVector>

#include "air/virtualair.h"
#include "proto/responder.h"
#include "router.h"

class AdvertiserEngine;
class DeviceListsEngine;
class ConnectionManager;
class Engine;
class FrameReader;
class GattClientEngine;
class InitiatorEngine;
class IsoEngine;
class L2capEngine;
class LoaderEngine;
class LocalDeviceEngine;
class LogFlood;
class PeriodicSyncEngine;
class RfTestEngine;
class ScannerEngine;
class SecurityEngine;

// One simulated dongle as a protocol engine: downlink bytes in, uplink frames out. It knows
// nothing of terminals, so a test can drive it in-process. The dongle itself answers the probe,
// the reset and the heartbeat; its engines answer everything else, its loader the "DG" frames.
class VirtualDongle : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(VirtualDongle)

public:
    static constexpr int LinkBytesPerSecond = 46080; // 460800 baud, 10 bits a byte
    static constexpr quint8 StatusInvalidParam = 1;
    static constexpr quint8 StatusInvalidConnIdx = 3;
    static constexpr quint8 StatusInvalidHandle = 4;
    static constexpr quint8 StatusListItemNotFound = 9;
    static constexpr quint8 StatusListItemExists = 10;
    static constexpr quint8 StatusListFull = 11;
    static constexpr quint8 StatusInvalidDataLength = 14;
    static constexpr quint8 StatusDisallowed = 15;
    static constexpr quint8 StatusNoResources = 16;
    static constexpr quint8 StatusNotSupported = 17;
    static constexpr quint8 StatusInvalidAttValueLength = 19;
    static constexpr quint8 StatusInvalidAdvIndex = 21;
    static constexpr quint8 StatusInvalidAdvDataType = 22;
    // Results and events carry the link layer's error codes moved past the host's own by this.
    static constexpr quint8 LinkLayerStatusBase = 144;

    // The air is not owned and may be shared by several dongles.
    VirtualDongle(int number, VirtualAir* air, QObject* parent = nullptr);
    ~VirtualDongle() override;

    int number() const { return m_number; }
    VirtualAir* air() const { return m_air; }
    void feed(const QByteArray& bytes);

    // As if unplugged and plugged in again: state lost, nothing said until the first reset.
    void powerCycle();
    void setMuted(bool muted) { m_muted = muted; }
    // No ack or result of the module goes up until it is unmuted, as from firmware that hangs.
    void setModuleMuted(quint8 module, bool muted);
    // Every later ack of the command "MM@OO" carries this status; 0 restores normal answers.
    void setStatus(const QString& commandId, quint8 status);
    // Cut to the longest frame: past it the tool would read the text as garbage.
    void sendLog(const QString& text);
    void inject(const QByteArray& bytes);
    // Log lines at this rate until it is 0; at most LogFlood::MaxLinesPerSecond.
    void setFlood(int linesPerSecond);
    int flood() const;

    LocalDeviceEngine* localDevice() const { return m_localDevice.get(); }
    DeviceListsEngine* deviceLists() const { return m_deviceLists.get(); }
    ScannerEngine* scanner() const { return m_scanner.get(); }
    PeriodicSyncEngine* periodicSync() const { return m_periodicSync.get(); }
    InitiatorEngine* initiator() const { return m_initiator.get(); }
    ConnectionManager* connections() const { return m_connections.get(); }
    GattClientEngine* gattClient() const { return m_gattClient.get(); }
    AdvertiserEngine* advertiser() const { return m_advertiser.get(); }
    SecurityEngine* security() const { return m_security.get(); }
    const Router& router() const { return m_router; }
    LoaderEngine* loader() const { return m_loader.get(); }

    // The firmware that runs: the application, which speaks the command protocol, or the loader,
    // which speaks only "DG" frames. The application's version is the one that the probe and
    // Device Version Get tell.
    bool inLoader() const { return m_inLoader; }
    QString firmwareVersion() const { return m_firmwareVersion; }
    // The chip restarts on other firmware: state lost as by unplugging, the port stays.
    void restartInLoader();
    void restartApplication(const QString& version);

    // For the engines: answers to the host. An ack names the command it answers.
    void ack(quint8 module, quint8 opcode, quint8 status);
    void respond(quint8 module, quint8 opcode, const Responder::Fields& fields);
    void respond(quint8 module, quint8 opcode, const QByteArray& body);
    // A frame that carries its own sum, such as the loader's answers.
    void sendRaw(const QByteArray& frame);
    // Bulk traffic such as scan reports may take a share of the link (log flood lines count in
    // it too): true when a frame of this size fits now, and then it is counted.
    bool reserveBulk(int frameSize);
    QRandomGenerator& random() { return m_random; }
    // From the connection manager, for every engine.
    void linkOpened(int condix, Link* link);
    void linkEnding(int condix, quint8 reason);
    void linkEncrypted(int condix);
    void linkClosed(int condix);

signals:
    // One emission per uplink frame, in order (an injected chunk counts as one).
    void uplink(const QByteArray& bytes);
    // Every downlink frame with a good checksum, command or loader frame, before it is acted on.
    void downlinkFrame(const QByteArray& frame);

private:
    void handleFrame(const QByteArray& frame);
    void handleLoaderFrame(const QByteArray& frame);
    void handleCommand(const Request& request);
    void reset();
    QByteArray probeAnswer() const;
    void refillBulk();
    void sendFloodLine(const QString& text);
    void send(const QByteArray& frame);

    const int m_number;
    QPointer<VirtualAir> m_air; // the air may go first when both are children of one object
    FrameReader* m_reader = nullptr;
    LogFlood* m_flood = nullptr;
    Responder m_responder;
    Router m_router;
    QRandomGenerator m_random;
    bool m_reset = false;
    bool m_muted = false;
    bool m_inLoader = false;
    QString m_firmwareVersion;
    QHash<QString, quint8> m_statusOverride;
    QSet<quint8> m_mutedModules;
    // Bytes the link may still carry for bulk traffic now.
    QElapsedTimer m_clock;
    double m_budget = 0;
    qint64 m_budgetAt = 0;

    std::unique_ptr<LocalDeviceEngine> m_localDevice;
    std::unique_ptr<DeviceListsEngine> m_deviceLists;
    std::unique_ptr<ConnectionManager> m_connections;
    std::unique_ptr<ScannerEngine> m_scanner;
    std::unique_ptr<PeriodicSyncEngine> m_periodicSync;
    std::unique_ptr<InitiatorEngine> m_initiator;
    std::unique_ptr<GattClientEngine> m_gattClient;
    std::unique_ptr<AdvertiserEngine> m_advertiser;
    std::unique_ptr<L2capEngine> m_l2cap;
    std::unique_ptr<IsoEngine> m_iso;
    std::unique_ptr<RfTestEngine> m_rfTest;
    std::unique_ptr<SecurityEngine> m_security;
    QVector<Engine*> m_engines;
    std::unique_ptr<LoaderEngine> m_loader;
};
