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
// LE legacy pairing's confirm value: `r` the 128-bit random, `pres` and `preq` the 7-byte pairing
// response and request (their first byte on the wire least significant), the address types
// `iat`, `rat` (0 public, 1 random) and the 6-byte addresses `ia`, `ra` of initiator and responder.
QByteArray c1(const QByteArray& k, const QByteArray& r, const QByteArray& pres, const QByteArray& preq, quint8 iat,
              const QByteArray& ia, quint8 rat, const QByteArray& ra);
// LE legacy pairing's short-term key from the responder's and the initiator's randoms.
QByteArray s1(const QByteArray& k, const QByteArray& r1, const QByteArray& r2);
// A resolvable private address, 6 bytes in wire order, from a key and 22 random bits.
QByteArray resolvableAddress(const QByteArray& irk, quint32 random);
// Whether a 6-byte address in wire order was made from this key.
bool resolves(const QByteArray& irk, const QByteArray& address);

} // namespace BleCrypto
