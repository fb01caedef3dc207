// Scan reports per second through CConnectionWidget::onRcvMsg into the device table, for 100,
// 1,000 and 10,000 advertisers, with the page hidden and shown. Run by hand; offscreen unless
// QT_QPA_PLATFORM says otherwise.

#include <cstdio>

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>

#include "gap/cconnectionwidget.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

namespace {

constexpr double kTargetAt1000 = 20000.0;
// Events run this often, as the receive thread's queued frames would let them.
constexpr int kReportsPerEventLoop = 100;

// A legacy connectable report with a 31-byte payload: flags, the name "Sensor-NNNNN", the Heart
// Rate service and a manufacturer record.
QByteArray report(int advertiser, int round)
{
    QByteArray ad = QByteArray::fromHex("020106");
    const QByteArray name = QStringLiteral("Sensor-%1").arg(advertiser, 5, 10, QLatin1Char('0')).toLatin1();
    ad += char(name.size() + 1);
    ad += char(0x09);
    ad += name;
    ad += QByteArray::fromHex("03030d18" "09ff4c00");
    ad += char(round);
    ad += QByteArray::fromHex("0102030405");

    QByteArray body;
    for (int i = 0; i < 4; ++i)
        body += char((advertiser >> (8 * i)) & 0xff);
    body += QByteArray::fromHex("5ac6" "01" "7f");
    body += char(-40 - (advertiser + round) % 50); // rssi moves, as on air
    body += QByteArray::fromHex("03" "01" "01" "00" "ff" "0000" "ff");
    body += char(ad.size());
    body += char(0);
    body += ad;

    QByteArray frame = QByteArray::fromHex("dd0102");
    frame += char(body.size() & 0xff);
    frame += char(body.size() >> 8);
    return frame + body;
}

struct Rates
{
    double firstSight = 0;
    double steady = 0;
};

Rates run(int advertisers, bool shown)
{
    LogManager logger(QStringLiteral("bench_scan"));
    CMsg msg(&logger);
    FieldValueMap config;
    const QString dongle = QStringLiteral("bench");
    CConnectionWidget page(&msg, &logger, &config, &dongle);
    if (shown) {
        page.resize(1400, 700);
        page.show();
        QCoreApplication::processEvents();
    }

    // Frames are built beforehand, four rounds of each, so only the page is timed.
    QVector<QByteArray> frames;
    for (int round = 0; round < 4; ++round) {
        for (int a = 0; a < advertisers; ++a)
            frames.append(report(a, round));
    }

    Rates rates;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < advertisers; ++i) {
        page.onRcvMsg(frames.at(i));
        if (i % kReportsPerEventLoop == kReportsPerEventLoop - 1)
            QCoreApplication::processEvents();
    }
    QCoreApplication::processEvents();
    rates.firstSight = advertisers * 1e9 / timer.nsecsElapsed();

    constexpr qint64 budgetNs = 2000000000;
    qint64 count = 0;
    timer.restart();
    while (timer.nsecsElapsed() < budgetNs || count < advertisers) {
        page.onRcvMsg(frames.at(advertisers + int(count % (3 * advertisers))));
        if (++count % kReportsPerEventLoop == 0)
            QCoreApplication::processEvents();
    }
    QCoreApplication::processEvents();
    rates.steady = count * 1e9 / timer.nsecsElapsed();
    // A payload the page could not split would make these figures meaningless.
    const QString last = page.model()->data(page.model()->index(advertisers - 1, 0)).toString();
    if (page.model()->rowCount() != advertisers || frames.last().size() != 5 + 17 + 2 + 31
        || last != QStringLiteral("Sensor-%1").arg(advertisers - 1, 5, 10, QLatin1Char('0')))
        std::printf("bench_scan: unexpected table for %d advertisers\n", advertisers);

    QDir(logger.logFolder()).removeRecursively();
    return rates;
}

} // namespace

int main(int argc, char* argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);

    bool met = true;
    for (const bool shown : {false, true}) {
        double at1000 = 0;
        for (const int advertisers : {100, 1000, 10000}) {
            const Rates rates = run(advertisers, shown);
            char what[80];
            std::snprintf(what, sizeof what, "scan reports, %5d advertisers, page %s", advertisers,
                          shown ? "shown" : "hidden");
            std::printf("%-44s first sight %10.0f reports/s, steady %10.0f reports/s\n", what,
                        rates.firstSight, rates.steady);
            if (advertisers == 1000) {
                at1000 = rates.steady;
                met = met && at1000 >= kTargetAt1000;
            }
            if (advertisers == 10000)
                met = met && 2 * rates.steady >= at1000;
        }
    }
    std::printf("bench_scan: steady rate at 1,000 advertisers %.0f reports/s or more, 10,000 within "
                "half of it: %s\n",
                kTargetAt1000, met ? "met" : "missed");
    QDir().rmdir(LogManager::logRoot());
    return met ? 0 : 1;
}
