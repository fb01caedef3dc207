#include "diagramwidget.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPixmap>
#include <QTimerEvent>
#include <QVBoxLayout>

namespace {

const char* const kBlue = "color: rgb(24, 158, 222)";
const char* const kGrey = "color: rgb(150, 150, 150)";
const char* const kConnectedIcon = ":/icons/connected";
const char* const kDisconnectedIcon = ":/icons/disconnected";
constexpr int kBlinkMs = 500;
constexpr int kLineLabels = 6;

// One flag for every diagram of the process: each blinking diagram's tick turns it over.
bool s_blinkPhase = false;

QLabel* addEnd(QVBoxLayout* column, const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setAlignment(Qt::AlignCenter);
    column->addWidget(label);
    return label;
}

} // namespace

DiagramWidget::DiagramWidget(QWidget* parent)
    : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    auto* title = new QLabel(QStringLiteral("Connection Diagram"), this);
    title->setStyleSheet(QStringLiteral("font-weight: bold;"));
    layout->addWidget(title);

    // Dongle | line, icon, line | peer.
    auto* picture = new QHBoxLayout;
    picture->setSpacing(0);
    auto* dongle = new QVBoxLayout;
    m_lbDongle = addEnd(dongle, QStringLiteral("Dongle"), this);
    m_lbDongleAddr = addEnd(dongle, QStringLiteral("xx:xx:xx:xx:xx:xx"), this);
    picture->addLayout(dongle);
    m_lbIcon = new QLabel(this);
    for (int i = 0; i < kLineLabels; ++i) {
        if (i == kLineLabels / 2)
            picture->addWidget(m_lbIcon);
        auto* segment = new QLabel(QStringLiteral("\u2501\u2501"), this);
        segment->setObjectName(QStringLiteral("m_line%1").arg(i + 1));
        m_lines.append(segment);
        picture->addWidget(segment);
    }
    auto* device = new QVBoxLayout;
    m_lbDevice = addEnd(device, QString(), this);
    m_lbDeviceAddr = addEnd(device, QStringLiteral("xx:xx:xx:xx:xx:xx"), this);
    picture->addLayout(device);
    layout->addLayout(picture);

    auto* panel = new QGroupBox(QStringLiteral("Connection Parameters"), this);
    auto* rows = new QGridLayout(panel);
    const auto addRow = [&](int row, const char* caption) {
        rows->addWidget(new QLabel(QLatin1String(caption), panel), row, 0);
        auto* value = new QLabel(panel);
        rows->addWidget(value, row, 1);
        return value;
    };
    m_lbMin = addRow(0, "  Connection Interval Minimum:");
    m_lbMax = addRow(1, "  Connection Interval Maximum:");
    m_lbTimeout = addRow(2, "  Supervision Timeout:");
    m_lbLatency = addRow(3, "  Connection Latency:");
    rows->setColumnStretch(1, 1);
    layout->addWidget(panel);
    layout->addStretch();

    m_lbDongle->setObjectName(QStringLiteral("m_lbDongle"));
    m_lbDongleAddr->setObjectName(QStringLiteral("m_lbDongleAddr"));
    m_lbDevice->setObjectName(QStringLiteral("m_lbDevice"));
    m_lbDeviceAddr->setObjectName(QStringLiteral("m_lbDeviceAddr"));
    m_lbMin->setObjectName(QStringLiteral("m_lbMin"));
    m_lbMax->setObjectName(QStringLiteral("m_lbMax"));
    m_lbLatency->setObjectName(QStringLiteral("m_lbLatency"));
    m_lbTimeout->setObjectName(QStringLiteral("m_lbTimeout"));
    m_lbIcon->setObjectName(QStringLiteral("m_lbIcon"));
    paintLine(kBlue, kBlue, kConnectedIcon);
}

DiagramWidget::~DiagramWidget() = default;

void DiagramWidget::setState(int state)
{
    if (state == m_state)
        return;
    if (m_state == Updating) {
        killTimer(m_blinkTimer);
        m_blinkTimer = -1;
    }
    m_state = state;
    if (state == Updating)
        m_blinkTimer = startTimer(kBlinkMs);
    else if (state == Lost)
        paintLine(kGrey, kGrey, kDisconnectedIcon);
    else
        paintLine(kBlue, kBlue, kConnectedIcon);
}

void DiagramWidget::setDongle(const QString& name, const QString& address)
{
    m_lbDongle->setText(name);
    m_lbDongleAddr->setText(address);
}

void DiagramWidget::setDevice(const QString& name, const QString& address)
{
    m_lbDevice->setText(name);
    m_lbDeviceAddr->setText(address);
}

void DiagramWidget::setParameters(const QString& interval, const QString& latency, const QString& timeout)
{
    m_lbMin->setText(interval);
    m_lbMax->setText(interval);
    m_lbLatency->setText(latency);
    m_lbTimeout->setText(timeout);
}

void DiagramWidget::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_blinkTimer)
        return QWidget::timerEvent(event);
    s_blinkPhase = !s_blinkPhase;
    if (s_blinkPhase)
        paintLine(kBlue, kGrey, kConnectedIcon);
    else
        paintLine(kGrey, kBlue, kDisconnectedIcon);
}

void DiagramWidget::paintLine(const char* even, const char* odd, const char* icon)
{
    for (int i = 0; i < m_lines.size(); ++i)
        m_lines.at(i)->setStyleSheet(QLatin1String(i % 2 == 0 ? even : odd));
    m_lbIcon->setPixmap(QPixmap(QLatin1String(icon)));
}
