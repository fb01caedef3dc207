#pragma once

#include <functional>
#include <optional>

#include <QByteArray>
#include <QTimer>

#include "link.h"

// The security manager at one end of one link: pairing over its fixed channel, by the
// association model that both ends' IO capabilities and flags select, then encryption and the
// keys each end hands the other. A dongle's security engine holds one for each of its links and a
// device of the world one for its link, so both ends speak the same protocol; what needs a
// person (accepting a peer, a passkey, a comparison) goes to the handlers, and their answers
// come back through the matching calls.
//
// Legacy pairing's confirm and key functions are the core's (c1, s1). The simulated stacks share
// no elliptic-curve code, so a Secure Connections pairing runs the same exchange and stands in a
// hash of both randoms for the comparison value and the key; its message flow, models and
// failures are those of the real thing.
class SecurityManager
{
public:
    static constexpr quint16 Channel = 0x0006;
    // What a pairing may take from its start before it fails.
    static constexpr int TimeoutMs = 30000;

    enum Io : quint8 { DisplayOnly, DisplayYesNo, KeyboardOnly, NoInputNoOutput, KeyboardDisplay };
    // Why a pairing failed, as Pairing Failed carries it.
    enum Reason : quint8 {
        Success = 0,
        PasskeyEntryFailed = 0x01,
        AuthenticationRequirements = 0x03,
        ConfirmValueFailed = 0x04,
        PairingNotSupported = 0x05,
        EncryptionKeySize = 0x06,
        CommandNotSupported = 0x07,
        UnspecifiedReason = 0x08,
        InvalidParameters = 0x0A,
        DhKeyCheckFailed = 0x0B,
        NumericComparisonFailed = 0x0C,
    };
    enum KeyBits : quint8 { EncKey = 0x01, IdKey = 0x02, SignKey = 0x04 };
    enum Method { JustWorks, PasskeyEntry, NumericComparison };

    // What this end asks of a pairing; read afresh when one starts.
    struct Parameters {
        quint8 io = NoInputNoOutput;
        bool bond = false;
        bool mitm = false;
        bool secureConnections = false;
        bool keypress = false;
        int maxKeySize = 16;
        quint8 initiatorKeys = 0;
        quint8 responderKeys = 0;
        // Refuse a pairing without protection against a man in the middle, or without Secure
        // Connections.
        bool mitmRequired = false;
        bool secureConnectionsRequired = false;
        // False: every pairing request is answered "pairing not supported".
        bool pairable = true;
    };
    // This end's identity, handed over when the far end asks for it.
    struct Identity {
        QByteArray irk; // 16 bytes, wire order
        QByteArray address; // 6 bytes, wire order
        quint8 addressType = 0;
    };
    // What a successful pairing leaves.
    struct Outcome {
        Link::Security security;
        bool bonded = false;
        // The far end's identity when it gave one; otherwise its address on the link, no key.
        Identity peer;
    };
    struct Handlers {
        std::function<Parameters()> parameters;
        std::function<Identity()> identity;
        // The far end asks to pair: answer by acceptPairing.
        std::function<void()> requested;
        // This end's passkey: shown (`display`) or typed; answer by passkey.
        std::function<void(bool display)> passkeyWanted;
        // Both ends show this six-digit value: answer by compared.
        std::function<void(quint32 value)> compare;
        // Success with the outcome, or the reason it failed.
        std::function<void(quint8 reason, const Outcome& outcome)> finished;
    };

    SecurityManager(Link* link, Link::End end, Handlers handlers);
    SecurityManager(const SecurityManager&) = delete;
    SecurityManager& operator=(const SecurityManager&) = delete;

    // The association model for these two ends' pairing features; `initiatorDisplays` and
    // `responderDisplays` tell who shows the passkey of a passkey entry (neither: both type one).
    static Method method(const Parameters& initiator, const Parameters& responder, bool secureConnections,
                         bool* initiatorDisplays = nullptr, bool* responderDisplays = nullptr);

    bool isPairing() const { return m_state != Idle; }
    // The central sends a pairing request, a peripheral asks its central to pair; false while a
    // pairing runs.
    bool start();
    // What this end shows: the passkey it displays, during a passkey entry.
    std::optional<quint32> shownPasskey() const;
    // What the last pairing failed by, until the next one starts.
    quint8 lastFailure() const { return m_lastFailure; }

    void acceptPairing(bool accept);
    // The passkey that this end shows or that its user typed; refused, the pairing fails.
    void passkey(bool accept, quint32 value);
    void compared(bool accept);

    void received(const QByteArray& pdu);
    // The link layer encrypted the link: the keys go across.
    void encryptionChanged();

private:
    enum State { Idle, Requested, AwaitingResponse, Exchanging, Checking, Distributing };
    enum Opcode : quint8 {
        PairingRequest = 0x01,
        PairingResponse = 0x02,
        PairingConfirm = 0x03,
        PairingRandom = 0x04,
        PairingFailed = 0x05,
        EncryptionInformation = 0x06,
        CentralIdentification = 0x07,
        IdentityInformation = 0x08,
        IdentityAddressInformation = 0x09,
        SigningInformation = 0x0A,
        SecurityRequest = 0x0B,
        DhKeyCheck = 0x0D,
    };

    bool initiator() const { return m_end == Link::Central; }
    static Parameters features(const QByteArray& pdu);
    QByteArray featuresPdu(Opcode opcode, const Parameters& parameters) const;
    void send(Opcode opcode, const QByteArray& body = QByteArray());
    void fail(quint8 reason, bool tellPeer = true);
    void finish(quint8 reason);
    void pairingRequested(const QByteArray& pdu);
    // Both features are known: the model, its checks, and this end's part of it.
    void begin();
    void advance();
    QByteArray confirmValue(const QByteArray& random) const;
    void randomReceived(const QByteArray& random);
    void checkReceived(const QByteArray& value);
    QByteArray checkValue(bool ofInitiator) const;
    quint32 comparisonValue() const;
    QByteArray shortTermKey() const;
    void startEncryption();
    void sendKeys();
    void keyReceived(quint8 opcode, const QByteArray& body);
    // The keys still to come from the far end, as key bits.
    quint8 keysAwaited() const;
    void keysDone();

    Link* m_link;
    Link::End m_end;
    Handlers m_handlers;
    QTimer m_timeout;
    State m_state = Idle;
    quint8 m_lastFailure = Success;
    bool m_selfRequested = false; // this end's host asked for the pairing
    Parameters m_local;
    QByteArray m_request; // both pairing PDUs, as sent
    QByteArray m_response;
    Method m_method = JustWorks;
    bool m_secureConnections = false;
    bool m_displays = false;
    int m_keySize = 16;
    quint8 m_initiatorKeys = 0;
    quint8 m_responderKeys = 0;
    std::optional<quint32> m_tk;
    bool m_userAgreed = false; // a comparison's yes; true for the other models
    bool m_compareAsked = false;
    QByteArray m_localRandom;
    QByteArray m_peerConfirm;
    QByteArray m_peerRandom;
    bool m_confirmSent = false;
    bool m_randomSent = false;
    bool m_checkSent = false;
    bool m_peerChecked = false;
    QByteArray m_key; // the link key as it will stand
    quint8 m_keysReceived = 0;
    bool m_keysSent = false;
    Outcome m_outcome;
};
