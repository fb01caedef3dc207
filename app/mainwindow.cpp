#include "mainwindow.h"

#include <QCoreApplication>
#include <QCursor>
#include <QEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QMouseEvent>
#include <QScreen>
#include <QTabBar>
#include <QVector>

#include "app/confirmdeletedialog.h"
#include "app/flat/cflatmessage.h"
#include "app/maindonglewidget.h"
#include "app/portwatcher.h"
#include "ui_mainwindow.h"

namespace {

const int kMaxTabs = 5;
const char kTabNumberKey[] = "TabWidgetNumber";

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent)
    , ui(new Ui::MainWindow)
{
    setWindowFlags(Qt::FramelessWindowHint);
    m_restoreGeometry = geometry();
    ui->setupUi(this);
    ui->titleBar->installEventFilter(this);

    connect(ui->m_btnMin, &QToolButton::clicked, this, &MainWindow::on_btnMin_clicked);
    connect(ui->m_btnMax, &QToolButton::clicked, this, &MainWindow::on_btnMax_clicked);
    connect(ui->m_btnClose, &QToolButton::clicked, this, &MainWindow::on_btnExit_clicked);
    connect(ui->m_tabDongleWidget, &CDongleTabWidget::addDongleTab, this,
            &MainWindow::on_addDongleTab);
    connect(ui->m_tabDongleWidget, &QTabWidget::tabCloseRequested, this,
            &MainWindow::on_deleteDongleTab);
    connect(ui->m_tabDongleWidget, &QTabWidget::currentChanged, this,
            &MainWindow::on_currentChanged);
    QTabBar* bar = ui->m_tabDongleWidget->tabBar();
    bar->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(bar, &QWidget::customContextMenuRequested, this, &MainWindow::on_tabBarRightClick);

    const QStringList groups = m_settings.childGroups();
    if (groups.isEmpty()) {
        const QString name = nextDefaultName();
        m_firstDongle = new MainDongleWidget(this, name);
        m_firstNameDialog = new CConfigDongleNameDialog(&m_tabs, this);
        m_firstNameDialog->setDongleName(name);
        connect(m_firstDongle, &MainDongleWidget::showThisDongleTab, this,
                &MainWindow::on_showThisDongleTab);
        ui->m_tabDongleWidget->addTab(m_firstDongle, name);
        connect(m_firstDongle, &MainDongleWidget::updateDongleName, this,
                &MainWindow::on_updateDongleName);
    } else {
        // Tabs come back in the order of their numbers; the file's group order means nothing.
        QVector<QString> names(groups.size());
        for (const QString& group : groups) {
            const int number = m_settings.value(group + '/' + kTabNumberKey, 0).toInt();
            if (number >= 0 && number < names.size())
                names[number] = group;
        }
        for (const QString& name : qAsConst(names)) {
            auto* dongle = new MainDongleWidget(this, name);
            dongle->loadConfig(m_settings, name);
            ui->m_tabDongleWidget->addTab(dongle, name);
            connectDongle(dongle);
            m_tabs.append(qMakePair(dongle, name));
            if (!m_firstDongle)
                m_firstDongle = dongle;
        }
    }

    ui->m_tabDongleWidget->setCurrentWidget(m_firstDongle);
    if (!m_firstDongle->pagesBuilt())
        m_firstDongle->buildPages();

    m_addNameDialog = new CConfigDongleNameDialog(&m_tabs, this);

    m_portWatcher = new PortWatcher(this);
    connect(m_portWatcher, &PortWatcher::portArrived, this, &MainWindow::notifyPortArrived);
    connect(m_portWatcher, &PortWatcher::portRemoved, this, &MainWindow::notifyPortRemoved);
}

MainWindow::~MainWindow()
{
    delete ui;

    // Rewritten whole at every exit, so the groups of deleted tabs vanish.
    m_settings.sync();
    m_settings.clear();
    for (int i = 0; i < m_tabs.size(); ++i) {
        MainDongleWidget* dongle = m_tabs.at(i).first;
        m_settings.beginGroup(dongle->dongleName());
        const QMap<QString, QVariant>& config = dongle->config();
        for (auto it = config.cbegin(); it != config.cend(); ++it) {
            // An INI file keeps no types: a plain unsigned number would read back as text.
            if (it.value().type() == QVariant::UInt)
                m_settings.setValue(it.key(), QPoint(int(it.value().toUInt()), 0));
            else
                m_settings.setValue(it.key(), it.value());
        }
        m_settings.setValue(kTabNumberKey, i);
        m_settings.endGroup();
    }
}

void MainWindow::promptFirstDongleName()
{
    if (!m_settings.childGroups().isEmpty() || !m_firstNameDialog)
        return;
    // Cancelled or not, the tab takes whatever the line edit holds.
    m_firstNameDialog->exec();
    m_firstDongle->on_configDongleName(m_firstNameDialog->dongleName());
}

QString MainWindow::nextDefaultName() const
{
    for (int n = 1;; ++n) {
        const QString name = QStringLiteral("Dongle") + QString::number(n);
        bool taken = false;
        for (const auto& tab : m_tabs)
            taken = taken || tab.second == name;
        if (!taken)
            return name;
    }
}

void MainWindow::connectDongle(MainDongleWidget* dongle)
{
    connect(dongle, &MainDongleWidget::showThisDongleTab, this,
            &MainWindow::on_showThisDongleTab);
    connect(dongle, &MainDongleWidget::updateDongleName, this, &MainWindow::on_updateDongleName);
}

void MainWindow::on_btnMin_clicked()
{
    showMinimized();
}

void MainWindow::on_btnMax_clicked()
{
    // The system's maximised state is not used: a frameless window would cover the task bar.
    if (m_maximized) {
        setGeometry(m_restoreGeometry);
        ui->m_btnMax->setIcon(QIcon(QStringLiteral(":/icons/max")));
    } else {
        m_restoreGeometry = geometry();
        setGeometry(QGuiApplication::primaryScreen()->availableGeometry());
        ui->m_btnMax->setIcon(QIcon(QStringLiteral(":/icons/restore")));
    }
    m_maximized = !m_maximized;
}

void MainWindow::on_btnExit_clicked()
{
    QCoreApplication::exit(0);
}

void MainWindow::on_addDongleTab()
{
    if (ui->m_tabDongleWidget->count() >= kMaxTabs) {
        CFlatMessage::information(this, QStringLiteral("error"),
                                  QStringLiteral("widget numbers should < 5"));
        return;
    }

    m_addNameDialog->setDongleName(nextDefaultName());
    if (m_addNameDialog->exec() != QDialog::Accepted)
        return;
    const QString name = m_addNameDialog->dongleName();
    if (name.isEmpty())
        return;

    auto* dongle = new MainDongleWidget(this, name);
    ui->m_tabDongleWidget->addTab(dongle, name);
    connectDongle(dongle);
    // Comes back through updateDongleName, which puts the tab into m_tabs.
    dongle->on_configDongleName(name);
    ui->m_tabDongleWidget->setCurrentWidget(dongle);
}

void MainWindow::on_deleteDongleTab(int index)
{
    m_pendingTabIndex = index;
    confirmdeletedialog dialog(this);
    connect(&dialog, &confirmdeletedialog::confirmDelete, this,
            &MainWindow::on_ConfirmDeleteDongleTab);
    connect(&dialog, &confirmdeletedialog::cancelDelete, this,
            &MainWindow::on_CancelDeleteDongleTab);
    dialog.exec();
}

void MainWindow::on_ConfirmDeleteDongleTab()
{
    if (m_tabs.size() < 2)
        return;
    auto* dongle = qobject_cast<MainDongleWidget*>(ui->m_tabDongleWidget->widget(m_pendingTabIndex));
    if (!dongle)
        return;
    dongle->prepareDelete();
    ui->m_tabDongleWidget->removeTab(m_pendingTabIndex);
    for (int i = 0; i < m_tabs.size(); ++i) {
        if (m_tabs.at(i).first == dongle) {
            m_tabs.removeAt(i);
            break;
        }
    }
    if (m_firstDongle == dongle)
        m_firstDongle = nullptr;
    delete dongle;
}

void MainWindow::on_CancelDeleteDongleTab()
{
}

void MainWindow::on_showThisDongleTab(QString portName)
{
    for (const auto& tab : qAsConst(m_tabs)) {
        if (tab.second == portName) {
            ui->m_tabDongleWidget->setCurrentWidget(tab.first);
            return;
        }
    }
}

void MainWindow::on_updateDongleName(MainDongleWidget* widget, QString dongleName)
{
    bool known = false;
    for (const auto& tab : qAsConst(m_tabs))
        known = known || tab.first == widget;
    if (!known)
        m_tabs.append(qMakePair(widget, dongleName));

    for (auto& tab : m_tabs) {
        if (tab.first == widget) {
            tab.second = dongleName;
            ui->m_tabDongleWidget->setTabText(ui->m_tabDongleWidget->indexOf(widget), dongleName);
        }
    }
}

void MainWindow::on_currentChanged(int tabIndex)
{
    const QString name = ui->m_tabDongleWidget->tabText(tabIndex);
    for (const auto& tab : qAsConst(m_tabs)) {
        if (tab.second == name && !tab.first->pagesBuilt())
            tab.first->buildPages();
    }
}

void MainWindow::on_tabBarRightClick(QPoint point)
{
    Q_UNUSED(point)
    // The menu has no entries: a right click shows an empty menu, and that is how it stays.
    m_tabMenu.move(QCursor::pos());
    m_tabMenu.show();
}

void MainWindow::on_m_tabDongleWidget_tabBarClicked(int index)
{
    m_pendingTabIndex = index;
}

void MainWindow::notifyPortArrived(const QString& portName)
{
    for (const auto& tab : qAsConst(m_tabs))
        tab.first->notifySerialPortArrived(portName);
}

void MainWindow::notifyPortRemoved(const QString& portName)
{
    for (const auto& tab : qAsConst(m_tabs))
        tab.first->notifySerialPortRemoved(portName);
}

bool MainWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == ui->titleBar && event->type() == QEvent::MouseButtonDblClick) {
        on_btnMax_clicked();
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

void MainWindow::mousePressEvent(QMouseEvent* event)
{
    const QRect titleRect(ui->titleBar->mapTo(this, QPoint(0, 0)), ui->titleBar->size());
    if (titleRect.contains(mapFromGlobal(event->globalPos())) && event->button() == Qt::LeftButton) {
        m_dragging = true;
        m_dragOffset = event->globalPos() - pos();
        event->ignore();
    }
}

void MainWindow::mouseMoveEvent(QMouseEvent* event)
{
    if (m_dragging && event->buttons() != Qt::NoButton) {
        move(event->globalPos() - m_dragOffset);
        event->ignore();
    }
}

void MainWindow::mouseReleaseEvent(QMouseEvent* event)
{
    Q_UNUSED(event)
    m_dragging = false;
}
