#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include "schema/ccommand.h"

class LogManager;

// The uplink handlers of one object, by uplink id text ("DD@01@02").
template <class Owner>
using UplinkTable = QMap<QString, void (Owner::*)(const QByteArray&)>;

// The one road of an uplink into an object: check the frame, make its id, call the object's
// handler for it. An id the table lacks is not this object's business, so it passes unnoticed.
template <class Owner>
void dispatchUplink(Owner* owner, const UplinkTable<Owner>& table, LogManager* logger, const QByteArray& frame)
{
    if (!CCommand::isInvalidUpLinkMsg(logger, frame))
        return;
    const auto handler = table.constFind(CCommand::uplinkId(frame));
    if (handler != table.cend())
        (owner->*handler.value())(frame);
}
