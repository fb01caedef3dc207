#pragma once

#include <QString>

#include "app/flat/cflatdialog.h"

class QLabel;
class QPushButton;

// The tool's message box: a flat dialog with a text and Ok, or Yes and No.
class CFlatMessage : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CFlatMessage)

public:
    explicit CFlatMessage(QWidget* parent = nullptr);
    ~CFlatMessage() override;

    static int information(QWidget* parent, const QString& title, const QString& text);
    static int question(QWidget* parent, const QString& title, const QString& text);

private:
    void fitText();

    QLabel* m_text = nullptr;
    QPushButton* m_ok = nullptr;
    QPushButton* m_yes = nullptr;
    QPushButton* m_no = nullptr;
};
