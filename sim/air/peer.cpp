#include "peer.h"

Peer::~Peer() = default;

std::optional<quint32> Peer::shownPasskey(const Link*) const
{
    return std::nullopt;
}
