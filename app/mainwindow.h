#pragma once

#include <QAction>
#include <QMainWindow>
#include <QMenu>
#include <QPoint>
#include <QRect>
#include <QSettings>
#include <QString>

#include "app/cconfigdonglenamedialog.h"

class MainDongleWidget;
class PortWatcher;
class QEvent;
class QMouseEvent;

namespace Ui {
class MainWindow;
}

// The one top-level window: a drawn title bar over one tab per dongle. Keeps the tabs' names,
// writes every tab's settings to config.ini at exit and tells every tab of ports that come and go.
class MainWindow : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY(MainWindow)

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    void promptFirstDongleName();
    MainDongleWidget* firstDongle() const { return m_firstDongle; }
    const DongleTabList& tabs() const { return m_tabs; }

    // Connected by pointer, not declared as slots: connectSlotsByName would warn about every on_
    // name that matches no object of the form.
    void on_btnMin_clicked();
    void on_btnMax_clicked();
    void on_btnExit_clicked();
    void on_addDongleTab();
    void on_deleteDongleTab(int index);
    void on_ConfirmDeleteDongleTab();
    void on_CancelDeleteDongleTab();
    void on_showThisDongleTab(QString portName);
    void on_updateDongleName(MainDongleWidget* widget, QString dongleName);
    void on_currentChanged(int tabIndex);
    void on_tabBarRightClick(QPoint point);

private slots:
    void on_m_tabDongleWidget_tabBarClicked(int index);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    QString nextDefaultName() const;
    void connectDongle(MainDongleWidget* dongle);
    void notifyPortArrived(const QString& portName);
    void notifyPortRemoved(const QString& portName);

    Ui::MainWindow* ui;
    bool m_dragging = false;
    QPoint m_dragOffset;
    bool m_maximized = false;
    QRect m_restoreGeometry;
    MainDongleWidget* m_firstDongle = nullptr;
    CConfigDongleNameDialog* m_firstNameDialog = nullptr;
    DongleTabList m_tabs;
    QSettings m_settings{QStringLiteral("config.ini"), QSettings::IniFormat};
    QMenu m_tabMenu;
    QAction m_editAction{QStringLiteral("edit")};
    int m_pendingTabIndex = -1;
    CConfigDongleNameDialog* m_addNameDialog = nullptr;
    PortWatcher* m_portWatcher = nullptr;
};
