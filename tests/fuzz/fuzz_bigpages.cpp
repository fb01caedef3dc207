// A run of isochronous uplinks into the pages of a broadcast and of a peripheral's stream, all
// three fed the same frames, between them the user's hand: BIGs and BISes added, rows pressed,
// the buttons of both BIG pages. Input: the records of playPageRecords.

#include <QToolButton>

#include <memory>

#include "fuzzapp.h"
#include "fuzzinput.h"
#include "iso/bigdatatablemodel.h"
#include "iso/bisdatatablemodel.h"
#include "iso/masterbigwidget.h"
#include "iso/slavebigdatatablemodel.h"
#include "iso/slavebigwidget.h"
#include "iso/slaveciswidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

// The uplinks the three pages handle.
const char* const kIds[] = {"BB0601", "BB0607", "BB0608", "BB0609", "BB060A", "BB060B", "BB060C", "BB060D",
                            "BB060E", "DD0605", "DD0606", "DD0607", "DD0612", "DD060B", "DD0601", "DD0609",
                            "DD060A", "DD060F"};
enum Action { AddBig, AddBis, AddSlaveBig, PressBig, PressBis, Click, ActionCount };
const char* const kButtons[] = {"toolButton_createBIG", "toolButton_terminateBIG", "toolButton_removeBIG",
                                "toolButton_removeBIS", "toolButton_editBIS"};

struct Link
{
    Link() { logger.setLogFile(QStringLiteral("/dev/null")); }

    LogManager logger{QStringLiteral("Fuzz")};
    CMsg msg{&logger}; // never opened: every send fails and is logged
};

Link* g_link = nullptr;

struct Pages
{
    MasterBIGWidget receiver{&g_link->msg, &g_link->logger, nullptr};
    SlaveBIGWidget broadcaster{&g_link->msg, &g_link->logger, nullptr};
    SlaveCISWidget stream{&g_link->msg, &g_link->logger, nullptr, {{"cis_connection_handle", QByteArray("\x01\x01")}}};
};

void act(Pages& pages, int action, quint8 argument)
{
    const QString id = QString::number(argument % 4);
    switch (action) {
    case AddBig:
        pages.receiver.on_rcvBIGPara(bigParameter{id, "100", QString::number(argument % 3), "01:02", "3", 0});
        break;
    case AddBis:
        pages.receiver.on_rcvBISPara(bisParameter{id, QString()});
        break;
    case AddSlaveBig:
        pages.broadcaster.on_rcvBIGPara(slaveBigPara{id, "1", QString::number(argument % 5), "10000", "40", "10",
                                                     "2", "1", "0", "0", "0", "", 0});
        break;
    case PressBig:
        pages.receiver.on_BIGTableView_changed(pages.receiver.bigModel()->index(argument % 3, 0));
        pages.broadcaster.on_BIGTableView_changed(pages.broadcaster.bigModel()->index(argument % 3, 0));
        break;
    case PressBis:
        pages.receiver.on_BISTableView_changed(pages.receiver.bisModel()->index(argument % 3, 0));
        pages.broadcaster.on_BISTableView_changed(pages.broadcaster.bisModel()->index(argument % 3, 0));
        break;
    case Click: {
        const QString name = QLatin1String(kButtons[argument % (sizeof kButtons / sizeof *kButtons)]);
        for (QWidget* page : {static_cast<QWidget*>(&pages.receiver), static_cast<QWidget*>(&pages.broadcaster)}) {
            if (auto* button = page->findChild<QToolButton*>(name))
                button->click();
        }
        break;
    }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzApplication(argc, argv);
    g_link = new Link;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto pages = std::make_unique<Pages>();
    FuzzInput input(data, size);
    playPageRecords(
        input, kIds, ActionCount,
        [&pages](const QByteArray& frame) {
            pages->receiver.onRcvMsg(frame);
            pages->broadcaster.onRcvMsg(frame);
            pages->stream.onRcvMsg(frame);
        },
        [&pages](int action, quint8 argument) { act(*pages, action, argument); });
    pages.reset();
    QCoreApplication::processEvents();
    return 0;
}
