#pragma once

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
    virtual void linkClosed(int condix);

protected:
    VirtualDongle& m_dongle;
};
