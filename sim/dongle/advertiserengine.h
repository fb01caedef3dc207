#pragma once

#include <array>

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QVector>

#include "engine.h"

class ConnectionManager;
class LocalDeviceEngine;
class QTimer;
class Request;
struct VirtualAdvertiser;

// Advertising: five sets of three kinds (legacy, extended, periodic), their parameters and data as
// the host sets them; a started set goes on the air, where other dongles scan and connect to it,
// and ends when its host stops it, its duration or its count of events runs out, or a central
// connects to it.
class AdvertiserEngine final : public QObject, public Engine
{
    Q_OBJECT
    Q_DISABLE_COPY(AdvertiserEngine)

public:
    static constexpr int SetCount = 5;
    // Why a set ended, as DD@01@2A tells it; its status is 0 in every case, since the tool takes a
    // set for stopped only then.
    static constexpr quint8 EndedByHost = 0;
    static constexpr quint8 EndedByTimeout = 1; // its duration, or the 1.28 s of high duty cycle
    static constexpr quint8 EndedByEventCount = 2;
    static constexpr quint8 EndedByConnection = 3;
    // The most a set sends on the air: a legacy PDU's 31 bytes; an extended set's chain of
    // auxiliary PDUs, though a connectable one has no chain (see advDataMax).
    static constexpr int LegacyDataMax = 31;
    static constexpr int ExtendedDataMax = 1650;

    AdvertiserEngine(VirtualDongle& dongle, const LocalDeviceEngine& localDevice, ConnectionManager& connections);

    void install(Router& router) override;
    void reset() override;
    void powerCycle() override;
    void linkOpened(int condix, Link* link) override;

private:
    // The bits of an extended set's event properties; a legacy set's mode is mapped onto them.
    enum Property : quint16 {
        Connectable = 0x01,
        Scannable = 0x02,
        Directed = 0x04,
        HighDuty = 0x08,
        LegacyPdus = 0x10,
        Anonymous = 0x20,
        IncludeTxPower = 0x40,
        IncludePeriodicTxPower = 0x80,
        ScanRequestNotification = 0x100,
    };
    enum Discovery : quint8 { NonDiscoverable, GeneralDiscoverable, LimitedDiscoverable, Broadcaster };
    struct Set {
        enum Kind { Unset, Legacy, Extended, Periodic };
        Kind kind = Unset;
        quint8 discovery = NonDiscoverable;
        quint16 properties = 0;
        QByteArray peer; // address and type, which directed advertising names
        quint8 ownAddressType = 0;
        int intervalMs = 100;
        qint8 maxTxPower = 127; // 127: the host has no preference
        quint8 primaryPhy = 1;
        quint8 secondaryPhy = 1;
        quint8 sid = 0;
        int durationMs = 0; // 0: no limit
        int maxEvents = 0; // 0: no limit
        int periodicIntervalMs = 0;
        QByteArray advData; // as the host gave it, without the Flags
        QByteArray scanResponse;
        QByteArray periodicData;
        bool running = false;
        quint8 endReason = EndedByTimeout; // what the end timer means
    };

    void setParameters(const Request& request, Set::Kind kind);
    QString readLegacy(const Request& request, Set& set) const;
    QString readExtended(const Request& request, Set::Kind kind, Set& set) const;
    QString modeError(const Set& set) const;
    void setData(const Request& request);
    // What a set of these parameters refuses of this data: its status (0: nothing) and why.
    quint8 dataRefusal(const Set& set, const QByteArray& adv, const QByteArray& response,
                       const QByteArray& periodic, QString* why) const;
    void start(const Request& request);
    void stop(const Request& request);
    void end(int index, quint8 reason);
    void leaveAir(int index);
    void sendConnectionEnds();
    VirtualAdvertiser advertiserOf(int index) const;

    // The set that a command names; null, the command refused, for an index past the sets or,
    // with `known`, for a set without parameters.
    Set* setOf(const Request& request, int index, bool known);
    void refuse(const Request& request, quint8 status, const QString& why);

    static QByteArray flagsOf(const Set& set);
    static bool carriesAdvData(const Set& set);
    static int advDataMax(const Set& set);

    const LocalDeviceEngine& m_localDevice;
    ConnectionManager& m_connections;
    std::array<Set, SetCount> m_sets;
    std::array<QTimer*, SetCount> m_endTimers{};
    // Sets that a connection ended, told to the host after it heard of the connection.
    QVector<int> m_connected;
    QTimer* m_connectedTimer = nullptr;
};
