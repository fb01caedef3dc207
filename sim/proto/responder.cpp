#include "responder.h"

#include <algorithm>

#include <QtGlobal>

#include "simframe.h"

namespace {

#ifdef QT_NO_DEBUG
bool checking = false;
#else
bool checking = true;
#endif

} // namespace

Responder::Responder(const SimCommandTable& table)
    : m_table(table)
{
}

void Responder::setChecking(bool on)
{
    checking = on;
}

QByteArray Responder::refuse(const QString& id, const QString& why) const
{
    qCritical("tarvine-sim: uplink %s refused: %s", qPrintable(id), qPrintable(why));
    return QByteArray();
}

QByteArray Responder::ack(quint8 module, quint8 opcode, quint8 status) const
{
    if (checking) {
        const SimCommandTable::Command* row = m_table.uplink(SimFrame::uplinkId(SimFrame::Ack, module, opcode));
        const bool statusRow = !row || row->fields.isEmpty()
                               || (row->fields.size() == 1 && row->fields.at(0).index == 4
                                   && row->fields.at(0).length == 1);
        if (!statusRow)
            return refuse(row->id, QStringLiteral("its row is more than a status byte"));
    }
    return SimFrame::build(SimFrame::Ack, module, opcode, SimFrame::u8(status));
}

QByteArray Responder::frame(quint8 header, quint8 module, quint8 opcode, const Fields& fields) const
{
    const QString id = SimFrame::uplinkId(header, module, opcode);
    const SimCommandTable::Command* row = m_table.uplink(id);
    if (!row)
        return checking ? refuse(id, QStringLiteral("no row")) : QByteArray();
    if (checking && fields.size() != row->fields.size())
        return refuse(id, QStringLiteral("%1 fields given, the row has %2").arg(fields.size()).arg(row->fields.size()));
    QByteArray payload;
    for (const SimCommandTable::Field& field : row->fields) {
        const auto given = std::find_if(fields.cbegin(), fields.cend(),
                                        [&field](const Field& f) { return field.key == QLatin1String(f.key); });
        if (given == fields.cend()) {
            if (checking)
                return refuse(id, QStringLiteral("no value for \"%1\"").arg(field.key));
            payload.append(QByteArray(field.length, 0));
            continue;
        }
        if (checking && field.index - 4 != payload.size())
            return refuse(id, QStringLiteral("\"%1\" stands at index %2, not %3").arg(field.key).arg(field.index)
                                  .arg(payload.size() + 4));
        if (field.length == 0) {
            payload.append(given->value);
            continue;
        }
        if (checking && given->value.size() != field.length)
            return refuse(id, QStringLiteral("\"%1\" takes %2 bytes, not %3").arg(field.key).arg(field.length)
                                  .arg(given->value.size()));
        payload.append(given->value.leftJustified(field.length, 0, true));
    }
    return SimFrame::build(header, module, opcode, payload);
}

QByteArray Responder::frame(quint8 header, quint8 module, quint8 opcode, const QByteArray& body) const
{
    if (checking) {
        const QString id = SimFrame::uplinkId(header, module, opcode);
        const SimCommandTable::Command* row = m_table.uplink(id);
        if (!row)
            return refuse(id, QStringLiteral("no row"));
        if (!row->fields.isEmpty())
            return refuse(id, QStringLiteral("its row has fields, the body must follow them"));
    }
    return SimFrame::build(header, module, opcode, body);
}
