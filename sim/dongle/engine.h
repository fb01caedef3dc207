#pragma once

#include <QtGlobal>

class Link;
class Router;
class VirtualDongle;

// One subsystem of a dongle. It installs its command handlers in the dongle's router and follows
// the dongle's life cycle; it talks to the host only through the dongle.
class Engine
{
public:
    explicit Engine(VirtualDongle& dongle);
    virtual ~Engine();

    virtual void install(Router& router) = 0;
    // The host's Reset: procedures end, what the host configured stays.
    virtual void reset();
    // Unplugged and plugged in again: back to the defaults.
    virtual void powerCycle();
    // A link of the dongle, as central or peripheral, stands or has ended.
    virtual void linkOpened(int condix, Link* link);
    // A link is ending with this reason, and the host has not heard DD@01@08 yet: what ends with it
    // and tells the host so comes first, as a controller tells it.
    virtual void linkEnding(int condix, quint8 reason);
    // The link layer encrypted a link.
    virtual void linkEncrypted(int condix);
    virtual void linkClosed(int condix);

protected:
    VirtualDongle& m_dongle;
};
