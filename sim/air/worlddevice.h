#pragma once

#include <memory>
#include <optional>

#include <QJsonArray>

#include "attributeserver.h"
#include "controllerinfo.h"
#include "isostreams.h"
#include "l2capserver.h"
#include "peer.h"
#include "securitymanager.h"
#include "virtualadvertiser.h"
#include "world/attributedatabase.h"

// A device of the world file as the far end of a link: one central at a time, its link layer as
// the file tells it, its attribute database, which it serves to its central, its PSMs, and the
// isochronous streams it takes when its file says so.
class WorldDevice final : public Peer
{
public:
    // `seed` draws the measurements of its varying values.
    explicit WorldDevice(const VirtualAdvertiser& device, quint32 seed = 0);
    ~WorldDevice() override;

    // Null until the first central came: a crowd of copies would otherwise hold a database each
    // that nobody reads.
    const AttributeDatabase* database() const { return m_database ? &*m_database : nullptr; }

    bool acceptsCentral() const override { return m_link == nullptr; }
    const ControllerInfo& controller() const override { return m_controller; }
    void linkUp(Link* link) override;
    void linkDown(Link* link, quint8 reason) override;
    // The attribute protocol's requests go to its server, the link layer's control PDUs and the
    // streams' to its streams, L2CAP to its channels; a device of the world asks nothing.
    void received(Link* link, quint16 channel, const QByteArray& data) override;
    // A device of the world takes what its central asks for.
    void parametersRequested(Link* link, const Link::ParameterRequest& request) override;
    void linkChanged(Link* link, Link::Change change, quint8 error) override;
    std::optional<quint32> shownPasskey(const Link* link) const override;

    // SDUs received that wait to be sent back, at most, on each stream.
    static constexpr int MaxEchoes = 8;

private:
    IsoStreams::Handlers streamHandlers();
    // Its user at the pairing: agrees to everything and reads the passkey off the device's display.
    SecurityManager::Handlers securityHandlers();
    // The user types the passkey that the other end shows, once it shows one.
    void typePasskey(Link* link);

    QJsonArray m_services; // shared with the world's other copies of the device
    ControllerInfo m_controller;
    quint32 m_seed = 0;
    std::optional<AttributeDatabase> m_database;
    std::unique_ptr<AttributeServer> m_server;
    QVector<L2capService> m_l2capServices;
    int m_l2capChannels = 0;
    std::unique_ptr<L2capServer> m_l2cap; // while a central is connected
    bool m_cis = false;
    SecurityManager::Parameters m_securityParameters;
    int m_passkey = -1;
    std::unique_ptr<SecurityManager> m_security; // while a central is connected
    std::unique_ptr<IsoStreams> m_streams; // while a central is connected
    Link* m_link = nullptr;
};
