#include "cstandardmsgdlg.h"

#include <QPushButton>

#include "schema/cmsgfield.h"

CStandardMsgDlg::CStandardMsgDlg(const QString& title, LogManager* logger,
                                 const QString& commandName, QWidget* parent, Fields fields)
    : CFlatDialog(title, parent)
    , m_form(fields == WholeCommand
                 ? new CmsgField(logger, commandName, contentFrame())
                 : new CmsgField(logger, commandName, CmsgField::listSubFields(logger, commandName),
                                 contentFrame()))
    , m_pushButtonOK(new QPushButton(QStringLiteral("OK"), contentFrame()))
    , m_pushButtonCancel(new QPushButton(QStringLiteral("Cancel"), contentFrame()))
{
    setAttribute(Qt::WA_DeleteOnClose);
    layOutWithOkCancel(m_form, m_pushButtonOK, m_pushButtonCancel);
    resize(271, 300);

    // The buttons are made after the base form wired its slots by name, so they are wired here.
    connect(m_pushButtonOK, &QPushButton::clicked, this, &CStandardMsgDlg::on_pushButtonOK_clicked);
    connect(m_pushButtonCancel, &QPushButton::clicked, this,
            &CStandardMsgDlg::on_pushButtonCancel_clicked);
}

CStandardMsgDlg::~CStandardMsgDlg() = default;

void CStandardMsgDlg::on_pushButtonOK_clicked()
{
    emit sig_standardOKClicked();
    accept();
}

void CStandardMsgDlg::on_pushButtonCancel_clicked()
{
    reject();
}
