// A run of isochronous uplinks into the CIG/CIS page, between them the user's hand: groups and
// streams added, rows pressed, streams ticked, the group set, streams created and disconnected,
// rows removed, data sent from the stream page shown. Input: the records of playPageRecords.

#include <QPushButton>
#include <QTextEdit>
#include <QToolButton>

#include <memory>

#include "fuzzapp.h"
#include "fuzzinput.h"
#include "iso/ccigciswidget.h"
#include "iso/cigdatatablemodel.h"
#include "iso/cisdatatablemodel.h"
#include "iso/manageciswidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

// The uplinks the page handles.
const char* const kIds[] = {"BB0601", "BB0602", "BB0603", "BB0604", "BB060B", "BB060C", "BB060D", "BB060E",
                            "DD0602", "DD0603", "DD060B", "DD0604", "DD0601", "DD0609", "DD060A", "DD060F"};
enum Action { AddCig, AddCis, PressCig, PressCis, TickCis, Click, SendTyped, ActionCount };
const char* const kButtons[] = {"toolButton_setCIG",    "toolButton_createCIS", "toolButton_disconnect",
                                "toolButton_removeCIS", "toolButton_removeCIG", "toolButton_editCIG"};

struct Link
{
    Link() { logger.setLogFile(QStringLiteral("/dev/null")); }

    LogManager logger{QStringLiteral("Fuzz")};
    CMsg msg{&logger}; // never opened: every send fails and is logged
    QString name = QStringLiteral("Fuzz");
    QByteArray masterCondixes{"\x00\x01", 2};
};

Link* g_link = nullptr;

void act(CCigCisWidget& page, int action, quint8 argument)
{
    switch (action) {
    case AddCig: {
        cigParameter cig;
        cig.cig_id = QString::number(argument % 4);
        cig.sdu_interval_m2s = cig.sdu_interval_s2m = QStringLiteral("10000");
        cig.sca = QString::number(argument % 9);
        page.on_getCigPara(cig);
        break;
    }
    case AddCis: {
        cisParameter cis;
        cis.cis_id = QString::number(argument);
        cis.max_sdu_m2s = QString::number(argument % 8);
        cis.phy_m2s = QString::number(argument % 5);
        page.on_getCisPara(cis);
        break;
    }
    case PressCig:
        page.on_CISTableView_changed(page.cigModel()->index(argument % 3, 0));
        break;
    case PressCis:
        page.on_manageCIS_changed(page.cisModel()->index(argument % 3, 0));
        break;
    case TickCis:
        page.cisModel()->setData(page.cisModel()->index(argument % 3, 0), Qt::Checked, Qt::CheckStateRole);
        break;
    case Click:
        page.findChild<QToolButton*>(QLatin1String(kButtons[argument % (sizeof kButtons / sizeof *kButtons)]))->click();
        break;
    case SendTyped:
        if (manageCISWidget* stream = page.shownManageCis()) {
            stream->findChild<QTextEdit*>(QStringLiteral("textEdit_sendData"))->setPlainText(QString::number(argument, 16));
            stream->findChild<QPushButton*>(QStringLiteral("pushButton_send"))->click();
        }
        break;
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
    auto page = std::make_unique<CCigCisWidget>(&g_link->msg, &g_link->logger, nullptr, &g_link->name,
                                                &g_link->masterCondixes);
    FuzzInput input(data, size);
    playPageRecords(input, kIds, ActionCount, [&page](const QByteArray& frame) { page->onRcvMsg(frame); },
                    [&page](int action, quint8 argument) { act(*page, action, argument); });
    page.reset();
    QCoreApplication::processEvents();
    return 0;
}
