#include "peer.h"

Peer::~Peer() = default;
