#pragma once

#include <QByteArray>

class Link;

// What stands at an end of a link: a device of the world, or a dongle as central or peripheral.
// The link tells it what happens; a peer never deletes a link, and forgets it once it is down.
class Peer
{
public:
    virtual ~Peer();

    // A peripheral with a central stops its connectable advertising and takes no other central.
    virtual bool hasCentral() const = 0;
    virtual void linkUp(Link* link) = 0;
    virtual void linkDown(Link* link, quint8 reason) = 0;
    // Data from the other end, at a connection event.
    virtual void received(Link* link, quint16 channel, const QByteArray& data) = 0;
};
