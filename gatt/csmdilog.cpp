#include "csmdilog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegExpValidator>
#include <QVBoxLayout>

namespace {

const char* const kAskSixDigits = "please enter 6-bit passkey";
constexpr int kPasskeyDigits = 6;

} // namespace

csmdilog::csmdilog(QWidget* parent)
    : CFlatDialog(QString(), parent)
    , m_status(new QLabel(QStringLiteral("Number Comparison"), contentFrame()))
    , m_passkey(new QLineEdit(contentFrame()))
    , btn_Yes(new QPushButton(QStringLiteral("Yes"), contentFrame()))
    , btn_No(new QPushButton(QStringLiteral("Cancel"), contentFrame()))
{
    setAttribute(Qt::WA_DeleteOnClose);
    m_status->setObjectName(QStringLiteral("label_status"));
    m_status->setAlignment(Qt::AlignCenter);
    m_passkey->setObjectName(QStringLiteral("lineEdit_passkey"));
    m_passkey->setValidator(new QRegExpValidator(QRegExp(QStringLiteral("[0-9]+$")), m_passkey));
    m_passkey->setPlaceholderText(QLatin1String(kAskSixDigits));
    m_passkey->setAlignment(Qt::AlignCenter);
    m_passkey->setMinimumWidth(260);
    // The digits are what the user compares: large, and dark even where the field is read-only.
    m_passkey->setStyleSheet(QStringLiteral("QLineEdit { font-size: 18px; min-height: 30px; } "
                                            "QLineEdit:disabled { color: #1f2d3d; }"));
    m_passkey->setEnabled(false);
    btn_Yes->setObjectName(QStringLiteral("btn_Yes"));
    btn_No->setObjectName(QStringLiteral("btn_No"));
    btn_Yes->setDefault(true);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(btn_Yes);
    buttons->addWidget(btn_No);
    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(16, 12, 16, 12);
    layout->setSpacing(10);
    layout->addWidget(m_status);
    layout->addWidget(m_passkey);
    layout->addLayout(buttons);

    connect(btn_Yes, &QPushButton::clicked, this, &csmdilog::on_btn_Yes_clicked);
    connect(btn_No, &QPushButton::clicked, this, &csmdilog::on_btn_No_clicked);
}

csmdilog::~csmdilog() = default;

void csmdilog::setTitle(const QString& title)
{
    m_lblTitle->setText(title);
    setWindowTitle(title);
}

void csmdilog::setHeading(const QString& text)
{
    m_status->setText(text);
}

void csmdilog::setPasskeyText(const QString& text)
{
    m_passkey->setText(text);
}

void csmdilog::setPasskeyEnabled(bool enabled)
{
    m_passkey->setEnabled(enabled);
}

void csmdilog::on_btn_Yes_clicked()
{
    const QString text = m_passkey->text();
    if (text.size() != kPasskeyDigits) {
        m_status->setText(QLatin1String(kAskSixDigits));
        m_status->setStyleSheet(QStringLiteral("color: red;"));
        return;
    }
    emit cmsdialogPair(text, 1);
    close();
}

void csmdilog::on_btn_No_clicked()
{
    emit cmsdialogPair(m_passkey->text(), 0);
    close();
}

void csmdilog::on_closeClicked()
{
    emit cmsdialogPair(QStringLiteral("0"), 0);
    close();
}
