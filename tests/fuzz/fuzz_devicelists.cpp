// The Device List panel, periodic sync and the dongle's own queries under a run of their uplinks,
// mixed with the user's hand: list types, rows pressed, Remove, Update privacy mode, Start and
// Stop Sync, the synced peers. Input: the records of playPageRecords.

#include <QComboBox>
#include <QTableView>

#include "fuzzapp.h"
#include "fuzzinput.h"
#include "gap/cconnectionwidget.h"
#include "gap/getinfodlg.h"
#include "gap/resolveaddressdialog.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

// The uplinks of the lists, of sync, and of the two query dialogs.
const char* const kIds[] = {"BB0109", "BB010B", "BB010F", "DD010A", "DD010E", "BB0111", "BB0115", "DD0114",
                            "BB0117", "BB0119", "BB011D", "DD0118", "DD011C", "DD017F", "BB0180", "BB011F",
                            "DD0120", "DD0123", "DD0182", "DD0102", "DD0170", "DD0148", "DD017C", "DD017E",
                            "DD0186"};
enum Action { ListType, PressListRow, Remove, PrivacyMode, Sync, StopSync, ShowPeer, ActionCount };

struct Page
{
    Page() { logger.setLogFile(QStringLiteral("/dev/null")); }

    LogManager logger{QStringLiteral("Fuzz")};
    CMsg msg{&logger}; // never opened: every send fails and is logged
    FieldValueMap config;
    QString name = QStringLiteral("Fuzz");
    CConnectionWidget page{&msg, &logger, &config, &name};
    GetInfoDlg info{&msg, &logger};
    ResolveAddressDialog resolve{&msg, &logger};
};

Page* g_page = nullptr;

void act(CConnectionWidget& page, int action, quint8 argument)
{
    auto* table = page.findChild<QTableView*>(QStringLiteral("tableView_deviceList"));
    auto* peers = page.findChild<QComboBox*>(QStringLiteral("comboBox_peerAddr"));
    switch (action) {
    case ListType:
        page.findChild<QComboBox*>(QStringLiteral("deviceListType"))->setCurrentIndex(argument % 4);
        break;
    case PressListRow:
        table->setCurrentIndex(table->model()->index(argument % 12, 0));
        break;
    case Remove:
        page.on_deviceListDelete_clicked();
        break;
    case PrivacyMode:
        page.on_devicePrivacyModeUpdate_clicked();
        break;
    case Sync:
        page.on_buttonSync_clicked();
        break;
    case StopSync:
        page.on_m_tbStopSync_clicked();
        break;
    case ShowPeer:
        if (peers->count() > 0)
            peers->setCurrentIndex(argument % peers->count());
        page.onPeriodicAdvDataClear();
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
    CConnectionWidget& page = g_page->page;
    page.reset();
    FuzzInput input(data, size);
    playPageRecords(
        input, kIds, ActionCount,
        [](const QByteArray& frame) {
            g_page->page.onRcvMsg(frame);
            g_page->info.onRcvMsg(frame);
            g_page->resolve.onRcvMsg(frame);
        },
        [&page](int action, quint8 argument) { act(page, action, argument); });
    QCoreApplication::processEvents();
    return 0;
}
