#pragma once

#include <QByteArray>
#include <QVector>

#include "creditchannels.h"
#include "l2capservice.h"
#include "link.h"

// The credit-based channels of a device of the world on its link. It takes the far end's
// requests for the PSMs it serves, as many at once as its file allows, and serves each channel
// as an echo or a sink. A device of the world never opens a channel itself.
class L2capServer
{
public:
    // The server answers at `end` of the link until it goes.
    L2capServer(Link* link, Link::End end, const QVector<L2capService>& services, int maxChannels);
    L2capServer(const L2capServer&) = delete;
    L2capServer& operator=(const L2capServer&) = delete;

    void received(quint16 channel, const QByteArray& data) { m_channels.received(channel, data); }

private:
    const L2capService* serviceOf(quint16 psm) const;
    quint16 admit(quint16 psm) const;
    void accept(const CreditChannels::Request& request);
    void take(quint16 cid, const QByteArray& sdu, int frames);

    Link* m_link;
    QVector<L2capService> m_services;
    int m_maxChannels = 0;
    CreditChannels m_channels;
};
