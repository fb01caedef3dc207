#pragma once

#include <QtGlobal>

// What a 460800-baud line lets through: an allowance of bytes that grows with time, up to a short
// burst. Time comes in nanoseconds from any steady clock, so that writes a fraction of a
// millisecond apart lose none of it.
class BaudPace
{
public:
    static constexpr double BytesPerSecond = 46080; // 10 bits a byte
    static constexpr double BurstBytes = 4096;

    // Starts empty at `nowNs`.
    void restart(qint64 nowNs);
    // Bytes that may go at `nowNs`.
    int allowed(qint64 nowNs);
    void spend(int bytes);

private:
    double m_allowance = 0;
    qint64 m_atNs = 0;
};
