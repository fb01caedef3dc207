#include "channelinfo.h"

QStringList ChannelInfo::keys()
{
    return {Psm, Mtu, Mps, InitialCredits, ConsumedCredits, RemainingCredits};
}

ChannelSide ChannelInfo::openingSide(const QString& psm, const QString& mtu, const QString& mps,
                                     const QString& credits)
{
    return {{Psm, psm},
            {Mtu, mtu},
            {Mps, mps},
            {InitialCredits, credits},
            {ConsumedCredits, QStringLiteral("0")},
            {RemainingCredits, credits}};
}

qint64 ChannelInfo::number(const ChannelSide& side, const QString& key)
{
    return side.value(key).toLongLong();
}

void ChannelInfo::consume(ChannelSide& side, qint64 credits)
{
    side.insert(ConsumedCredits, QString::number(number(side, ConsumedCredits) + credits));
    side.insert(RemainingCredits, QString::number(number(side, RemainingCredits) - credits));
}

void ChannelInfo::release(ChannelSide& side, qint64 credits)
{
    const qint64 consumed = qMax<qint64>(number(side, ConsumedCredits) - credits, 0);
    const qint64 remaining = qMin(number(side, RemainingCredits) + credits, number(side, InitialCredits));
    side.insert(ConsumedCredits, QString::number(consumed));
    side.insert(RemainingCredits, QString::number(remaining));
}
