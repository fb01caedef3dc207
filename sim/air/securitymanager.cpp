#include "securitymanager.h"

#include <algorithm>

#include <QRandomGenerator>

#include "blecrypto.h"

namespace {

constexpr quint8 AuthBond = 0x01;
constexpr quint8 AuthMitm = 0x04;
constexpr quint8 AuthSecureConnections = 0x08;
constexpr quint8 AuthKeypress = 0x10;
constexpr int FeaturesBytes = 7;
constexpr int ValueBytes = 16;
constexpr quint32 PasskeyLimit = 999999;

// The core's functions take their numbers most significant byte first; the wire the other way.
QByteArray reversed(const QByteArray& bytes)
{
    QByteArray out = bytes;
    std::reverse(out.begin(), out.end());
    return out;
}

QByteArray randomBytes(int count)
{
    QByteArray bytes(count, '\0');
    for (char& byte : bytes)
        byte = char(QRandomGenerator::global()->bounded(256));
    return bytes;
}

bool hasKeyboard(quint8 io)
{
    return io == SecurityManager::KeyboardOnly || io == SecurityManager::KeyboardDisplay;
}

bool canConfirm(quint8 io)
{
    return io == SecurityManager::DisplayYesNo || io == SecurityManager::KeyboardDisplay;
}

} // namespace

SecurityManager::SecurityManager(Link* link, Link::End end, Handlers handlers)
    : m_link(link)
    , m_end(end)
    , m_handlers(std::move(handlers))
{
    m_timeout.setSingleShot(true);
    m_timeout.setInterval(TimeoutMs);
    m_timeout.callOnTimeout([this] { finish(UnspecifiedReason); });
}

// The core's mapping of IO capabilities to association models; without a MITM flag on either
// side, or without input and output on one, it is Just Works.
SecurityManager::Method SecurityManager::method(const Parameters& initiator, const Parameters& responder,
                                                bool secureConnections, bool* initiatorDisplays,
                                                bool* responderDisplays)
{
    bool iDisplays = false;
    bool rDisplays = false;
    Method chosen = JustWorks;
    const quint8 i = initiator.io;
    const quint8 r = responder.io;
    const bool anyMitm = initiator.mitm || responder.mitm;
    if (anyMitm && i <= KeyboardDisplay && r <= KeyboardDisplay && i != NoInputNoOutput && r != NoInputNoOutput) {
        if (secureConnections && canConfirm(i) && canConfirm(r)) {
            chosen = NumericComparison;
        } else if (hasKeyboard(i) || hasKeyboard(r)) {
            chosen = PasskeyEntry;
            if (i == KeyboardOnly && r == KeyboardOnly) {
                // Both type the same passkey, which their users agree on.
            } else if (i == KeyboardOnly) {
                rDisplays = true;
            } else if (r == KeyboardOnly || (i == KeyboardDisplay && r == KeyboardDisplay)) {
                iDisplays = true;
            } else if (i == KeyboardDisplay) {
                rDisplays = true;
            } else {
                iDisplays = true;
            }
        }
    }
    if (initiatorDisplays)
        *initiatorDisplays = iDisplays;
    if (responderDisplays)
        *responderDisplays = rDisplays;
    return chosen;
}

bool SecurityManager::start()
{
    if (m_state != Idle)
        return false;
    m_selfRequested = true;
    m_local = m_handlers.parameters();
    if (!initiator()) {
        const QByteArray request = featuresPdu(SecurityRequest, m_local).left(2);
        m_link->send(m_end, Channel, request);
        return true;
    }
    m_lastFailure = Success;
    m_request = featuresPdu(PairingRequest, m_local);
    m_state = AwaitingResponse;
    m_timeout.start();
    m_link->send(m_end, Channel, m_request);
    return true;
}

std::optional<quint32> SecurityManager::shownPasskey() const
{
    if (m_state == Exchanging && m_method == PasskeyEntry && m_displays)
        return m_tk;
    return std::nullopt;
}

SecurityManager::Parameters SecurityManager::features(const QByteArray& pdu)
{
    Parameters p;
    p.io = quint8(pdu.at(1));
    const quint8 auth = quint8(pdu.at(3));
    p.bond = auth & AuthBond;
    p.mitm = auth & AuthMitm;
    p.secureConnections = auth & AuthSecureConnections;
    p.keypress = auth & AuthKeypress;
    p.maxKeySize = quint8(pdu.at(4));
    p.initiatorKeys = quint8(pdu.at(5));
    p.responderKeys = quint8(pdu.at(6));
    return p;
}

QByteArray SecurityManager::featuresPdu(Opcode opcode, const Parameters& p) const
{
    const quint8 auth = (p.bond ? AuthBond : 0) | (p.mitm ? AuthMitm : 0)
        | (p.secureConnections ? AuthSecureConnections : 0) | (p.keypress ? AuthKeypress : 0);
    QByteArray pdu;
    pdu.append(char(opcode)).append(char(p.io)).append('\0').append(char(auth)).append(char(p.maxKeySize));
    pdu.append(char(p.initiatorKeys & 0x07)).append(char(p.responderKeys & 0x07));
    return pdu;
}

void SecurityManager::send(Opcode opcode, const QByteArray& body)
{
    m_link->send(m_end, Channel, char(opcode) + body);
}

void SecurityManager::fail(quint8 reason, bool tellPeer)
{
    if (tellPeer)
        send(PairingFailed, QByteArray(1, char(reason)));
    if (m_state != Idle)
        finish(reason);
}

void SecurityManager::finish(quint8 reason)
{
    m_timeout.stop();
    Outcome outcome;
    if (reason == Success) {
        outcome = m_outcome;
        outcome.security.encrypted = true;
        outcome.security.authenticated = m_method != JustWorks;
        outcome.security.secureConnections = m_secureConnections;
        outcome.security.keySize = m_keySize;
        outcome.security.key = m_key;
        outcome.bonded = features(m_request).bond && features(m_response).bond;
    }
    m_state = Idle;
    m_selfRequested = false;
    m_lastFailure = reason;
    m_tk.reset();
    m_outcome = Outcome();
    m_handlers.finished(reason, outcome);
}

void SecurityManager::received(const QByteArray& pdu)
{
    if (pdu.isEmpty())
        return;
    const quint8 opcode = quint8(pdu.at(0));
    const QByteArray body = pdu.mid(1);
    switch (opcode) {
    case PairingRequest:
        if (initiator())
            return fail(CommandNotSupported);
        if (pdu.size() != FeaturesBytes)
            return fail(InvalidParameters);
        if (m_state != Idle)
            return fail(UnspecifiedReason);
        return pairingRequested(pdu);
    case PairingResponse:
        if (m_state != AwaitingResponse || pdu.size() != FeaturesBytes)
            return fail(pdu.size() != FeaturesBytes ? InvalidParameters : UnspecifiedReason);
        m_response = pdu;
        return begin();
    case PairingConfirm:
        if (m_state != Exchanging || body.size() != ValueBytes || !m_peerConfirm.isEmpty())
            return fail(UnspecifiedReason);
        m_peerConfirm = body;
        return advance();
    case PairingRandom:
        // A random may only follow this end's confirm, and the initiator's comes first.
        if (m_state != Exchanging || body.size() != ValueBytes || m_peerConfirm.isEmpty() || !m_confirmSent
            || (initiator() && !m_randomSent))
            return fail(UnspecifiedReason);
        return randomReceived(body);
    case PairingFailed:
        if (m_state != Idle)
            finish(body.isEmpty() ? quint8(UnspecifiedReason) : quint8(body.at(0)));
        return;
    case EncryptionInformation:
    case CentralIdentification:
    case IdentityInformation:
    case IdentityAddressInformation:
    case SigningInformation:
        if (m_state != Distributing || !m_link->security().encrypted)
            return fail(UnspecifiedReason);
        return keyReceived(opcode, body);
    case SecurityRequest:
        if (initiator() && m_state == Idle)
            start();
        return;
    case DhKeyCheck:
        if (m_state != Checking || body.size() != ValueBytes)
            return fail(UnspecifiedReason);
        return checkReceived(body);
    default:
        return fail(CommandNotSupported);
    }
}

void SecurityManager::pairingRequested(const QByteArray& pdu)
{
    if (!m_selfRequested)
        m_local = m_handlers.parameters();
    m_lastFailure = Success;
    m_request = pdu;
    m_state = Requested;
    m_timeout.start();
    if (!m_local.pairable)
        return fail(PairingNotSupported);
    const int peerKeySize = quint8(pdu.at(4));
    if (peerKeySize < 7 || peerKeySize > 16)
        return fail(InvalidParameters);
    if (m_selfRequested)
        acceptPairing(true);
    else
        m_handlers.requested();
}

void SecurityManager::acceptPairing(bool accept)
{
    if (m_state != Requested)
        return;
    if (!accept)
        return fail(PairingNotSupported);
    const Parameters peer = features(m_request);
    Parameters answer = m_local;
    answer.initiatorKeys &= peer.initiatorKeys;
    answer.responderKeys &= peer.responderKeys;
    m_response = featuresPdu(PairingResponse, answer);
    begin();
}

void SecurityManager::begin()
{
    const Parameters initiatorFeatures = features(m_request);
    const Parameters responderFeatures = features(m_response);
    m_secureConnections = initiatorFeatures.secureConnections && responderFeatures.secureConnections;
    m_keySize = qMin(initiatorFeatures.maxKeySize, responderFeatures.maxKeySize);
    m_initiatorKeys = responderFeatures.initiatorKeys;
    m_responderKeys = responderFeatures.responderKeys;
    bool initiatorDisplays = false;
    bool responderDisplays = false;
    m_method = method(initiatorFeatures, responderFeatures, m_secureConnections, &initiatorDisplays, &responderDisplays);
    m_displays = initiator() ? initiatorDisplays : responderDisplays;
    if ((m_local.mitmRequired && m_method == JustWorks) || (m_local.secureConnectionsRequired && !m_secureConnections))
        return fail(AuthenticationRequirements);
    if (m_keySize < 7)
        return fail(EncryptionKeySize);
    if (!initiator())
        m_link->send(m_end, Channel, m_response);
    m_state = Exchanging;
    m_localRandom = randomBytes(ValueBytes);
    m_peerConfirm.clear();
    m_peerRandom.clear();
    m_confirmSent = m_randomSent = m_checkSent = m_peerChecked = m_compareAsked = false;
    m_keysReceived = 0;
    m_keysSent = false;
    m_userAgreed = m_method != NumericComparison;
    if (m_method == PasskeyEntry) {
        m_tk.reset();
        m_handlers.passkeyWanted(m_displays);
    } else {
        m_tk = 0;
    }
    advance();
}

void SecurityManager::passkey(bool accept, quint32 value)
{
    if (m_state != Exchanging || m_method != PasskeyEntry || m_tk)
        return;
    if (!accept || value > PasskeyLimit)
        return fail(PasskeyEntryFailed);
    m_tk = value;
    advance();
}

void SecurityManager::compared(bool accept)
{
    if (m_state != Checking || !m_compareAsked || m_userAgreed)
        return;
    if (!accept)
        return fail(NumericComparisonFailed);
    m_userAgreed = true;
    advance();
}

// Each end commits to its random before either shows it: the initiator's confirm goes first,
// the responder answers with its own, then the randoms follow in the same order.
void SecurityManager::advance()
{
    if (m_state == Exchanging) {
        if (!m_tk)
            return;
        if (initiator()) {
            if (!m_confirmSent) {
                m_confirmSent = true;
                send(PairingConfirm, confirmValue(m_localRandom));
            }
            if (!m_peerConfirm.isEmpty() && !m_randomSent) {
                m_randomSent = true;
                send(PairingRandom, m_localRandom);
            }
        } else if (!m_peerConfirm.isEmpty() && !m_confirmSent) {
            m_confirmSent = true;
            send(PairingConfirm, confirmValue(m_localRandom));
        }
    } else if (m_state == Checking && m_userAgreed && !m_checkSent) {
        if (initiator()) {
            m_checkSent = true;
            send(DhKeyCheck, checkValue(true));
        } else if (m_peerChecked) {
            m_checkSent = true;
            m_state = Distributing;
            send(DhKeyCheck, checkValue(false));
        }
    }
}

QByteArray SecurityManager::confirmValue(const QByteArray& random) const
{
    QByteArray tk(ValueBytes, '\0');
    const quint32 value = m_tk.value_or(0);
    for (int i = 0; i < 4; ++i)
        tk[ValueBytes - 1 - i] = char((value >> (8 * i)) & 0xFF);
    const Link::Party& central = m_link->party(Link::Central);
    const Link::Party& peripheral = m_link->party(Link::Peripheral);
    return reversed(BleCrypto::c1(tk, reversed(random), reversed(m_response), reversed(m_request), central.addressType,
                                  reversed(central.address), peripheral.addressType, reversed(peripheral.address)));
}

void SecurityManager::randomReceived(const QByteArray& random)
{
    m_peerRandom = random;
    if (confirmValue(random) != m_peerConfirm)
        return fail(ConfirmValueFailed);
    if (!initiator()) {
        m_randomSent = true;
        send(PairingRandom, m_localRandom);
    }
    m_key = shortTermKey();
    if (m_method == NumericComparison) {
        m_state = Checking;
        m_compareAsked = true;
        m_handlers.compare(comparisonValue());
        return advance();
    }
    if (initiator())
        return startEncryption();
    m_state = Distributing;
}

void SecurityManager::checkReceived(const QByteArray& value)
{
    if (value != checkValue(!initiator()))
        return fail(DhKeyCheckFailed);
    m_peerChecked = true;
    if (!initiator())
        return advance();
    if (!m_checkSent)
        return fail(UnspecifiedReason);
    startEncryption();
}

QByteArray SecurityManager::checkValue(bool ofInitiator) const
{
    const QByteArray& own = initiator() == ofInitiator ? m_localRandom : m_peerRandom;
    return reversed(BleCrypto::e(reversed(m_key), reversed(own)));
}

quint32 SecurityManager::comparisonValue() const
{
    const QByteArray& initiatorRandom = initiator() ? m_localRandom : m_peerRandom;
    const QByteArray& responderRandom = initiator() ? m_peerRandom : m_localRandom;
    const QByteArray hash = BleCrypto::e(reversed(initiatorRandom), reversed(responderRandom));
    quint32 value = 0;
    for (int i = ValueBytes - 4; i < ValueBytes; ++i)
        value = value << 8 | quint8(hash.at(i));
    return value % (PasskeyLimit + 1);
}

// s1 of the TK and both randoms, cut to the agreed size: its most significant bytes zeroed.
QByteArray SecurityManager::shortTermKey() const
{
    QByteArray tk(ValueBytes, '\0');
    const quint32 value = m_tk.value_or(0);
    for (int i = 0; i < 4; ++i)
        tk[ValueBytes - 1 - i] = char((value >> (8 * i)) & 0xFF);
    const QByteArray& initiatorRandom = initiator() ? m_localRandom : m_peerRandom;
    const QByteArray& responderRandom = initiator() ? m_peerRandom : m_localRandom;
    QByteArray key = reversed(BleCrypto::s1(tk, reversed(responderRandom), reversed(initiatorRandom)));
    for (int i = m_keySize; i < ValueBytes; ++i)
        key[i] = '\0';
    return key;
}

void SecurityManager::startEncryption()
{
    m_state = Distributing;
    Link::Security security;
    security.encrypted = true;
    security.authenticated = m_method != JustWorks;
    security.secureConnections = m_secureConnections;
    security.keySize = m_keySize;
    security.key = m_key;
    m_link->encrypt(security);
}

// The responder hands over its keys first, then the initiator.
void SecurityManager::encryptionChanged()
{
    if (m_state != Distributing || !m_link->security().encrypted)
        return;
    if (!initiator())
        sendKeys();
    keysDone();
}

void SecurityManager::sendKeys()
{
    const quint8 keys = initiator() ? m_initiatorKeys : m_responderKeys;
    // Secure Connections derives the long-term key at both ends: none goes across.
    if ((keys & EncKey) && !m_secureConnections) {
        QByteArray ltk = randomBytes(ValueBytes);
        for (int i = m_keySize; i < ValueBytes; ++i)
            ltk[i] = '\0';
        // The central encrypts with the peripheral's key when it comes back.
        if (!initiator())
            m_key = ltk;
        send(EncryptionInformation, ltk);
        send(CentralIdentification, randomBytes(10));
    }
    if (keys & IdKey) {
        const Identity identity = m_handlers.identity();
        send(IdentityInformation, identity.irk);
        send(IdentityAddressInformation, char(identity.addressType) + identity.address);
    }
    if (keys & SignKey)
        send(SigningInformation, randomBytes(ValueBytes));
    m_keysSent = true;
}

void SecurityManager::keyReceived(quint8 opcode, const QByteArray& body)
{
    const int size = opcode == CentralIdentification ? 10 : opcode == IdentityAddressInformation ? 7 : ValueBytes;
    if (body.size() != size)
        return fail(InvalidParameters);
    switch (opcode) {
    case EncryptionInformation:
        if (initiator())
            m_key = body;
        break;
    case CentralIdentification:
        m_keysReceived |= EncKey;
        break;
    case IdentityInformation:
        m_outcome.peer.irk = body;
        break;
    case IdentityAddressInformation:
        m_outcome.peer.addressType = quint8(body.at(0));
        m_outcome.peer.address = body.mid(1);
        m_keysReceived |= IdKey;
        break;
    default:
        m_keysReceived |= SignKey;
        break;
    }
    keysDone();
}

quint8 SecurityManager::keysAwaited() const
{
    quint8 expected = initiator() ? m_responderKeys : m_initiatorKeys;
    if (m_secureConnections)
        expected &= quint8(~EncKey);
    return expected & quint8(~m_keysReceived) & 0x07;
}

void SecurityManager::keysDone()
{
    if (keysAwaited() != 0)
        return;
    if (initiator() && !m_keysSent)
        sendKeys();
    if (!m_keysSent)
        return;
    if (m_outcome.peer.address.isEmpty()) {
        const Link::Party& far = m_link->party(Link::other(m_end));
        m_outcome.peer.address = far.address;
        m_outcome.peer.addressType = far.addressType;
    }
    finish(Success);
}
