// The Slave page under a run of its uplinks, mixed with the user's hand: sets added, rows
// pressed, the start and delete buttons. Input: the records of playPageRecords.

#include <QPushButton>
#include <QTableView>

#include "adv/advertisingwidget.h"
#include "adv/cadvbasewidget.h"
#include "fuzzapp.h"
#include "fuzzinput.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

// The uplinks the page handles.
const char* const kIds[] = {"BB0123", "BB012B", "BB0131", "BB0125", "BB012D", "BB0133", "BB0127",
                            "BB0129", "BB012F", "BB0135", "DD0128", "DD012A"};
const char* const kKinds[] = {CAdvBaseWidget::LegacyKind, CAdvBaseWidget::ExtendedKind, CAdvBaseWidget::PeriodicKind};
enum Action { AddSet, PressRow, ClickStart, ClickDelete, ActionCount };

struct Page
{
    Page() { logger.setLogFile(QStringLiteral("/dev/null")); }

    LogManager logger{QStringLiteral("Fuzz")};
    CMsg msg{&logger}; // never opened: every send fails and is logged
    FieldValueMap config;
    advertisingWidget page{&msg, &logger, &config};
};

Page* g_page = nullptr;

void act(advertisingWidget& page, int action, quint8 argument)
{
    auto* view = page.findChild<QTableView*>(QStringLiteral("tableView_advList"));
    switch (action) {
    case AddSet:
        page.on_addAdvertisingItem(argument % 8, QLatin1String(kKinds[argument % 3]));
        break;
    case PressRow:
        view->setCurrentIndex(view->model()->index(argument % 8, 0));
        page.on_tableView_advListClicked(view->currentIndex());
        break;
    case ClickStart:
        page.findChild<QPushButton*>(QStringLiteral("btnStartAdv"))->click();
        break;
    case ClickDelete:
        page.findChild<QPushButton*>(QStringLiteral("btnDeleteAdvList"))->click();
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzApplication(argc, argv);
    g_page = new Page;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    advertisingWidget& page = g_page->page;
    page.reset();
    FuzzInput input(data, size);
    playPageRecords(input, kIds, ActionCount, [&page](const QByteArray& frame) { page.onRcvMsg(frame); },
                    [&page](int action, quint8 argument) { act(page, action, argument); });
    QCoreApplication::processEvents();
    return 0;
}
