#include "router.h"

#include <algorithm>

#include "proto/simframe.h"

void Router::add(quint8 module, quint8 opcode, Check check, Handler handler)
{
    m_routes.insert(quint16(module << 8 | opcode), Route{check, std::move(handler)});
}

const Router::Route* Router::find(quint8 module, quint8 opcode) const
{
    const auto it = m_routes.constFind(quint16(module << 8 | opcode));
    return it == m_routes.cend() ? nullptr : &it.value();
}

QStringList Router::ids() const
{
    QStringList ids;
    for (auto it = m_routes.cbegin(); it != m_routes.cend(); ++it)
        ids.append(SimFrame::commandId(quint8(it.key() >> 8), quint8(it.key() & 0xFF)));
    std::sort(ids.begin(), ids.end());
    return ids;
}
