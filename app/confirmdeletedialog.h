#pragma once

#include "app/flat/cflatdialog.h"

namespace Ui {
class confirmdeletedialog;
}

// Asks before a dongle tab is deleted.
class confirmdeletedialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(confirmdeletedialog)

public:
    explicit confirmdeletedialog(QWidget* parent = nullptr);
    ~confirmdeletedialog() override;

    void on_buttonYes_clicked();
    void on_buttonNo_clicked();

signals:
    void confirmDelete();
    void cancelDelete();

private:
    Ui::confirmdeletedialog* ui;
};
