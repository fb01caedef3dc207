#include <QtTest>

#include "air/link.h"
#include "air/peer.h"
#include "air/securitymanager.h"

namespace {

using Parameters = SecurityManager::Parameters;

// What the person at one end does when the security manager asks.
struct User {
    bool acceptPeer = true;
    bool passkeyOk = true;
    int typo = 0; // added to the passkey that this user reads off the other end
    bool comparesYes = true;
};

// One end of a link with a security manager and a person who answers it.
class End final : public Peer
{
public:
    End(const Parameters& parameters, const User& user, const QByteArray& address)
        : parameters(parameters)
        , user(user)
        , address(address)
    {
    }

    bool acceptsCentral() const override { return true; }
    const ControllerInfo& controller() const override { return m_controller; }
    void linkUp(Link* link) override
    {
        SecurityManager::Handlers h;
        h.parameters = [this] { return parameters; };
        h.identity = [this] {
            return SecurityManager::Identity{QByteArray(16, char(address.at(0))), address, 0};
        };
        h.requested = [this] { manager->acceptPairing(user.acceptPeer); };
        h.passkeyWanted = [this, link](bool display) {
            if (display)
                return manager->passkey(user.passkeyOk, 123456);
            // Both type: the users agreed on one; else read the far end's display once it shows.
            typeWhenShown(link);
        };
        h.compare = [this](quint32 value) {
            compared = value;
            manager->compared(user.comparesYes);
        };
        h.finished = [this](quint8 reason, const SecurityManager::Outcome& o) {
            result = reason;
            outcome = o;
        };
        manager = std::make_unique<SecurityManager>(link, link->endOf(this), h);
    }
    void linkDown(Link*, quint8) override {}
    void received(Link*, quint16 channel, const QByteArray& data) override
    {
        if (channel == SecurityManager::Channel)
            manager->received(data);
    }
    void parametersRequested(Link*, const Link::ParameterRequest&) override {}
    void linkChanged(Link*, Link::Change change, quint8) override
    {
        if (change == Link::EncryptionChanged)
            manager->encryptionChanged();
    }
    std::optional<quint32> shownPasskey(const Link*) const override { return manager->shownPasskey(); }

    void typeWhenShown(Link* link)
    {
        const Peer* far = link->party(Link::other(link->endOf(this))).peer;
        const std::optional<quint32> shown = far->shownPasskey(link);
        if (shown || parameters.io == SecurityManager::KeyboardOnly) {
            const quint32 value = shown ? *shown : 654321;
            return manager->passkey(user.passkeyOk, value + user.typo);
        }
        link->after(1, [this, link] { typeWhenShown(link); });
    }

    Parameters parameters;
    User user;
    QByteArray address;
    std::unique_ptr<SecurityManager> manager;
    int result = -1;
    SecurityManager::Outcome outcome;
    std::optional<quint32> compared;

private:
    ControllerInfo m_controller;
};

Parameters features(quint8 io, bool mitm, bool sc = false)
{
    Parameters p;
    p.io = io;
    p.mitm = mitm;
    p.secureConnections = sc;
    return p;
}

} // namespace

Q_DECLARE_METATYPE(Parameters)
Q_DECLARE_METATYPE(User)

class tst_SecurityManager : public QObject
{
    Q_OBJECT

private slots:
    // The core's table of association models, and who shows the passkey.
    void method_data()
    {
        QTest::addColumn<int>("initiatorIo");
        QTest::addColumn<int>("responderIo");
        QTest::addColumn<bool>("secureConnections");
        QTest::addColumn<int>("method");
        QTest::addColumn<QString>("displays");
        using S = SecurityManager;
        QTest::newRow("keyboard types, display shows") << int(S::KeyboardOnly) << int(S::DisplayOnly) << false << int(S::PasskeyEntry) << "responder";
        QTest::newRow("display shows, keyboard types") << int(S::DisplayYesNo) << int(S::KeyboardOnly) << false << int(S::PasskeyEntry) << "initiator";
        QTest::newRow("two keyboards both type") << int(S::KeyboardOnly) << int(S::KeyboardOnly) << false << int(S::PasskeyEntry) << "";
        QTest::newRow("two keyboard-displays, legacy") << int(S::KeyboardDisplay) << int(S::KeyboardDisplay) << false << int(S::PasskeyEntry) << "initiator";
        QTest::newRow("keyboard-display to a display") << int(S::KeyboardDisplay) << int(S::DisplayYesNo) << false << int(S::PasskeyEntry) << "responder";
        QTest::newRow("two yes/no displays compare with SC") << int(S::DisplayYesNo) << int(S::KeyboardDisplay) << true << int(S::NumericComparison) << "";
        QTest::newRow("two yes/no displays, legacy") << int(S::DisplayYesNo) << int(S::DisplayYesNo) << false << int(S::JustWorks) << "";
        QTest::newRow("no input, no output") << int(S::NoInputNoOutput) << int(S::KeyboardDisplay) << true << int(S::JustWorks) << "";
    }
    void method()
    {
        QFETCH(int, initiatorIo);
        QFETCH(int, responderIo);
        QFETCH(bool, secureConnections);
        bool initiatorDisplays = false;
        bool responderDisplays = false;
        const int chosen = SecurityManager::method(features(quint8(initiatorIo), true), features(quint8(responderIo), false),
                                                   secureConnections, &initiatorDisplays, &responderDisplays);
        QTEST(chosen, "method");
        QTEST(QString(initiatorDisplays ? "initiator" : responderDisplays ? "responder" : ""), "displays");
        // Without MITM on either side it is always Just Works.
        QCOMPARE(SecurityManager::method(features(quint8(initiatorIo), false), features(quint8(responderIo), false),
                                         secureConnections),
                 SecurityManager::JustWorks);
    }

    // A whole pairing between two ends, with the result each end reports.
    void pairing_data()
    {
        QTest::addColumn<Parameters>("initiator");
        QTest::addColumn<Parameters>("responder");
        QTest::addColumn<User>("initiatorUser");
        QTest::addColumn<User>("responderUser");
        QTest::addColumn<int>("result");
        QTest::addColumn<bool>("authenticated");
        using S = SecurityManager;
        const Parameters keyboard = features(S::KeyboardOnly, true);
        const Parameters display = features(S::DisplayOnly, true);
        const Parameters yesNo = features(S::DisplayYesNo, true, true);
        Parameters demanding = features(S::DisplayOnly, false);
        demanding.mitmRequired = true;
        Parameters closed = display;
        closed.pairable = false;
        User typo;
        typo.typo = 1;
        User noPasskey;
        noPasskey.passkeyOk = false;
        User noPeer;
        noPeer.acceptPeer = false;
        User differs;
        differs.comparesYes = false;
        QTest::newRow("just works") << features(S::NoInputNoOutput, false) << features(S::NoInputNoOutput, false)
                                    << User() << User() << 0 << false;
        QTest::newRow("passkey typed right") << keyboard << display << User() << User() << 0 << true;
        QTest::newRow("passkey typed wrong") << keyboard << display << typo << User() << int(S::ConfirmValueFailed) << false;
        QTest::newRow("passkey entry refused") << keyboard << display << noPasskey << User() << int(S::PasskeyEntryFailed) << false;
        QTest::newRow("both type the same") << keyboard << keyboard << User() << User() << 0 << true;
        QTest::newRow("comparison agreed") << yesNo << yesNo << User() << User() << 0 << true;
        QTest::newRow("comparison refused") << yesNo << yesNo << User() << differs << int(S::NumericComparisonFailed) << false;
        QTest::newRow("MITM asked, no way to give it")
            << features(S::NoInputNoOutput, false) << demanding << User() << User() << int(S::AuthenticationRequirements) << false;
        QTest::newRow("responder not pairable") << keyboard << closed << User() << User() << int(S::PairingNotSupported) << false;
        QTest::newRow("responder's user says no") << keyboard << display << User() << noPeer << int(S::PairingNotSupported) << false;
    }
    void pairing()
    {
        QFETCH(Parameters, initiator);
        QFETCH(Parameters, responder);
        QFETCH(User, initiatorUser);
        QFETCH(User, responderUser);
        QFETCH(int, result);
        End central(initiator, initiatorUser, QByteArray::fromHex("010000000000"));
        End peripheral(responder, responderUser, QByteArray::fromHex("020000000000"));
        QPointer<Link> link = new Link({&central, central.address, 0}, {&peripheral, peripheral.address, 0}, {}, -50, this);
        link->open();
        QVERIFY(central.manager->start());
        QVERIFY(!central.manager->start());
        QTRY_COMPARE(central.result, result);
        QTRY_COMPARE(peripheral.result, result);
        QCOMPARE(central.compared, peripheral.compared);
        if (result == 0) {
            QTEST(central.outcome.security.authenticated, "authenticated");
            QCOMPARE(central.outcome.security.key, peripheral.outcome.security.key);
            QCOMPARE(link->security().encrypted, true);
        } else {
            QCOMPARE(link->security().encrypted, false);
            QCOMPARE(central.manager->lastFailure(), quint8(result));
        }
        QVERIFY(!central.manager->isPairing() && !peripheral.manager->isPairing());
        delete link;
    }

    // Bonding on both sides hands over identities and a long-term key cut to the agreed size;
    // a peripheral's security request makes the central start.
    void bondWithKeys()
    {
        Parameters initiator = features(SecurityManager::NoInputNoOutput, false);
        initiator.bond = true;
        initiator.maxKeySize = 10;
        initiator.initiatorKeys = initiator.responderKeys = SecurityManager::EncKey | SecurityManager::IdKey;
        Parameters responder = initiator;
        responder.maxKeySize = 16;
        responder.initiatorKeys = SecurityManager::IdKey;
        End central(initiator, User(), QByteArray::fromHex("0A0000000000"));
        End peripheral(responder, User(), QByteArray::fromHex("0B0000000000"));
        QPointer<Link> link = new Link({&central, central.address, 0}, {&peripheral, peripheral.address, 0}, {}, -50, this);
        link->open();
        QVERIFY(peripheral.manager->start());
        QTRY_COMPARE(central.result, 0);
        QTRY_COMPARE(peripheral.result, 0);
        QVERIFY(central.outcome.bonded && peripheral.outcome.bonded);
        QCOMPARE(central.outcome.peer.address, peripheral.address);
        QCOMPARE(central.outcome.peer.irk, QByteArray(16, '\x0B'));
        QCOMPARE(peripheral.outcome.peer.irk, QByteArray(16, '\x0A'));
        const QByteArray key = central.outcome.security.key;
        QCOMPARE(key, peripheral.outcome.security.key);
        QCOMPARE(key.mid(10), QByteArray(6, '\0'));
        QCOMPARE(central.outcome.security.keySize, 10);
        delete link;
    }
};

QTEST_GUILESS_MAIN(tst_SecurityManager)
#include "tst_securitymanager.moc"
