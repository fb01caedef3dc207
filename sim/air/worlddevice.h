#pragma once

#include "peer.h"
#include "world/attributedatabase.h"

class QJsonArray;

// A device of the world file as the far end of a link: one central at a time, and its attribute
// database, which the GATT engine will serve.
class WorldDevice final : public Peer
{
public:
    explicit WorldDevice(const QJsonArray& services);

    bool hasCentral() const override { return m_link != nullptr; }
    void linkUp(Link* link) override;
    void linkDown(Link* link, quint8 reason) override;
    // Nothing is answered until GATT is simulated.
    void received(Link* link, quint16 channel, const QByteArray& data) override;

private:
    AttributeDatabase m_database;
    Link* m_link = nullptr;
};
