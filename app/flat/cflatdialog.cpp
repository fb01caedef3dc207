#include "cflatdialog.h"

#include <QGraphicsDropShadowEffect>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QPushButton>
#include <QVBoxLayout>

CFlatDialog::CFlatDialog(QString title, QWidget* parent, int x, int y, int fixed)
    : QDialog(parent)
    , m_fixed(fixed)
{
    setWindowFlags(Qt::FramelessWindowHint | Qt::Dialog);
    setAttribute(Qt::WA_TranslucentBackground);
    setupUi(this);

    auto* shadow = new QGraphicsDropShadowEffect(m_border);
    shadow->setOffset(2, 2);
    shadow->setColor(QColor("#a5a6a5"));
    shadow->setBlurRadius(10);
    m_border->setGraphicsEffect(shadow);

    m_lblTitle->setText(title);
    setWindowTitle(title);
    if (m_fixed != 0)
        m_titleBar->hide();
    if (x != 0 || y != 0)
        move(x, y);

    connect(m_tbClose, &QToolButton::clicked, this, &CFlatDialog::on_closeClicked);
}

CFlatDialog::~CFlatDialog() = default;

void CFlatDialog::layOutWithOkCancel(QWidget* body, QPushButton* ok, QPushButton* cancel)
{
    ok->setObjectName(QStringLiteral("pushButtonOK"));
    cancel->setObjectName(QStringLiteral("pushButtonCancel"));
    ok->setDefault(true);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(ok);
    buttons->addWidget(cancel);

    auto* layout = new QVBoxLayout(m_content);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->addWidget(body, 1);
    layout->addLayout(buttons);
}

void CFlatDialog::on_closeClicked()
{
    reject();
}

void CFlatDialog::mousePressEvent(QMouseEvent* event)
{
    if (m_fixed != 0)
        return QDialog::mousePressEvent(event);
    m_dragX = 0;
    m_dragY = 0;
    const QRect titleRect(m_titleBar->mapTo(this, QPoint(0, 0)), m_titleBar->size());
    if (titleRect.contains(mapFromGlobal(event->globalPos()))) {
        const QPoint offset = event->globalPos() - pos();
        m_dragX = offset.x();
        m_dragY = offset.y();
    }
    QDialog::mousePressEvent(event);
}

void CFlatDialog::mouseMoveEvent(QMouseEvent* event)
{
    // Both offsets zero is the "no drag" mark, so a press at the window's very corner can't drag.
    if (m_fixed == 0 && (m_dragX != 0 || m_dragY != 0) && (event->buttons() & Qt::LeftButton)) {
        move(event->globalPos() - QPoint(m_dragX, m_dragY));
        return;
    }
    QDialog::mouseMoveEvent(event);
}
