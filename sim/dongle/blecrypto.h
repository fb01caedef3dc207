#pragma once

#include <QByteArray>

// The security functions of the Bluetooth core that a controller computes itself: the block
// cipher e and the random address hash ah. Keys and blocks are most significant byte first, as
// the core's sample data writes them; the wire carries them the other way round.
namespace BleCrypto {

// AES-128 of one 16-byte block under a 16-byte key.
QByteArray e(const QByteArray& key, const QByteArray& plaintext);
// The 24-bit hash of a 24-bit prand under an identity resolving key.
quint32 ah(const QByteArray& irk, quint32 prand);
// A resolvable private address, 6 bytes in wire order, from a key and 22 random bits.
QByteArray resolvableAddress(const QByteArray& irk, quint32 random);
// Whether a 6-byte address in wire order was made from this key.
bool resolves(const QByteArray& irk, const QByteArray& address);

} // namespace BleCrypto
