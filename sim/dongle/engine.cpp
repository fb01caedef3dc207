#include "engine.h"

Engine::Engine(VirtualDongle& dongle)
    : m_dongle(dongle)
{
}

Engine::~Engine() = default;

void Engine::reset()
{
}

void Engine::powerCycle()
{
    reset();
}
