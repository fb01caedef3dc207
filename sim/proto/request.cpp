#include "request.h"

#include "simframe.h"

Request::Request(const SimCommandTable::Command& command, quint8 module, quint8 opcode, const QByteArray& payload)
    : m_command(&command)
    , m_module(module)
    , m_opcode(opcode)
    , m_payload(payload)
{
}

int Request::expectedLength() const
{
    const int fixed = m_command->fixedPayloadLength();
    if (fixed >= 0)
        return fixed;
    int least = 0;
    for (const SimCommandTable::Field& field : m_command->fields) {
        if (field.length > 0)
            least = qMax(least, field.index - 4 + field.length);
    }
    return least;
}

bool Request::isWhole() const
{
    return isVariable() ? m_payload.size() >= expectedLength() : m_payload.size() == expectedLength();
}

QByteArray Request::field(const QString& key) const
{
    const SimCommandTable::Field* field = m_command->field(key);
    if (!field) {
        // A key the row lacks is a fault of the handler, which would read 0 without a word.
        qCritical("tarvine-sim: %s has no field \"%s\"", qPrintable(m_command->id), qPrintable(key));
        return QByteArray();
    }
    // The row's index counts from the module byte: index 4 is the first payload byte.
    const int at = field->index - 4;
    if (at < 0 || at > m_payload.size())
        return QByteArray();
    if (field->length == 0)
        return m_payload.mid(at);
    return at + field->length <= m_payload.size() ? m_payload.mid(at, field->length) : QByteArray();
}

int Request::number(const QString& key) const
{
    const QByteArray bytes = field(key);
    return int(SimFrame::readLe(bytes, 0, qMin(bytes.size(), 4)));
}
