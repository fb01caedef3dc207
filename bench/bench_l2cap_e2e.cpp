// One credit-based channel end to end: a tab on a simulated dongle (tarvine-sim with --baud-pace
// and the default world) connects to the heart-rate sensor, opens a channel to its echo service
// and sends a large file through it, handing credits back by the threshold. Prints the bytes a
// second sent and echoed beside the bound that the send pace sets (one frame every 100 ms, one
// SDU a frame), and the longest gap of a 10 ms GUI timer meanwhile. Offscreen unless
// QT_QPA_PLATFORM says otherwise. Usage: bench_l2cap_e2e [SECONDS]

#include <algorithm>
#include <cstdio>
#include <functional>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileDialog>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>

#include "app/maindonglewidget.h"
#include "app/mainwindow.h"
#include "gap/cconnectionwidget.h"
#include "gap/clayerwidget.h"
#include "l2cap/cl2capwidget.h"
#include "l2cap/csduwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/cmsgfield.h"
#include "schema/cstandardmsgdlg.h"
#include "schema/cvalidatelineedit.h"

#include "benchconnect.h"
#include "benchsim.h"
#include "benchwait.h"
#include "guigapmeter.h"
#include "whenmodal.h"

namespace {

const QString kSensor = QStringLiteral("c6:5a:10:00:00:01");
constexpr int kEchoPsm = 128;
// The echo's MTU, which cuts every SDU the dongle sends.
constexpr int kPeerMtu = 512;
constexpr int kSendTickMs = 100;
constexpr qint64 kMaxGapMs = 50;
constexpr int kFileBytes = 1 << 20;

int fail(const char* what)
{
    std::printf("bench_l2cap_e2e: %s\n", what);
    return 2;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    const int seconds = argc > 1 ? std::max(2, atoi(argv[1])) : 10;

    BenchSim sim;
    if (!sim.start(1, {"--baud-pace"}))
        return fail("the simulator did not start");
    MainWindow window;
    window.resize(1400, 900);
    window.show();
    const char* why = nullptr;
    const QVector<MainDongleWidget*> tabs = openDongles(window, &why);
    if (tabs.isEmpty())
        return fail(why);
    MainDongleWidget* tab = tabs.first();

    CLayerWidget* layer = connectFromMaster(tab, kSensor, &why);
    if (!layer)
        return fail(why);
    CL2capWidget* l2cap = layer->l2capPage();
    layer->pages()->setCurrentWidget(l2cap);

    // A channel whose echoed SDUs take one K-frame each.
    l2cap->findChild<QToolButton*>(QStringLiteral("toolButtonAdd"))->click();
    auto* form = l2cap->findChild<CStandardMsgDlg*>();
    form->form()->setEditorTexts({{"le_psm", QString::number(kEchoPsm)}, {"local_cid", "64"},
                                  {"local_credits", "255"}, {"mtu", "2048"}, {"mps", "2048"}});
    form->findChild<QPushButton*>(QStringLiteral("pushButtonOK"))->click();
    if (!waitFor([l2cap] { return l2cap->sduPage(QStringLiteral("64")) != nullptr; }, 10000))
        return fail("the channel never opened");
    CSduWidget* page = l2cap->sduPage(QStringLiteral("64"));
    // Credits go back by the threshold, 200 at a time.
    page->findChild<CValidateLineEdit*>(QStringLiteral("lineEditCredit"))->setText(QStringLiteral("200"));
    page->findChild<QRadioButton*>(QStringLiteral("radioButtonAuto"))->setChecked(true);
    page->findChild<CValidateLineEdit*>(QStringLiteral("lineEditThreshold"))->setText(QStringLiteral("100"));

    QFile file(sim.workdir.filePath(QStringLiteral("big.bin")));
    if (!file.open(QIODevice::WriteOnly) || !file.resize(kFileBytes))
        return fail("the file could not be made");
    file.close();
    whenModal([&file](QWidget* dialog) {
        auto* picker = qobject_cast<QFileDialog*>(dialog);
        picker->selectFile(file.fileName());
        static_cast<QDialog*>(picker)->accept();
    });
    page->findChild<QPushButton*>(QStringLiteral("pushButtonSendFile"))->click();
    const auto count = [page](const char* label) {
        return page->findChild<QLabel*>(QLatin1String(label))->text().toLongLong();
    };
    waitFor([] { return false; }, 2000); // the transfer settles into its pace

    GuiGapMeter gaps;
    gaps.setLimitMs(kMaxGapMs);
    const qint64 sentBefore = count("labelSendedCount");
    const qint64 echoedBefore = count("labelRxLength");
    QElapsedTimer clock;
    clock.start();
    gaps.start();
    waitFor([&clock, seconds] { return clock.elapsed() >= seconds * 1000; }, seconds * 1000 + 1000);
    const double elapsed = clock.nsecsElapsed() / 1e9;
    const double sent = (count("labelSendedCount") - sentBefore) / elapsed;
    const double echoed = (count("labelRxLength") - echoedBefore) / elapsed;
    const double bound = 1000.0 / kSendTickMs * kPeerMtu;

    std::printf("one channel to the echo service, SDUs of %d bytes, credits back by the threshold\n", kPeerMtu);
    std::printf("sent %.0f bytes/s, echoed %.0f bytes/s; the send pace bounds it at %.0f bytes/s "
                "(one frame every %d ms)\n",
                sent, echoed, bound, kSendTickMs);
    std::printf("longest gap of a 10 ms GUI timer: %lld ms, the GUI thread busy %lld ms of it; gaps over %lld ms: %d\n",
                static_cast<long long>(gaps.longestGapMs()), static_cast<long long>(gaps.longestGapBusyMs()),
                static_cast<long long>(kMaxGapMs), gaps.gapsOver());

    tab->prepareDelete();
    const bool met = sent > 0 && gaps.longestGapMs() <= kMaxGapMs;
    std::printf("bench_l2cap_e2e: data moving and no GUI gap over %lld ms: %s\n", static_cast<long long>(kMaxGapMs),
                met ? "met" : "missed");
    return met ? 0 : 1;
}
