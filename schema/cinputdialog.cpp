#include "cinputdialog.h"

#include <QCursor>
#include <QPushButton>

#include "schema/cvalidatortextedit.h"

CInputDialog::CInputDialog(const QString& title, const QString& text, QWidget* parent, int kind)
    : CFlatDialog(title, parent)
    , m_textEdit(new CValidatorTextEdit(kind, contentFrame()))
    , m_pushButtonOK(new QPushButton(QStringLiteral("OK"), contentFrame()))
    , m_pushButtonCancel(new QPushButton(QStringLiteral("Cancel"), contentFrame()))
{
    m_textEdit->setObjectName(QStringLiteral("textEdit"));
    m_textEdit->setPlainText(text);
    layOutWithOkCancel(m_textEdit, m_pushButtonOK, m_pushButtonCancel);
    setMinimumSize(400, 200);
    move(QCursor::pos());

    // The buttons are made after the base form wired its slots by name, so they are wired here.
    connect(m_pushButtonOK, &QPushButton::clicked, this, &CInputDialog::on_pushButtonOK_clicked);
    connect(m_pushButtonCancel, &QPushButton::clicked, this,
            &CInputDialog::on_pushButtonCancel_clicked);
}

CInputDialog::~CInputDialog() = default;

QString CInputDialog::text() const
{
    return m_textEdit->toPlainText();
}

void CInputDialog::on_pushButtonOK_clicked()
{
    emit sig_inputTextChanged(text());
    accept();
}

void CInputDialog::on_pushButtonCancel_clicked()
{
    reject();
}
