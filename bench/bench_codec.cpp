// Rates of the codec's two hot operations: building "5_0_Connect" and cutting an advertising
// report. Run by hand; prints operations per second.

#include <cstdio>

#include <QCoreApplication>
#include <QElapsedTimer>

#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"

namespace {

FieldValueMap connectFields()
{
    FieldValueMap m{{"5_0_conn_type", 0},
                    {"5_0_conn_properties", 1},
                    {"5_0_conn_timeout", QString("01f4")},
                    {"5_0_conn_scan_interval_1m", QString("0060")},
                    {"5_0_conn_scan_window_1m", QString("0030")},
                    {"5_0_conn_scan_interval_coded", QString("0060")},
                    {"5_0_conn_scan_window_coded", QString("0030")},
                    {"addr", QString("C0A1B2C3D4E5")},
                    {"addr_type", 1},
                    {"5_0_conn_own_addr_type", 0}};
    for (const char* phy : {"1m", "2m", "coded"}) {
        const QString p = QString::fromLatin1(phy);
        m.insert("5_0_conn_interval_min_" + p, QString("0018"));
        m.insert("5_0_conn_interval_max_" + p, QString("0028"));
        m.insert("5_0_conn_latency_" + p, QString("0000"));
        m.insert("5_0_conn_supervision_timeout_" + p, QString("01f4"));
        m.insert("5_0_conn_ce_" + p, QString("0002"));
    }
    return m;
}

template <typename F>
double rate(const char* what, F op)
{
    constexpr qint64 budgetMs = 1500;
    QElapsedTimer timer;
    timer.start();
    qint64 count = 0;
    while (timer.elapsed() < budgetMs) {
        for (int i = 0; i < 1000; ++i)
            op();
        count += 1000;
    }
    const double perSecond = count * 1000.0 / timer.elapsed();
    std::printf("%-58s %12.0f ops/s\n", what, perSecond);
    return perSecond;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    CCfgFileParse::instance();

    // A tab's manager without its file logger: the console (warnings and up) and the dummy
    // drop information lines at the threshold, so the figure is the codec's own cost plus
    // the text it builds for the log.
    LogManager logger(QStringLiteral("bench_codec"));
    logger.removeLogger(QStringLiteral("file_logger"));

    const FieldValueMap fields = connectFields();
    const FieldValueMap none;
    volatile int sink = 0;

    rate("sendMsg 5_0_Connect, null port, thresholded LogManager", [&] {
        sink += CCommand::sendMsg(nullptr, &logger, QStringLiteral("5_0_Connect"), fields, none);
    });
    rate("sendMsg 5_0_Connect, null port, no logger", [&] {
        sink += CCommand::sendMsg(nullptr, nullptr, QStringLiteral("5_0_Connect"), fields, none);
    });

    const QByteArray report = QByteArray::fromHex(
        "DD01022F00C0A1B2C3D4E5017FC401010100FF0000FF"
        "0201061107FB349B5F80000080001000000D180000080954617276696E65");
    rate("parseUplinkMsg DD@01@02 advertising report", [&] {
        UplinkFieldMap parsed;
        sink += CCommand::parseUplinkMsg(&logger, report, parsed);
    });
    rate("isInvalidUpLinkMsg + uplinkId + parseUplinkMsg", [&] {
        if (!CCommand::isInvalidUpLinkMsg(&logger, report))
            return;
        UplinkFieldMap parsed;
        sink += CCommand::uplinkId(report).size() + CCommand::parseUplinkMsg(&logger, report, parsed);
    });
    return sink == 42 ? 1 : 0;
}
