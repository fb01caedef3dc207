#include "l2capserver.h"

#include <QPointer>

L2capServer::L2capServer(Link* link, Link::End end, const QVector<L2capService>& services, int maxChannels)
    : m_link(link)
    , m_services(services)
    , m_maxChannels(maxChannels)
    , m_channels(
          [link = QPointer<Link>(link), end](quint16 channel, const QByteArray& data) {
              if (link)
                  link->send(end, channel, data);
          },
          {[this](quint16 psm) { return admit(psm); },
           [this](const CreditChannels::Request& request) { accept(request); },
           {}, // it asks for no channel, so it hears no answer
           [this](quint16 cid, const QByteArray& sdu, int frames) { take(cid, sdu, frames); },
           [](quint16, int) {}, // its queued echoes go as the credits come
           [](quint16, CreditChannels::Ending) {}})
{
}

const L2capService* L2capServer::serviceOf(quint16 psm) const
{
    for (const L2capService& service : m_services) {
        if (service.psm == psm)
            return &service;
    }
    return nullptr;
}

quint16 L2capServer::admit(quint16 psm) const
{
    const L2capService* service = serviceOf(psm);
    if (!service)
        return CreditChannels::PsmNotSupported;
    const quint16 security = CreditChannels::securityResult(service->security, m_link->security());
    if (security != CreditChannels::Success)
        return security;
    return m_channels.count() >= m_maxChannels ? CreditChannels::NoResources : CreditChannels::Success;
}

void L2capServer::accept(const CreditChannels::Request& request)
{
    const L2capService* service = serviceOf(request.psm);
    m_channels.accept(request.peer.cid, {m_channels.freeCid(), service->mtu, service->mps, service->credits});
}

// A sink gives the credits back at once. An echo sends the SDU back in pieces that the far end's
// MTU takes, and gives the credits back only once the last piece has gone: a far end that grants
// nothing gets no more than the device's credits worth of echoes queued.
void L2capServer::take(quint16 cid, const QByteArray& sdu, int frames)
{
    const CreditChannels::Channel* channel = m_channels.channel(cid);
    if (serviceOf(channel->psm)->kind == L2capService::Sink) {
        m_channels.grant(cid, frames);
        return;
    }
    const int mtu = channel->peer.mtu;
    for (int at = 0; at == 0 || at < sdu.size(); at += mtu) {
        const bool last = at + mtu >= sdu.size();
        m_channels.send(cid, sdu.mid(at, mtu),
                        last ? CreditChannels::Sent([this, cid, frames](int) { m_channels.grant(cid, frames); })
                             : CreditChannels::Sent());
    }
}
