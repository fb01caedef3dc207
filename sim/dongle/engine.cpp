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

void Engine::linkOpened(int, Link*)
{
}

void Engine::linkEncrypted(int)
{
}

void Engine::linkEnding(int, quint8)
{
}

void Engine::linkClosed(int)
{
}
