#include "blecrypto.h"

#include <array>

namespace {

using Block = std::array<quint8, 16>;

const quint8 kSbox[256] = {
    0x63, 0x7c, 0x77, 0x7b, 0xf2, 0x6b, 0x6f, 0xc5, 0x30, 0x01, 0x67, 0x2b, 0xfe, 0xd7, 0xab, 0x76,
    0xca, 0x82, 0xc9, 0x7d, 0xfa, 0x59, 0x47, 0xf0, 0xad, 0xd4, 0xa2, 0xaf, 0x9c, 0xa4, 0x72, 0xc0,
    0xb7, 0xfd, 0x93, 0x26, 0x36, 0x3f, 0xf7, 0xcc, 0x34, 0xa5, 0xe5, 0xf1, 0x71, 0xd8, 0x31, 0x15,
    0x04, 0xc7, 0x23, 0xc3, 0x18, 0x96, 0x05, 0x9a, 0x07, 0x12, 0x80, 0xe2, 0xeb, 0x27, 0xb2, 0x75,
    0x09, 0x83, 0x2c, 0x1a, 0x1b, 0x6e, 0x5a, 0xa0, 0x52, 0x3b, 0xd6, 0xb3, 0x29, 0xe3, 0x2f, 0x84,
    0x53, 0xd1, 0x00, 0xed, 0x20, 0xfc, 0xb1, 0x5b, 0x6a, 0xcb, 0xbe, 0x39, 0x4a, 0x4c, 0x58, 0xcf,
    0xd0, 0xef, 0xaa, 0xfb, 0x43, 0x4d, 0x33, 0x85, 0x45, 0xf9, 0x02, 0x7f, 0x50, 0x3c, 0x9f, 0xa8,
    0x51, 0xa3, 0x40, 0x8f, 0x92, 0x9d, 0x38, 0xf5, 0xbc, 0xb6, 0xda, 0x21, 0x10, 0xff, 0xf3, 0xd2,
    0xcd, 0x0c, 0x13, 0xec, 0x5f, 0x97, 0x44, 0x17, 0xc4, 0xa7, 0x7e, 0x3d, 0x64, 0x5d, 0x19, 0x73,
    0x60, 0x81, 0x4f, 0xdc, 0x22, 0x2a, 0x90, 0x88, 0x46, 0xee, 0xb8, 0x14, 0xde, 0x5e, 0x0b, 0xdb,
    0xe0, 0x32, 0x3a, 0x0a, 0x49, 0x06, 0x24, 0x5c, 0xc2, 0xd3, 0xac, 0x62, 0x91, 0x95, 0xe4, 0x79,
    0xe7, 0xc8, 0x37, 0x6d, 0x8d, 0xd5, 0x4e, 0xa9, 0x6c, 0x56, 0xf4, 0xea, 0x65, 0x7a, 0xae, 0x08,
    0xba, 0x78, 0x25, 0x2e, 0x1c, 0xa6, 0xb4, 0xc6, 0xe8, 0xdd, 0x74, 0x1f, 0x4b, 0xbd, 0x8b, 0x8a,
    0x70, 0x3e, 0xb5, 0x66, 0x48, 0x03, 0xf6, 0x0e, 0x61, 0x35, 0x57, 0xb9, 0x86, 0xc1, 0x1d, 0x9e,
    0xe1, 0xf8, 0x98, 0x11, 0x69, 0xd9, 0x8e, 0x94, 0x9b, 0x1e, 0x87, 0xe9, 0xce, 0x55, 0x28, 0xdf,
    0x8c, 0xa1, 0x89, 0x0d, 0xbf, 0xe6, 0x42, 0x68, 0x41, 0x99, 0x2d, 0x0f, 0xb0, 0x54, 0xbb, 0x16};

quint8 xtime(quint8 x)
{
    return quint8((x << 1) ^ ((x & 0x80) ? 0x1b : 0x00));
}

Block toBlock(const QByteArray& bytes)
{
    Block block{};
    for (int i = 0; i < 16 && i < bytes.size(); ++i)
        block[size_t(i)] = quint8(bytes.at(i));
    return block;
}

// The eleven round keys of FIPS-197, one after the other.
std::array<quint8, 176> expandKey(const Block& key)
{
    std::array<quint8, 176> keys{};
    std::copy(key.begin(), key.end(), keys.begin());
    quint8 rcon = 1;
    for (size_t i = 16; i < keys.size(); i += 4) {
        quint8 word[4] = {keys[i - 4], keys[i - 3], keys[i - 2], keys[i - 1]};
        if (i % 16 == 0) {
            const quint8 first = word[0];
            word[0] = quint8(kSbox[word[1]] ^ rcon);
            word[1] = kSbox[word[2]];
            word[2] = kSbox[word[3]];
            word[3] = kSbox[first];
            rcon = xtime(rcon);
        }
        for (size_t j = 0; j < 4; ++j)
            keys[i + j] = quint8(keys[i + j - 16] ^ word[j]);
    }
    return keys;
}

void addRoundKey(Block& state, const std::array<quint8, 176>& keys, int round)
{
    for (size_t i = 0; i < 16; ++i)
        state[i] ^= keys[size_t(round) * 16 + i];
}

// SubBytes and ShiftRows together; the state is column by column.
void substituteAndShift(Block& state)
{
    Block next{};
    for (size_t column = 0; column < 4; ++column) {
        for (size_t row = 0; row < 4; ++row)
            next[column * 4 + row] = kSbox[state[((column + row) % 4) * 4 + row]];
    }
    state = next;
}

void mixColumns(Block& state)
{
    for (size_t column = 0; column < 4; ++column) {
        quint8* c = &state[column * 4];
        const quint8 all = quint8(c[0] ^ c[1] ^ c[2] ^ c[3]);
        const quint8 first = c[0];
        c[0] ^= quint8(all ^ xtime(quint8(c[0] ^ c[1])));
        c[1] ^= quint8(all ^ xtime(quint8(c[1] ^ c[2])));
        c[2] ^= quint8(all ^ xtime(quint8(c[2] ^ c[3])));
        c[3] ^= quint8(all ^ xtime(quint8(c[3] ^ first)));
    }
}

} // namespace

namespace BleCrypto {

QByteArray e(const QByteArray& key, const QByteArray& plaintext)
{
    const std::array<quint8, 176> keys = expandKey(toBlock(key));
    Block state = toBlock(plaintext);
    addRoundKey(state, keys, 0);
    for (int round = 1; round < 10; ++round) {
        substituteAndShift(state);
        mixColumns(state);
        addRoundKey(state, keys, round);
    }
    substituteAndShift(state);
    addRoundKey(state, keys, 10);
    return QByteArray(reinterpret_cast<const char*>(state.data()), 16);
}

quint32 ah(const QByteArray& irk, quint32 prand)
{
    QByteArray padded(16, '\0');
    padded[13] = char((prand >> 16) & 0xFF);
    padded[14] = char((prand >> 8) & 0xFF);
    padded[15] = char(prand & 0xFF);
    const QByteArray out = e(irk, padded);
    return quint32(quint8(out.at(13))) << 16 | quint32(quint8(out.at(14))) << 8 | quint8(out.at(15));
}

QByteArray c1(const QByteArray& k, const QByteArray& r, const QByteArray& pres, const QByteArray& preq, quint8 iat,
              const QByteArray& ia, quint8 rat, const QByteArray& ra)
{
    const QByteArray p1 = pres + preq + char(rat & 1) + char(iat & 1);
    const QByteArray p2 = QByteArray(4, '\0') + ia + ra;
    QByteArray block = r;
    for (int i = 0; i < 16; ++i)
        block[i] = char(block.at(i) ^ p1.at(i));
    block = e(k, block);
    for (int i = 0; i < 16; ++i)
        block[i] = char(block.at(i) ^ p2.at(i));
    return e(k, block);
}

QByteArray s1(const QByteArray& k, const QByteArray& r1, const QByteArray& r2)
{
    // The least significant halves of both randoms, r1's in front.
    return e(k, r1.right(8) + r2.right(8));
}

QByteArray resolvableAddress(const QByteArray& irk, quint32 random)
{
    // The two top bits 0b01 mark the address resolvable.
    const quint32 prand = (random & 0x3FFFFF) | 0x400000;
    const quint32 hash = ah(irk, prand);
    QByteArray address(6, '\0');
    for (int i = 0; i < 3; ++i) {
        address[i] = char((hash >> (8 * i)) & 0xFF);
        address[3 + i] = char((prand >> (8 * i)) & 0xFF);
    }
    return address;
}

bool resolves(const QByteArray& irk, const QByteArray& address)
{
    if (address.size() != 6 || (quint8(address.at(5)) & 0xC0) != 0x40)
        return false;
    quint32 hash = 0;
    quint32 prand = 0;
    for (int i = 2; i >= 0; --i) {
        hash = hash << 8 | quint8(address.at(i));
        prand = prand << 8 | quint8(address.at(3 + i));
    }
    return ah(irk, prand) == hash;
}

} // namespace BleCrypto
