#pragma once

#include <cstddef>
#include <cstdint>

#include <QByteArray>

// Reads a fuzz input from the front: small numbers that steer a target, then the rest as bytes.
class FuzzInput
{
public:
    FuzzInput(const uint8_t* data, size_t size)
        : m_data(data)
        , m_size(size)
    {
    }

    bool atEnd() const { return m_pos >= m_size; }
    // One byte, 0 once the input is used up.
    quint8 byte() { return atEnd() ? 0 : m_data[m_pos++]; }
    // Up to `count` bytes.
    QByteArray bytes(size_t count)
    {
        const size_t n = count < m_size - m_pos ? count : m_size - m_pos;
        const QByteArray out(reinterpret_cast<const char*>(m_data + m_pos), int(n));
        m_pos += n;
        return out;
    }
    QByteArray rest() { return bytes(m_size - m_pos); }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
};

// An uplink as the port hands it on: the id's three bytes (hex, "DD0102"), the payload's length
// in two bytes and the payload, without the checksum, which the port has taken off.
inline QByteArray uplinkFrame(const char* idHex, const QByteArray& payload)
{
    QByteArray frame = QByteArray::fromHex(idHex);
    frame += char(payload.size());
    frame += '\0';
    return frame + payload;
}

// Plays a page's run: records of [what][length][payload], the length one byte. A `what` below
// the count of uplink ids sends that uplink with the payload; past them it is one of `actions`,
// the payload's first byte its argument.
template <size_t Uplinks, class Receive, class Act>
void playPageRecords(FuzzInput& input, const char* const (&ids)[Uplinks], int actions, Receive receive, Act act)
{
    while (!input.atEnd()) {
        const int what = input.byte() % int(Uplinks + size_t(actions));
        const QByteArray payload = input.bytes(input.byte());
        if (what >= int(Uplinks))
            act(what - int(Uplinks), payload.isEmpty() ? quint8(0) : quint8(payload.at(0)));
        else
            receive(uplinkFrame(ids[what], payload));
    }
}
