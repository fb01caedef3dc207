#pragma once

#include <QList>
#include <QPair>
#include <QString>

#include "app/flat/cflatdialog.h"

class MainDongleWidget;

namespace Ui {
class CConfigDongleNameDialog;
}

// The main window's tabs in order, each with its name: the one list of dongle names.
using DongleTabList = QList<QPair<MainDongleWidget*, QString>>;

// Asks the name of a dongle tab and refuses a name another tab already has.
class CConfigDongleNameDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CConfigDongleNameDialog)

public:
    explicit CConfigDongleNameDialog(const DongleTabList* tabs, QWidget* parent = nullptr);
    ~CConfigDongleNameDialog() override;

    QString dongleName() const;
    void setDongleName(const QString& name);

    void on_PB_Config_clicked();
    void on_PB_Cancle_clicked();
    void on_close();

signals:
    void showDongleTab(CConfigDongleNameDialog* dialog);

private:
    // Shows why the name is refused, in red under it; the dialog stays open.
    void refuse(const QString& why);

    Ui::CConfigDongleNameDialog* ui;
    const DongleTabList* m_tabs = nullptr;
};
