#pragma once

#include <optional>

#include <QByteArray>
#include <QObject>
#include <QString>

#include "engine.h"
#include "proto/request.h"

class ConnectionManager;
class DeviceListsEngine;
class LocalDeviceEngine;
class QTimer;
struct VirtualAdvertiser;

// Initiating: one procedure at a time, to a named peer or to whoever of the white list is heard
// first, which connects at one of the peer's advertising events.
class InitiatorEngine final : public QObject, public Engine
{
    Q_OBJECT
    Q_DISABLE_COPY(InitiatorEngine)

public:
    InitiatorEngine(VirtualDongle& dongle, const LocalDeviceEngine& localDevice, const DeviceListsEngine& deviceLists, ConnectionManager& connections);

    void install(Router& router) override;
    void reset() override;

    bool isConnecting() const { return m_initiating.has_value(); }

private:
    void start(const Request& request);
    QString parameterError(const Request& request) const;
    const VirtualAdvertiser* target() const;
    void tick();
    void establish(const VirtualAdvertiser& peer);
    void stop();

    const LocalDeviceEngine& m_localDevice;
    const DeviceListsEngine& m_deviceLists;
    ConnectionManager& m_connections;
    QTimer* m_eventTimer = nullptr; // the target's next advertising event
    QTimer* m_timeoutTimer = nullptr;
    std::optional<Request> m_initiating; // the 5_0_Connect under way
};
