#include "cflatmessage.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

CFlatMessage::CFlatMessage(QWidget* parent)
    : CFlatDialog(QStringLiteral("message"), parent)
    , m_text(new QLabel(contentFrame()))
    , m_ok(new QPushButton(QStringLiteral("Ok"), contentFrame()))
    , m_yes(new QPushButton(QStringLiteral("Yes"), contentFrame()))
    , m_no(new QPushButton(QStringLiteral("No"), contentFrame()))
{
    m_text->setObjectName(QStringLiteral("m_text"));
    m_text->setWordWrap(true);
    m_text->setMinimumWidth(280);
    m_ok->setObjectName(QStringLiteral("m_ok"));
    m_yes->setObjectName(QStringLiteral("m_yes"));
    m_no->setObjectName(QStringLiteral("m_no"));

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_yes);
    buttons->addWidget(m_no);
    buttons->addWidget(m_ok);

    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(12, 12, 12, 12);
    layout->addWidget(m_text, 1);
    layout->addLayout(buttons);

    connect(m_ok, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_no, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_yes, &QPushButton::clicked, this, &QDialog::accept);
}

CFlatMessage::~CFlatMessage() = default;

// A wrapped label does not make a top-level layout taller by itself: the box would cut a long
// text (a link key, a path) after its first line.
void CFlatMessage::fitText()
{
    const int wanted = m_text->fontMetrics().horizontalAdvance(m_text->text()) + 8;
    const int width = qBound(m_text->minimumWidth(), wanted, 520);
    m_text->setMinimumWidth(width);
    m_text->setMinimumHeight(m_text->heightForWidth(width));
}

int CFlatMessage::information(QWidget* parent, const QString& title, const QString& text)
{
    CFlatMessage box(parent);
    box.m_lblTitle->setText(title);
    box.setWindowTitle(title);
    box.m_text->setText(text);
    box.m_text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    box.fitText();
    box.m_yes->hide();
    box.m_no->hide();
    box.m_ok->setDefault(true);
    box.exec();
    return QMessageBox::Ok;
}

int CFlatMessage::question(QWidget* parent, const QString& title, const QString& text)
{
    CFlatMessage box(parent);
    box.m_lblTitle->setText(title);
    box.setWindowTitle(title);
    box.m_text->setText(text);
    box.fitText();
    box.m_ok->hide();
    return box.exec() == QDialog::Accepted ? QMessageBox::Yes : QMessageBox::No;
}
