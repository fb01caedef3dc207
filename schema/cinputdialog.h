#pragma once

#include <QString>

#include "app/flat/cflatdialog.h"

class CValidatorTextEdit;
class QPushButton;

// Asks for a longer value than a line holds: a validating text field with OK and Cancel.
class CInputDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CInputDialog)

public:
    // `kind` is that of CValidatorTextEdit: 10 for decimal, else colon-separated hex.
    explicit CInputDialog(const QString& title, const QString& text, QWidget* parent = nullptr,
                          int kind = 16);
    ~CInputDialog() override;

    QString text() const;
    CValidatorTextEdit* textEdit() const { return m_textEdit; }

signals:
    void sig_inputTextChanged(QString textData);

public slots:
    void on_pushButtonOK_clicked();
    void on_pushButtonCancel_clicked();

private:
    CValidatorTextEdit* m_textEdit = nullptr;
    QPushButton* m_pushButtonOK = nullptr;
    QPushButton* m_pushButtonCancel = nullptr;
};
