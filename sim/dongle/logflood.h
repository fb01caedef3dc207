#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>

class QTimer;

// A steady stream of dongle log lines, for load tests of the tool's log: a timer sends, at each
// tick, the lines that have fallen due since the rate was set.
class LogFlood : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(LogFlood)

public:
    static constexpr int TickMs = 10;
    // Lines of 36 or 37 bytes in 42-byte frames: 1,000 a second nearly fill the link.
    static constexpr int MaxLinesPerSecond = 1000;

    explicit LogFlood(int dongle, QObject* parent = nullptr);

    // 0 stops.
    void setRate(int linesPerSecond);
    int rate() const { return m_rate; }

signals:
    void line(const QString& text);

private:
    void tick();

    const int m_dongle;
    QTimer* m_timer = nullptr;
    QElapsedTimer m_clock;
    int m_rate = 0;
    qint64 m_sentSinceStart = 0;
    qint64 m_counter = 0;
};
