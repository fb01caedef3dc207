#pragma once

#include <optional>

#include <QByteArray>

#include "link.h"

// What stands at an end of a link: a device of the world, or a dongle as central or peripheral.
// The link tells it what happens; a peer never deletes a link, and forgets it once it is down.
class Peer
{
public:
    virtual ~Peer();

    // False once it takes no further central: then it stops its connectable advertising. A device
    // of the world takes one central, a dongle as many as its links allow.
    virtual bool acceptsCentral() const = 0;
    // Its link layer's version, features and PHYs, as the far end learns them.
    virtual const ControllerInfo& controller() const = 0;
    virtual void linkUp(Link* link) = 0;
    virtual void linkDown(Link* link, quint8 reason) = 0;
    // Data from the other end, at a connection event.
    virtual void received(Link* link, quint16 channel, const QByteArray& data) = 0;
    // The far end asks for new connection parameters; the answer goes by Link::answerRequest.
    virtual void parametersRequested(Link* link, const Link::ParameterRequest& request) = 0;
    // A procedure ended: the link's parameters, data length or PHY are as they now stand, or,
    // with `error`, the far end refused what this end asked for.
    virtual void linkChanged(Link* link, Link::Change change, quint8 error) = 0;
    // The passkey that this end shows for a pairing on the link, while it shows one.
    virtual std::optional<quint32> shownPasskey(const Link* link) const;
};
