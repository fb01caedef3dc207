#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVector>

#include "engine.h"

class Request;

// The dongle's own identity and abilities: address, name, appearance, preferred connection
// parameters, profiles, data lengths, radio settings, and the settings that have no Get.
class LocalDeviceEngine final : public Engine
{
public:
    explicit LocalDeviceEngine(VirtualDongle& dongle);

    void install(Router& router) override;
    void powerCycle() override;

    QByteArray identityAddress() const { return m_identityAddress; }
    quint8 identityAddressType() const { return m_identityAddressType; }
    quint16 rfCalibration() const { return m_rfCalibration; }

private:
    void restoreDefaults();
    void setDeviceName(const Request& request);

    QByteArray m_identityAddress;
    quint8 m_identityAddressType = 0;
    quint8 m_deviceType = 1;
    QByteArray m_deviceName;
    quint16 m_appearance = 0;
    QHash<QString, QByteArray> m_preferredParameters; // by the keys of the Set, as it last came
    QVector<QByteArray> m_profiles; // items: id byte then name
    QByteArray m_enabledProfiles;
    quint16 m_rfCalibration = 0; // the crystal's offset, as the host last set it
    QHash<QString, QByteArray> m_settings; // payloads of Set commands without a Get
};
