#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

// One side of a credit-based channel: its settings and credit counters by key, every number as
// decimal text.
using ChannelSide = QMap<QString, QString>;

// The record of one channel. The local side counts what the peer may send to the dongle, the
// remote side what the dongle may send to the peer.
struct ChannelInfo
{
    inline static const QString Psm = QStringLiteral("PSM");
    inline static const QString Mtu = QStringLiteral("MTU");
    inline static const QString Mps = QStringLiteral("MPS");
    inline static const QString InitialCredits = QStringLiteral("Initial Credits");
    inline static const QString ConsumedCredits = QStringLiteral("Consumed Credits");
    inline static const QString RemainingCredits = QStringLiteral("Remaining Credits");

    // The keys in the order the details show them.
    static QStringList keys();
    // A side as it opens: nothing consumed, every credit remaining.
    static ChannelSide openingSide(const QString& psm, const QString& mtu, const QString& mps,
                                   const QString& credits);
    static qint64 number(const ChannelSide& side, const QString& key);
    // Credits spent: more consumed, fewer remaining.
    static void consume(ChannelSide& side, qint64 credits);
    // Credits handed back: fewer consumed, never below 0, more remaining, never above the
    // initial count.
    static void release(ChannelSide& side, qint64 credits);

    ChannelSide local;
    ChannelSide remote;
};
