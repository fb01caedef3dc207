// A run of L2CAP uplinks into one connection's L2CAP tab, between them the user's hand: a channel
// row pressed, the disconnect button, typed data sent, credits handed back, the peer's requests
// answered. Input: the records of playPageRecords.

#include <QListWidget>
#include <QPushButton>
#include <QTextEdit>
#include <QToolButton>

#include <memory>

#include "fuzzapp.h"
#include "fuzzinput.h"
#include "l2cap/ccreatecocreqdlg.h"
#include "l2cap/cl2capwidget.h"
#include "l2cap/csduwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

// The uplinks the tab handles.
const char* const kIds[] = {"BB0401", "DD0402", "BB0403", "DD0404", "DD0406", "BB0701",
                            "DD040A", "BB040B", "DD040C", "DD0415", "BB0413", "DD0414"};
enum Action { PressRow, ClickDisconnect, SendTyped, SendCredit, AnswerRequests, ActionCount };

struct Link
{
    Link() { logger.setLogFile(QStringLiteral("/dev/null")); }

    LogManager logger{QStringLiteral("Fuzz")};
    CMsg msg{&logger}; // never opened: every send fails and is logged
    QString name = QStringLiteral("Fuzz");
};

Link* g_link = nullptr;

void act(CL2capWidget& tab, int action, quint8 argument)
{
    auto* list = tab.findChild<QListWidget*>(QStringLiteral("listWidget"));
    CSduWidget* page = list->currentItem() ? tab.sduPage(list->currentItem()->text().mid(12).chopped(1)) : nullptr;
    switch (action) {
    case PressRow:
        list->setCurrentRow(argument % 4);
        break;
    case ClickDisconnect:
        tab.findChild<QToolButton*>(QStringLiteral("toolButtonRemove"))->click();
        break;
    case SendTyped:
        if (page) {
            page->findChild<QTextEdit*>(QStringLiteral("textEditTX"))->setPlainText(QString::number(argument, 16));
            page->findChild<QPushButton*>(QStringLiteral("pushButtonSend"))->click();
        }
        break;
    case SendCredit:
        if (page)
            page->findChild<QPushButton*>(QStringLiteral("pushButtonSendCredit"))->click();
        break;
    case AnswerRequests:
        for (CCreateCOCReqDlg* request : tab.findChildren<CCreateCOCReqDlg*>())
            argument % 2 ? request->on_pushButtonAccept_clicked() : request->on_pushButtonReject_clicked();
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
    auto tab = std::make_unique<CL2capWidget>(0, &g_link->msg, &g_link->logger, &g_link->name);
    FuzzInput input(data, size);
    playPageRecords(input, kIds, ActionCount, [&tab](const QByteArray& frame) { tab->onRcvMsg(frame); },
                    [&tab](int action, quint8 argument) { act(*tab, action, argument); });
    tab.reset();
    QCoreApplication::processEvents();
    return 0;
}
