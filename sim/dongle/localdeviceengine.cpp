#include "localdeviceengine.h"

#include <QRegularExpression>

#include "advertiserengine.h"
#include "proto/request.h"
#include "proto/simframe.h"
#include "router.h"
#include "virtualdongle.h"

using SimFrame::le16;
using SimFrame::u8;

namespace {

// The keys of Peripheral Preferred Connection Parameters Set, which its Get answers with.
const char* const PreferredParameterKeys[] = {"per_interval_min", "per_interval_max", "per_conn_latency",
                                              "per_supervision_timeout"};

// The link layer's data lengths of Bluetooth 5.0: the least every controller takes, the most it may.
constexpr quint16 DefaultTxOctets = 27;
constexpr quint16 DefaultTxTime = 328;
constexpr quint16 MaxOctets = 251;
constexpr quint16 MaxTime = 2120;
constexpr qint8 MinTxPower = -20; // dBm
constexpr qint8 MaxTxPower = 10;

// The controller and the link layer of Bluetooth 5.0.
constexpr quint8 CoreVersion = 9;
constexpr quint16 ManufacturerId = 0xFFFF; // none assigned: for tests

// The host's version and subversion from the firmware's version text: "2.3.17" is 2 and 317.
QPair<int, int> hostVersion(const QString& text)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d+)\\.(\\d+)(?:\\.(\\d+))?"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return {0, 0};
    return {qMin(match.captured(1).toInt(), 255), qMin(match.captured(2).toInt() * 100 + match.captured(3).toInt(), 65535)};
}

} // namespace

LocalDeviceEngine::LocalDeviceEngine(VirtualDongle& dongle)
    : Engine(dongle)
{
    restoreDefaults();
}

void LocalDeviceEngine::restoreDefaults()
{
    // 00:00:5E:00:53:xx lies in the range set aside for documentation.
    m_identityAddress = QByteArray::fromHex("0053005E0000");
    m_identityAddress[0] = char(0x10 + m_dongle.number());
    m_identityAddressType = 0;
    m_deviceType = 1;
    m_deviceName = QStringLiteral("Tarvine Sim %1").arg(m_dongle.number()).toUtf8();
    m_appearance = 0x0080;
    const QByteArray preferred[] = {le16(0x0018), le16(0x0028), le16(0x0000), le16(0x01F4)};
    for (int i = 0; i < 4; ++i)
        m_preferredParameters.insert(QLatin1String(PreferredParameterKeys[i]), preferred[i]);
    m_profiles = {QByteArray("\x01", 1) + "Battery Service", QByteArray("\x02", 1) + "Heart Rate",
                  QByteArray("\x03", 1) + "Device Information"};
    m_enabledProfiles.clear();
    m_settings.clear();
    m_rfCalibration = 0;
}

void LocalDeviceEngine::powerCycle()
{
    restoreDefaults();
}

void LocalDeviceEngine::install(Router& router)
{
    VirtualDongle& d = m_dongle;
    router.add(0x00, 0x03, Router::AnyLength, [this, &d](const Request&) { // Device Type Get
        d.ack(0x00, 0x03, 0);
        d.respond(0x00, 0x03, {{"type", u8(m_deviceType)}});
    });
    router.add(0x01, 0x6F, Router::AnyLength, [&d](const Request&) { // Device Version Get
        const QPair<int, int> host = hostVersion(d.firmwareVersion());
        d.ack(0x01, 0x6F, 0);
        d.respond(0x01, 0x70, {{"hci_ver", u8(CoreVersion)}, {"lmp_ver", u8(CoreVersion)}, {"host_ver", u8(host.first)},
                               {"hci_subver", le16(0)}, {"lmp_subver", le16(0)}, {"host_subver", le16(host.second)},
                               {"manuf_name", le16(ManufacturerId)}});
    });
    router.add(0x01, 0x47, Router::AnyLength, [this, &d](const Request&) { // Device BD_Address Get
        d.ack(0x01, 0x47, 0);
        d.respond(0x01, 0x48, {{"identity_addr", m_identityAddress}, {"identity_addr_type", u8(m_identityAddressType)}});
    });
    router.add(0x01, 0x5B, Router::AnyLength, [this, &d](const Request&) { // Device Name Get
        d.ack(0x01, 0x5B, 0);
        d.respond(0x01, 0x5C, char(m_deviceName.size()) + m_deviceName);
    });
    router.add(0x01, 0x5F, Router::AnyLength, [this, &d](const Request&) { // Appearance Get
        d.ack(0x01, 0x5F, 0);
        d.respond(0x01, 0x60, {{"appearance", le16(m_appearance)}});
    });
    router.add(0x01, 0x63, Router::AnyLength, [this, &d](const Request&) { // Peripheral Preferred Connection Parameters Get
        d.ack(0x01, 0x63, 0);
        Responder::Fields fields;
        for (const char* key : PreferredParameterKeys)
            fields.append({key, m_preferredParameters.value(QLatin1String(key))});
        d.respond(0x01, 0x64, fields);
    });
    router.add(0x05, 0x01, Router::AnyLength, [this, &d](const Request&) { // Get Profile ID
        d.ack(0x05, 0x01, 0);
        QByteArray items;
        for (const QByteArray& profile : qAsConst(m_profiles))
            items.append(char(profile.size())).append(profile);
        d.respond(0x05, 0x02, items);
    });
    router.add(0x01, 0x73, Router::AnyLength, [this, &d](const Request&) { // Suggested Default Data Length Info Get
        // What Data Length Set stored, octets then time, or the controller's defaults.
        const QByteArray set = m_settings.value(QStringLiteral("01@41"), le16(DefaultTxOctets) + le16(DefaultTxTime));
        d.ack(0x01, 0x73, 0);
        d.respond(0x01, 0x74, {{"sugg_max_tx_octet", set.left(2)}, {"sugg_max_tx_time", set.mid(2, 2)}});
    });
    router.add(0x01, 0x75, Router::AnyLength, [&d](const Request&) { // Max Data Length Info Get
        d.ack(0x01, 0x75, 0);
        d.respond(0x01, 0x76, {{"sugg_max_tx_octets", le16(MaxOctets)}, {"sugg_max_tx_time", le16(MaxTime)},
                               {"sugg_max_rx_octets", le16(MaxOctets)}, {"sugg_max_rx_time", le16(MaxTime)}});
    });
    router.add(0x01, 0x77, Router::AnyLength, [&d](const Request&) { // Number of Available Adv Sets Get
        d.ack(0x01, 0x77, 0);
        d.respond(0x01, 0x78, {{"nb_adv_sets", u8(AdvertiserEngine::SetCount)}});
    });
    router.add(0x01, 0x79, Router::AnyLength, [&d](const Request&) { // Maximum Adv Data Length Get
        d.ack(0x01, 0x79, 0);
        d.respond(0x01, 0x7A, {{"max_adv_length", le16(AdvertiserEngine::ExtendedDataMax)}});
    });
    router.add(0x01, 0x7B, Router::AnyLength, [&d](const Request&) { // TX Power Get
        d.ack(0x01, 0x7B, 0);
        d.respond(0x01, 0x7C, {{"max_tx_pwr", u8(quint8(MaxTxPower))}, {"min_tx_pwr", u8(quint8(MinTxPower))}});
    });
    router.add(0x01, 0x7D, Router::AnyLength, [this, &d](const Request&) { // RF Path Compensation Values Get
        const QByteArray set = m_settings.value(QStringLiteral("01@6D"), QByteArray(4, '\0'));
        d.ack(0x01, 0x7D, 0);
        d.respond(0x01, 0x7E, {{"tx_path_comp", set.left(2)}, {"rx_path_comp", set.mid(2, 2)}});
    });
    router.add(0x01, 0x83, Router::WholePayload, [this, &d](const Request& r) { // RF Calibration Set
        m_rfCalibration = quint16(r.number(QStringLiteral("rf_value")));
        d.ack(0x01, 0x83, 0);
    });
    router.add(0x01, 0x45, Router::WholePayload, [this, &d](const Request& r) { // Identity Address Set
        m_identityAddress = r.field(QStringLiteral("identity_addr"));
        m_identityAddressType = quint8(r.number(QStringLiteral("identity_addr_type")));
        d.ack(0x01, 0x45, 0);
    });
    router.add(0x01, 0x59, Router::AnyLength, [this](const Request& r) { setDeviceName(r); });
    router.add(0x01, 0x5D, Router::WholePayload, [this, &d](const Request& r) { // Appearance Set
        m_appearance = quint16(r.number(QStringLiteral("appearance")));
        d.ack(0x01, 0x5D, 0);
    });
    router.add(0x01, 0x61, Router::WholePayload, [this, &d](const Request& r) { // Peripheral Preferred Connection Parameters Set
        for (const char* key : PreferredParameterKeys)
            m_preferredParameters.insert(QLatin1String(key), r.field(QLatin1String(key)));
        d.ack(0x01, 0x61, 0);
    });
    router.add(0x05, 0x03, Router::AnyLength, [this, &d](const Request& r) { // Set Profile ID: the ids to enable
        m_enabledProfiles = r.field(QStringLiteral("profile"));
        d.ack(0x05, 0x03, 0);
        d.respond(0x05, 0x04, {{"status", u8(0)}});
    });
    // Settings that the dongle takes and the host never reads back.
    const QVector<QPair<quint8, quint8>> settings = {
        {0x04, 0x11}, // L2CAP Parameters Settings
        {0x01, 0x41}, // Data Length Set
        {0x01, 0x65}, // Privacy Set
        {0x01, 0x6B}, // Preferred PHY Set
        {0x01, 0x6D}, // RF Path Compensation Set
        {0x02, 0x09}, // Set Security Pair Enable
        {0x02, 0x01}, // Set Security Parameter
        {0x01, 0x8D}, // Log printf set
    };
    for (const auto& id : settings) {
        router.add(id.first, id.second, Router::WholePayload, [this, &d](const Request& r) {
            m_settings.insert(r.id(), r.payload());
            d.ack(r.module(), r.opcode(), 0);
        });
    }
}

// A length byte, then the name: the tool builds this frame by hand, so the row has no fields.
void LocalDeviceEngine::setDeviceName(const Request& request)
{
    const QByteArray& payload = request.payload();
    if (payload.isEmpty() || quint8(payload.at(0)) + 1 != payload.size()) {
        m_dongle.ack(0x01, 0x59, VirtualDongle::StatusInvalidDataLength);
        m_dongle.sendLog(QStringLiteral("Device Name Set: name length byte does not match the payload"));
        return;
    }
    m_deviceName = payload.mid(1);
    m_dongle.ack(0x01, 0x59, 0);
}
