#pragma once

#include <memory>

#include <QAbstractItemModel>
#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QTableView>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QToolButton>
#include <QtTest>

#include "app/maindonglewidget.h"
#include "app/mainwindow.h"
#include "gap/cconnectionwidget.h"
#include "gap/clayerwidget.h"
#include "link/cmsg.h"
#include "simprocess.h"
#include "whenmodal.h"

// Presses "Set All Static" in the tab's settings dialog and gives the message that refuses it,
// as "title: text"; empty when the settings went out.
inline QString setAllRefusal(MainDongleWidget* tab)
{
    QString refusal;
    whenModal([&](QWidget* settings) {
        whenModal([&](QWidget* box) {
            const auto* text = box->findChild<QLabel*>("m_text");
            refusal = box->windowTitle() + ": " + (text ? text->text() : QString());
            box->close();
            settings->close();
        });
        settings->findChild<QPushButton*>("pb_setAll")->click();
    });
    tab->findChild<QToolButton*>("toolButton_configureSettings")->click();
    return refusal;
}

// The tool's window, with the default settings, on simulated dongles of the default world, one
// driven at its Master page as a user does: scanning, the device table's rows, the buttons.
class MasterBench
{
public:
    // In a working directory of its own, where MainWindow keeps config.ini: one dongle tab per
    // name, each on its own simulated dongle, the first one driven by the helpers below until
    // use() says otherwise. A failed check fails the test that calls this, which then does not run.
    void start(const QStringList& dongles = {"Bench"})
    {
        QDir::setCurrent(workDir.path());
        applyFlatStyle();
        QSettings config("config.ini", QSettings::IniFormat);
        for (int i = 0; i < dongles.size(); ++i)
            config.setValue(dongles.at(i) + "/TabWidgetNumber", i);
        config.sync();

        sim = std::make_unique<SimProcess>(QStringList{"--dongles", QString::number(dongles.size())});
        for (int i = 0; i < dongles.size(); ++i)
            QVERIFY(sim->readLine().startsWith(QString("ttySIM%1 -> ").arg(i)));
        window = std::make_unique<MainWindow>();
        window->resize(1400, 800);
        window->show();
        for (int i = 0; i < dongles.size(); ++i) {
            MainDongleWidget* dongle = this->dongle(dongles.at(i));
            QVERIFY(dongle);
            dongle->buildPages(); // a tab builds its pages when first shown
            QCOMPARE(dongle->msg()->openPort(QString("ttySIM%1").arg(i)), 0);
            dongle->onConnectionStatusChanged(true);
        }
        // The answer to the last start-up query but one fills "profile".
        for (const QString& name : dongles)
            QTRY_VERIFY_WITH_TIMEOUT(!dongle(name)->config().value("profile").toByteArray().isEmpty(), 10000);
        use(dongle(dongles.first()));
    }
    ~MasterBench()
    {
        if (window) {
            for (const auto& dongle : window->tabs())
                dongle.first->prepareDelete();
        }
        window.reset();
        sim.reset();
        QDir::setCurrent(m_oldDir);
    }

    MainDongleWidget* dongle(const QString& name) const
    {
        for (const auto& dongle : window->tabs())
            if (dongle.second == name)
                return dongle.first;
        return nullptr;
    }
    void use(MainDongleWidget* dongle)
    {
        tab = dongle;
        page = dongle->connectionWidget();
    }

    QToolButton* button(const char* name) const { return page->findChild<QToolButton*>(name); }
    QTableView* table() const { return page->findChild<QTableView*>("tableView_devices"); }
    QTabWidget* tabs() const { return tab->pageTabs(); }
    int tabIndex(const QString& text) const
    {
        for (int i = 0; i < tabs()->count(); ++i)
            if (tabs()->tabText(i) == text)
                return i;
        return -1;
    }
    QModelIndex at(int row, const QString& title) const
    {
        for (int c = 0; c < page->model()->columnCount(); ++c)
            if (page->model()->headerData(c, Qt::Horizontal).toString() == title)
                return page->model()->index(row, c);
        return QModelIndex();
    }
    // The first row with this text in the column; -1 when none has it.
    int rowOf(const QString& text, const QString& column = "Bluetooth Address") const
    {
        const auto hits = page->model()->match(at(0, column), Qt::DisplayRole, text, 1, Qt::MatchExactly);
        return hits.isEmpty() ? -1 : hits.first().row();
    }
    QString cell(int row, const QString& title) const { return at(row, title).data().toString(); }
    bool uplinkSeen(const QByteArray& prefix) const { return sim->traced("up", prefix) > 0; }

    // Scans until every address has a row, then presses the first one.
    void scanUntilHeard(const QStringList& addresses)
    {
        QToolButton* scan = button("buttonScan");
        scan->click();
        // Only the dongle's DD@01@F0 turns the button.
        QCOMPARE(scan->text(), QString("Start Scan"));
        QTRY_COMPARE_WITH_TIMEOUT(scan->text(), QString("Stop Scan"), 10000);
        QVERIFY(uplinkSeen(QByteArray::fromHex("dd01f0")));
        for (const QString& address : addresses)
            QTRY_VERIFY2_WITH_TIMEOUT(rowOf(address) >= 0, qPrintable(address), 10000);
        press(addresses.first());
    }
    // Presses the row's Device cell.
    void press(const QString& address)
    {
        const QModelIndex index = page->model()->index(rowOf(address), 0);
        table()->scrollTo(index);
        QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, table()->visualRect(index).center());
        QCOMPARE(table()->currentIndex().row(), index.row());
    }

    // The tab of the connection to that address, if there is one.
    CLayerWidget* layerOf(const QString& address) const
    {
        return qobject_cast<CLayerWidget*>(tabs()->widget(tabIndex("Peer Address: " + address)));
    }
    // Connects to the device of that address from the Master page, scanning first unless a scan
    // runs, and shows the connection's tab; null if it did not come.
    CLayerWidget* connectTo(const QString& address)
    {
        tabs()->setCurrentIndex(0);
        if (button("buttonScan")->text() == "Start Scan")
            scanUntilHeard({address});
        else if (QTest::qWaitFor([&] { return rowOf(address) >= 0; }, 10000))
            press(address);
        QToolButton* connect = button("buttonConnect");
        connect->click();
        if (!QTest::qWaitFor([&] { return connect->text() == "Disconnect" && layerOf(address); }, 10000))
            return nullptr;
        tabs()->setCurrentWidget(layerOf(address));
        return layerOf(address);
    }
    // The same, then shows that page of the connection's tab: gapPage, gattPage or l2capPage.
    template <typename Page>
    Page* connectTo(const QString& address, Page* (CLayerWidget::*page)() const)
    {
        CLayerWidget* layer = connectTo(address);
        if (layer)
            layer->pages()->setCurrentWidget((layer->*page)());
        return layer ? (layer->*page)() : nullptr;
    }

    QTemporaryDir workDir;
    std::unique_ptr<SimProcess> sim;
    std::unique_ptr<MainWindow> window;
    MainDongleWidget* tab = nullptr;
    CConnectionWidget* page = nullptr;

private:
    QString m_oldDir = QDir::currentPath();
};
