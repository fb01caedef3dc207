#pragma once

#include <QString>
#include <QTabWidget>
#include <QTableView>
#include <QToolButton>

#include "app/maindonglewidget.h"
#include "benchwait.h"
#include "gap/cconnectionwidget.h"
#include "gap/clayerwidget.h"

// Connects a dongle tab from its Master page to the device of that address, as a user does:
// scans until the device is heard, stops the scan, presses its row and connects. The
// connection's page, shown; null with `why` set when a step never came.
inline CLayerWidget* connectFromMaster(MainDongleWidget* tab, const QString& address, const char** why)
{
    CConnectionWidget* page = tab->connectionWidget();
    const auto button = [page](const char* name) { return page->findChild<QToolButton*>(name); };
    button("buttonScan")->click();
    int row = -1;
    if (!waitFor([&] {
            for (int r = 0; r < page->model()->rowCount() && row < 0; ++r)
                if (page->model()->index(r, 1).data().toString() == address)
                    row = r;
            return row >= 0;
        }, 20000)) {
        *why = "its device was never heard";
        return nullptr;
    }
    button("buttonScan")->click();
    if (!waitFor([&] { return button("buttonScan")->text() == QLatin1String("Start Scan"); }, 10000)) {
        *why = "its scan never stopped";
        return nullptr;
    }
    page->findChild<QTableView*>(QStringLiteral("tableView_devices"))->setCurrentIndex(page->model()->index(row, 0));
    page->onTableView_devicesClicked(page->model()->index(row, 0));
    button("buttonConnect")->click();
    CLayerWidget* layer = nullptr;
    if (!waitFor([&] {
            for (int t = 0; t < tab->pageTabs()->count() && !layer; ++t)
                layer = qobject_cast<CLayerWidget*>(tab->pageTabs()->widget(t));
            return layer != nullptr;
        }, 20000)) {
        *why = "the connection never came";
        return nullptr;
    }
    tab->pageTabs()->setCurrentWidget(layer);
    return layer;
}
