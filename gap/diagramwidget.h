#pragma once

#include <QList>
#include <QString>
#include <QWidget>

class QLabel;
class QTimerEvent;

// The picture of one connection: the dongle and the peer at the two ends of a line, and the
// link's parameters. The line runs while parameters change and greys out when the change is lost.
class DiagramWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(DiagramWidget)

public:
    enum State { Linked = 0, Updating = 1, Lost = 2 };

    explicit DiagramWidget(QWidget* parent = nullptr);
    ~DiagramWidget() override;

    int state() const { return m_state; }
    void setState(int state);
    void setDongle(const QString& name, const QString& address);
    void setDevice(const QString& name, const QString& address);
    // Texts as shown: "7.5ms", "0", "1000ms"; the minimum and maximum interval both show `interval`.
    void setParameters(const QString& interval, const QString& latency, const QString& timeout);

protected:
    void timerEvent(QTimerEvent* event) override;

private:
    void paintLine(const char* even, const char* odd, const char* icon);

    int m_state = Linked;
    QList<QLabel*> m_lines;
    int m_blinkTimer = -1;
    QLabel* m_lbDongle = nullptr;
    QLabel* m_lbDongleAddr = nullptr;
    QLabel* m_lbDevice = nullptr;
    QLabel* m_lbDeviceAddr = nullptr;
    QLabel* m_lbMin = nullptr;
    QLabel* m_lbMax = nullptr;
    QLabel* m_lbLatency = nullptr;
    QLabel* m_lbTimeout = nullptr;
    QLabel* m_lbIcon = nullptr;
};
