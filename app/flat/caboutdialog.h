#pragma once

#include "app/flat/cflatdialog.h"

class QPushButton;
class QTextBrowser;

// The program's name, version and notice.
class CAboutDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CAboutDialog)

public:
    explicit CAboutDialog(QWidget* parent = nullptr);
    ~CAboutDialog() override;

    static QString versionText();

private:
    QTextBrowser* m_text = nullptr;
    QPushButton* m_close = nullptr;
};
