// A run of uplinks and clicks into one connection's tab: GATT and pairing uplinks into its GATT panel, GAP
// uplinks into its GAP page, between them the panel's buttons and a press on its first row.
// Input: records of [what][length][payload], the length one byte; a `what` past the uplinks is a
// click, and a click takes no length or payload.

#include <QAbstractItemView>
#include <QComboBox>

#include "fuzzapp.h"
#include "fuzzinput.h"
#include "gap/cgapcmdwidget.h"
#include "gap/clayerwidget.h"
#include "gap/cupdateconnparams.h"
#include "gatt/cgattwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

// The uplinks the two pages handle.
const char* const kUplinks[] = {
    "BB0329", "BB0203", "BB020A", "BB0207", "BB0320", "BB0324", "DD031B", "DD031D", "DD031F", "DD0317",
    "DD0319", "DD0325", "DD0327", "DD030F", "DD0311", "DD0313", "DD0315", "DD0321", "DD0323", "DD0301",
    "DD0328", "DD0303", "DD0305", "DD0330", "DD0307", "DD0331", "DD0309", "DD030B", "DD0332", "DD030D",
    "DD0333", "DD0334", "DD020A", "DD0206", "DD0204", "BB0137", "BB0143", "BB014B", "BB014D", "BB014F", "BB0151", "BB0153",
    "BB0157", "BB0139", "BB0181", "DD0138", "DD013C", "DD0144", "DD014C", "DD014E", "DD0150", "DD0152",
    "DD0154", "DD0156"};
constexpr int kUplinkCount = sizeof kUplinks / sizeof *kUplinks;

struct Tab
{
    Tab() { logger.setLogFile(QStringLiteral("/dev/null")); }

    LogManager logger{QStringLiteral("Fuzz")};
    CMsg msg{&logger}; // never opened: every send fails and is logged
    FieldValueMap config;
    QString name = QStringLiteral("Fuzz");
    CLayerWidget tab{&msg, &logger, &config, &name, 0, 10, 1, 100,
                     QStringLiteral("Peer"), QStringLiteral("c6:5a:10:00:00:01"), 0};
};

Tab* g_tab = nullptr;

void click(CGattWidget* gatt, int which)
{
    switch (which) {
    case 0: gatt->on_toolButton_dicoverAllAttr_clicked(); break;
    case 1: gatt->on_toolButton_enableNotifyAndIndicate_clicked(); break;
    case 2: gatt->on_toolButton_disableNotifyAndIndicate_clicked(); break;
    case 3: gatt->on_toolButton_readAllChar_clicked(); break;
    case 4: gatt->on_toolButton_expandAll_clicked(); break;
    case 5: gatt->on_toolButton_collapseAll_clicked(); break;
    case 6: gatt->findChild<QComboBox*>(QStringLiteral("comboBox_mode"))->setCurrentIndex(1); break;
    case 7: gatt->findChild<QComboBox*>(QStringLiteral("comboBox_mode"))->setCurrentIndex(0); break;
    case 8: gatt->on_pb_read_clicked(); break;
    case 9: gatt->on_pb_write_clicked(); break;
    default: {
        const auto* view = gatt->findChild<QAbstractItemView*>(QStringLiteral("treeView"));
        if (view && view->model() && view->model()->rowCount() > 0)
            gatt->on_treeView_pressed(view->model()->index(0, 0));
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzApplication(argc, argv);
    g_tab = new Tab;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CGattWidget* gatt = g_tab->tab.gattPage();
    CGapCmdWidget* gap = g_tab->tab.gapPage();
    gatt->on_toolButton_clear_clicked();
    FuzzInput input(data, size);
    while (!input.atEnd()) {
        const int what = input.byte();
        if (what >= kUplinkCount) {
            click(gatt, (what - kUplinkCount) % 11);
            continue;
        }
        const QByteArray frame = uplinkFrame(kUplinks[what], input.bytes(input.byte()));
        if (frame.at(1) == 1)
            gap->onRcvMsg(frame);
        else
            gatt->onRcvMsg(frame);
    }
    QCoreApplication::processEvents();
    // The peer's requests open a dialog each; close them as a user would, refusing.
    qDeleteAll(gap->findChildren<CUpdateConnParams*>());
    // A dialog gave the tab a window of its own, which must not outlive the application at exit.
    if (g_tab->tab.windowHandle()) {
        delete g_tab;
        g_tab = new Tab;
    }
    return 0;
}
