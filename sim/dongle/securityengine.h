#pragma once

#include <map>
#include <memory>
#include <optional>

#include <QByteArray>
#include <QMap>

#include "air/securitymanager.h"
#include "engine.h"

class ConnectionManager;
class DeviceListsEngine;
class LocalDeviceEngine;
class Request;

// The dongle's security manager as its host stack runs it: the security parameters and pairing
// switch the host sets, pairing started by the host or by the far end, the questions that need
// the user (a peer's request, a passkey to show or to type, a comparison) asked of the host and
// answered by Sending Confirm Information, the result, and the bond that a pairing leaves in the
// device lists. Each link's protocol is its own SecurityManager.
class SecurityEngine final : public Engine
{
public:
    // The request types of Receiving Encryption Request, and what the host answers with.
    enum Question : quint8 { PeerRequest = 0, Passkey = 1, Comparison = 3 };
    // A passkey question: this end shows one (the host makes it) or types one.
    static constexpr quint8 PasskeyShow = 1;
    static constexpr quint8 PasskeyType = 2;

    SecurityEngine(VirtualDongle& dongle, LocalDeviceEngine& localDevice, DeviceListsEngine& deviceLists,
                   ConnectionManager& connections);
    ~SecurityEngine() override;

    void install(Router& router) override;
    void reset() override;
    void powerCycle() override;
    void linkOpened(int condix, Link* link) override;
    void linkEncrypted(int condix) override;
    void linkClosed(int condix) override;

    // The passkey that the dongle shows on a link: the one its host made for it.
    std::optional<quint32> shownPasskey(int condix) const;
    // What the far end of one of the dongle's links shows, for a person who reads it off.
    std::optional<quint32> peerPasskey() const;

private:
    struct Session {
        Link* link = nullptr;
        std::unique_ptr<SecurityManager> manager;
        std::optional<Question> question; // asked of the host, not answered yet
        QByteArray key; // the link key of the last pairing
    };

    SecurityManager::Handlers handlersFor(int condix);
    void ask(int condix, Question question, const QByteArray& detail);
    void setParameters(const Request& r);
    void startPairing(const Request& r);
    void confirm(const Request& r);
    void linkKey(const Request& r);
    void finished(int condix, quint8 reason, const SecurityManager::Outcome& outcome);
    // The session of the request's link; without one, the ack of an unknown connection index.
    Session* sessionOf(const Request& r, int condix);

    LocalDeviceEngine& m_localDevice;
    DeviceListsEngine& m_deviceLists;
    ConnectionManager& m_connections;
    SecurityManager::Parameters m_parameters;
    std::map<int, Session> m_sessions;
};
