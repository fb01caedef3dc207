#pragma once

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

protected:
    VirtualDongle& m_dongle;
};
