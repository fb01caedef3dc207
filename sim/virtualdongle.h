#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QRandomGenerator>
#include <QSet>
#include <QString>
#include <QVector>

class QTimer;
class VirtualAir;
struct VirtualAdvertiser;

// One simulated dongle as a protocol engine: downlink bytes in, uplink frames out. It knows
// nothing of terminals, so a test can drive it in-process.
class VirtualDongle : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(VirtualDongle)

public:
    static constexpr int LinkBytesPerSecond = 46080; // 460800 baud, 10 bits a byte
    static constexpr quint8 StatusInvalidParam = 1;
    static constexpr quint8 StatusInvalidConnIdx = 3;
    static constexpr quint8 StatusNoResources = 16;
    static constexpr quint8 StatusNotSupported = 17;
    static constexpr quint8 StatusInvalidDataLength = 14;
    static constexpr quint8 StatusDisallowed = 15;
    static constexpr quint8 StatusListItemNotFound = 9;
    static constexpr quint8 StatusListItemExists = 10;
    static constexpr quint8 StatusListFull = 11;
    static constexpr int WhitelistSize = 10;
    static constexpr int MaxConnections = 8;
    // Disconnection reasons, as the link layer gives them.
    static constexpr quint8 ReasonRemoteUser = 0x13;
    static constexpr quint8 ReasonLocalHost = 0x16;

    // The air is not owned and may be shared by several dongles.
    VirtualDongle(int number, VirtualAir* air, QObject* parent = nullptr);
    ~VirtualDongle() override;

    int number() const { return m_number; }
    void feed(const QByteArray& bytes);

    // As if unplugged and plugged in again: state lost, nothing said until the first reset.
    void powerCycle();
    void setMuted(bool muted) { m_muted = muted; }
    bool isMuted() const { return m_muted; }
    // Every later ack of the command "MM@OO" carries this status; 0 restores normal answers.
    void setStatus(const QString& commandId, quint8 status);
    void sendLog(const QString& text);
    void inject(const QByteArray& bytes);
    void setRssiJitter(int db) { m_rssiJitter = qMax(0, db); }

    bool hasBeenReset() const { return m_reset; }
    bool isScanning() const { return m_scanning; }
    bool isConnecting() const { return m_connecting; }
    // The peer of a connection goes away: the link ends with this reason. False: no such link.
    bool dropConnection(int condix, quint8 reason = ReasonRemoteUser);
    QByteArray identityAddress() const { return m_identityAddress; }
    QString deviceName() const { return QString::fromUtf8(m_deviceName); }

    // Answer to the selection probe: BB 00 00, six strings with 16-bit lengths, checksum.
    static QByteArray probeAnswer();

signals:
    // One emission per uplink frame, in order (an injected chunk counts as one).
    void uplink(const QByteArray& bytes);
    // Every well-formed downlink frame, checksum included, before it is acted on.
    void downlinkFrame(const QByteArray& frame);

private:
    void restoreDefaults();
    void handleFrame(const QByteArray& frame);
    void handleCommand(quint8 module, quint8 opcode, const QByteArray& payload);
    void send(quint8 header, quint8 module, quint8 opcode, const QByteArray& payload);
    void ack(quint8 module, quint8 opcode, quint8 status);
    void result(quint8 module, quint8 opcode, const QByteArray& payload);
    void dongleLog(const QString& text);

    void startScan(const QByteArray& payload);
    void stopScan(quint8 reason);
    void scanTick();
    void rescheduleAll();
    bool hears(const VirtualAdvertiser& advertiser) const;
    bool report(const VirtualAdvertiser& advertiser, quint8 classification, const QByteArray& data);

    void startConnect(const QByteArray& payload);
    QString connectParameterError(const QByteArray& payload) const;
    const VirtualAdvertiser* connectTarget() const;
    void connectTick();
    void establish(const VirtualAdvertiser& peer);
    void stopConnecting();
    void endLink(int condix, quint8 reason);
    void releaseLinks();

    const int m_number;
    QPointer<VirtualAir> m_air; // the air may go first when both are children of one object
    QByteArray m_input;
    bool m_reset = false;
    bool m_muted = false;
    QHash<QString, quint8> m_statusOverride;

    QByteArray m_identityAddress;
    quint8 m_identityAddressType = 0;
    quint8 m_deviceType = 1;
    QByteArray m_deviceName;
    quint16 m_appearance = 0;
    QByteArray m_preferredParameters;
    QVector<QByteArray> m_profiles; // items: id byte then name
    QByteArray m_enabledProfiles;
    QVector<QByteArray> m_whitelist; // 7 bytes each: address, type
    QHash<QString, QByteArray> m_settings; // payloads of Set commands without a Get

    // Scanning.
    QTimer* m_scanTimer = nullptr;
    QTimer* m_scanEndTimer = nullptr;
    QElapsedTimer m_clock;
    QRandomGenerator m_random;
    bool m_scanning = false;
    bool m_activeScan = false;
    bool m_filterDuplicates = false;
    quint8 m_scanType = 2;
    double m_hearChance = 1.0;
    QVector<qint64> m_nextDue; // per advertiser of the air, ms on m_clock
    QSet<QByteArray> m_reported;
    double m_budget = 0; // bytes the link may still carry now
    qint64 m_budgetAt = 0;
    int m_rssiJitter = 3;

    // Connecting: one initiating procedure at a time, direct or through the white list.
    QTimer* m_connectTimer = nullptr; // the target's next advertising event
    QTimer* m_connectTimeoutTimer = nullptr;
    bool m_connecting = false;
    bool m_autoConnect = false;
    QByteArray m_connectPeer; // address + type of a direct connection
    QByteArray m_initiating; // the 5_0_Connect payload
    QMap<int, QByteArray> m_links; // condix -> peer address + type
};
