#pragma once

#include <optional>

#include <QJsonArray>

#include "peer.h"
#include "world/attributedatabase.h"

// A device of the world file as the far end of a link: one central at a time, and its attribute
// database, which the GATT engine will serve.
class WorldDevice final : public Peer
{
public:
    explicit WorldDevice(const QJsonArray& services);

    // Null until the first central came: a crowd of copies would otherwise hold a database each
    // that nobody reads.
    const AttributeDatabase* database() const { return m_database ? &*m_database : nullptr; }

    bool hasCentral() const override { return m_link != nullptr; }
    void linkUp(Link* link) override;
    void linkDown(Link* link, quint8 reason) override;
    // Nothing is answered until GATT is simulated.
    void received(Link* link, quint16 channel, const QByteArray& data) override;

private:
    QJsonArray m_services; // shared with the world's other copies of the device
    std::optional<AttributeDatabase> m_database;
    Link* m_link = nullptr;
};
