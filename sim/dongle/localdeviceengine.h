#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVector>

#include "engine.h"

class Request;

// The dongle's own identity and lists: address, name, appearance, preferred connection
// parameters, profiles, the white list, and the settings that have no Get.
class LocalDeviceEngine final : public Engine
{
public:
    static constexpr int WhitelistSize = 10;

    explicit LocalDeviceEngine(VirtualDongle& dongle);

    void install(Router& router) override;
    void reset() override;
    void powerCycle() override;

    // Entries of 7 bytes: address in wire order, then its type.
    const QVector<QByteArray>& whitelist() const { return m_whitelist; }
    QByteArray identityAddress() const { return m_identityAddress; }
    quint8 identityAddressType() const { return m_identityAddressType; }

private:
    void restoreDefaults();
    void editWhitelist(const Request& request, bool add);
    void setDeviceName(const Request& request);

    QByteArray m_identityAddress;
    quint8 m_identityAddressType = 0;
    quint8 m_deviceType = 1;
    QByteArray m_deviceName;
    quint16 m_appearance = 0;
    QHash<QString, QByteArray> m_preferredParameters; // by the keys of the Set, as it last came
    QVector<QByteArray> m_profiles; // items: id byte then name
    QByteArray m_enabledProfiles;
    QVector<QByteArray> m_whitelist;
    QHash<QString, QByteArray> m_settings; // payloads of Set commands without a Get
};
