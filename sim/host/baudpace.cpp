#include "baudpace.h"

void BaudPace::restart(qint64 nowNs)
{
    m_allowance = 0;
    m_atNs = nowNs;
}

int BaudPace::allowed(qint64 nowNs)
{
    m_allowance = qMin(BurstBytes, m_allowance + (nowNs - m_atNs) * BytesPerSecond / 1e9);
    m_atNs = nowNs;
    return int(m_allowance);
}

void BaudPace::spend(int bytes)
{
    m_allowance -= bytes;
}
