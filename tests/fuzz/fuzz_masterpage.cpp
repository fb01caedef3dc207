// A run of GAP uplinks into the Master page: scan reports merged into the device table, scan and
// connection events, then the AD tree and raw views of the first row, as a click shows them.
// Input: frames of [which uplink][length][payload], the length one byte.

#include <QTreeWidget>

#include "fuzzapp.h"
#include "fuzzinput.h"
#include "gap/cconnectionwidget.h"
#include "gap/clayerwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

// The uplinks the page handles.
const char* const kIds[] = {"BB0101", "BB0103", "BB013D", "DD01F0", "DD0102", "DD0104", "BB0107",
                            "BB0149", "BB013F", "DD0106", "DD0108", "DD0180", "DD014A"};

struct Page
{
    Page()
    {
        logger.setLogFile(QStringLiteral("/dev/null"));
        // A connection's page goes to whoever takes it; here nobody does.
        QObject::connect(&page, &CConnectionWidget::connectSuccess,
                         [](uint8_t, const QString&, CLayerWidget* layer) { delete layer; });
    }

    LogManager logger{QStringLiteral("Fuzz")};
    CMsg msg{&logger}; // never opened: every send fails and is logged
    FieldValueMap config;
    QString name = QStringLiteral("Fuzz");
    CConnectionWidget page{&msg, &logger, &config, &name};
    QTreeWidget tree;
};

Page* g_page = nullptr;

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
    while (!input.atEnd()) {
        const char* id = kIds[input.byte() % (sizeof kIds / sizeof *kIds)];
        const QByteArray payload = input.bytes(input.byte());
        page.onRcvMsg(uplinkFrame(id, payload));
        page.showAdvertisingTree(&g_page->tree, payload);
    }
    if (page.model()->rowCount() > 0)
        page.onTableView_devicesClicked(page.model()->index(0, 0));
    QCoreApplication::processEvents();
    return 0;
}
