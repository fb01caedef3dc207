// A run of test-mode uplinks into the LCP or the IDT page (the first byte picks one), between
// them the user's hand: editors filled, buttons clicked, the time-out tick, a copy, the dongle's
// reset. Input: the first byte, then the records of playPageRecords.

#include <QLineEdit>
#include <QPushButton>

#include <memory>

#include "fuzzapp.h"
#include "fuzzinput.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "rftest/cidtwidget.h"
#include "rftest/clcpwidget.h"

namespace {

// The uplinks each page handles.
const char* const kLcpIds[] = {"BB0901", "BB0902", "BB0903", "BB0904", "BB0905", "BB0906", "BB0907", "DD0905"};
const char* const kIdtIds[] = {"BB0A01", "BB0A02", "BB0A03", "BB0A04", "BB0A05", "BB0A06", "BB0A07", "DD0A05"};
enum Action { Type, Click, TimeOutTick, Copy, Reset, ActionCount };
const char* const kButtons[] = {"btn_set", "btn_send", "btn_startrx", "btn_clearrx", "btn_startlcp", "btn_startidt"};
const char* const kTexts[] = {"", "0", "FD", "FE", "-20", "4294967295", "zz", "0102030405"};

struct Link
{
    Link() { logger.setLogFile(QStringLiteral("/dev/null")); }

    LogManager logger{QStringLiteral("Fuzz")};
    CMsg msg{&logger}; // never opened: every send fails and is logged
    QString name = QStringLiteral("Fuzz");
};

Link* g_link = nullptr;

void act(CRfTestWidget& page, int action, quint8 argument)
{
    switch (action) {
    case Type: {
        const QList<QLineEdit*> editors = page.findChildren<QLineEdit*>();
        editors.at((argument / 8) % editors.size())->setText(QLatin1String(kTexts[argument % 8]));
        break;
    }
    case Click:
        // The other page's mode button is not there.
        if (QPushButton* button = page.findChild<QPushButton*>(QLatin1String(kButtons[argument % 6])))
            button->click();
        break;
    case TimeOutTick:
        page.onTxTimeOut();
        break;
    case Copy:
        page.onCopyRxData();
        break;
    case Reset:
        page.reset();
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
    FuzzInput input(data, size);
    const bool lcp = input.byte() % 2 == 0;
    std::unique_ptr<CRfTestWidget> page;
    if (lcp)
        page = std::make_unique<CLCPwidget>(&g_link->msg, &g_link->logger, &g_link->name);
    else
        page = std::make_unique<CIDTwidget>(&g_link->msg, &g_link->logger, &g_link->name);
    const auto receive = [&page](const QByteArray& frame) { page->onRcvMsg(frame); };
    const auto hand = [&page](int action, quint8 argument) { act(*page, action, argument); };
    if (lcp)
        playPageRecords(input, kLcpIds, ActionCount, receive, hand);
    else
        playPageRecords(input, kIdtIds, ActionCount, receive, hand);
    page.reset();
    QCoreApplication::processEvents();
    return 0;
}
