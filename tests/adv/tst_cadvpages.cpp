#include <memory>

#include <QtTest>

#include "advpage.h"
#include "linkbench.h"

namespace {

const char* const kLegacy = CAdvBaseWidget::LegacyKind;
const char* const kExtended = CAdvBaseWidget::ExtendedKind;
const char* const kPeriodic = CAdvBaseWidget::PeriodicKind;

// A page of the kind on a port whose far end the test reads.
struct PageBench : LinkBench
{
    explicit PageBench(const QString& kind)
    {
        page.reset(CAdvBaseWidget::create(kind, &msg, &logger, &config));
        page->resize(980, 760);
        log->clear();
    }

    FieldValueMap config;
    std::unique_ptr<CAdvBaseWidget> page;
    ModalCatcher boxes;
};

// The columns of a page's rows: the page, its settings, the set's index, the refusal as "title:
// text" (none for a row that passes), what the log says of it where that differs from the box,
// and the frame with its checksum for a row that passes.
void addPageColumns()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QStringList>("settings");
    QTest::addColumn<int>("advIndex");
    QTest::addColumn<QString>("refusal");
    QTest::addColumn<QString>("logged");
    QTest::addColumn<QByteArray>("frame");
}

QByteArray tag(const char* kind, const char* name)
{
    return QString(kind).section(' ', 0, 0).toLower().toLatin1() + ": " + name;
}

void refused(const char* kind, const char* name, const QStringList& settings, const QString& refusal,
             const QString& logged = QString())
{
    QTest::newRow(tag(kind, name)) << kind << settings << 0 << refusal << logged << QByteArray();
}

// A rule of the page's parameters, refused with a box of the page's own title.
void rule(const char* kind, const char* name, const QStringList& settings, const char* text)
{
    refused(kind, name, settings, QString(kind) + " Parameters Setting Error: " + text);
}

void passing(const char* kind, const char* name, const QStringList& settings, int advIndex, const char* frameHex)
{
    QTest::newRow(tag(kind, name)) << kind << settings << advIndex << QString() << QString()
                                   << QByteArray::fromHex(frameHex);
}

// A row of a page's rules or of its data frame: the page set, then sendParameters or sendData;
// the refusal, or the frame on the port.
void checkPageRow(bool data)
{
    QFETCH(QString, kind);
    QFETCH(QStringList, settings);
    QFETCH(int, advIndex);
    QFETCH(QString, refusal);
    QFETCH(QString, logged);
    QFETCH(QByteArray, frame);
    PageBench bench(kind);
    applySettings(bench.page.get(), settings);
    const QByteArray index(1, char(advIndex));
    const bool sent = data ? bench.page->sendData(index) : bench.page->sendParameters(index);
    // A frame the page builds is logged before it is queued; a refusal logs none.
    const bool framed = bench.log->texts().join('\n').contains("Downlink Command Name");
    if (!refusal.isEmpty()) {
        // Logged at level 4: a rule's title, an "ERROR" box's text, or the row's own words.
        const QString title = refusal.section(": ", 0, 0);
        if (logged.isEmpty())
            logged = title == "ERROR" ? refusal.section(": ", 1) : title;
        QVERIFY(!sent);
        QCOMPARE(bench.boxes.shown, QStringList{refusal});
        QVERIFY2(bench.log->contains(logged, 4), qPrintable(bench.log->texts().join('\n')));
        QVERIFY(!framed);
        return;
    }
    QVERIFY(sent);
    QCOMPARE(bench.boxes.shown, QStringList());
    QCOMPARE(bench.pty.read(frame.size()).toHex(), frame.toHex());
    if (!data)
        return;
    QVERIFY(bench.log->contains("Downlink Command Name: " + kind + " Data Set\r\nRaw Data: "
                                    + frame.left(frame.size() - 1).toHex() + "\r\nField Data: ",
                                2));
    // Each page as users see it, in the application's style, with a payload in its lists.
    if (!settings.isEmpty()) {
        bench.page->show();
        QVERIFY(QTest::qWaitForWindowExposed(bench.page.get()));
        QVERIFY(bench.page->grab().save(SCREENSHOT_DIR "cadv" + kind.section(' ', 0, 0).toLower() + "widget.png"));
    }
}

} // namespace

// The pages of the three kinds of set: their rules in order with message and title (the limited
// mode's twins of the general mode's rules, and the empty field, which the pages check alike, on
// the legacy page alone), rows that pass at each limit with their parameter frames, and the data
// frames as they reach a pty.
class TestCAdvPages : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }

    void sendParameters_data()
    {
        addPageColumns();
        const QStringList directedPeer = {"cmb_discmode=0", "cmb_advmode=4", "le_peeraddr=11:22:33:44:55:66"};
        const QStringList noChannels = {"cb_lchannal37=0", "cb_lchannal38=0", "cb_lchannal39=0"};
        rule(kLegacy, "1 broadcaster, connectable", {"cmb_discmode=3", "adv=3"},
             "When Discovery Mode is Broadcaster mode, the Adv Mode should be Non-connectable and non-scanable mode.");
        rule(kLegacy, "2 general, directed", {"cmb_advmode=3"},
             "When Discovery Mode is General-discoverable mode, the Adv Mode cannot be Directed mode.");
        rule(kLegacy, "3 general, filter", {"cb_lscan=1", "adv=3"},
             "When Discovery Mode is General-discoverable mode, the cannot use Filter Policy.");
        rule(kLegacy, "4 limited, directed", {"cmb_discmode=2", "cmb_advmode=4"},
             "When Discovery Mode is Limited-discoverable mode, the Adv Mode cannot be Directed mode.");
        rule(kLegacy, "5 limited, filter", {"cmb_discmode=2", "cb_lconn=1", "adv=3"},
             "When Discovery Mode is Limited-discoverable mode, the cannot use Filter Policy.");
        rule(kLegacy, "7 broadcaster, filter", {"cmb_discmode=3", "cmb_advmode=1", "cb_lscan=1", "adv=3"},
             "Filter policy can use only when Discovery Mode is Non-discoverable mode");
        rule(kLegacy, "8.2 directed, zero peer", {"cmb_discmode=0", "cmb_advmode=4"},
             "Legacy Advertising's Peer Address can't be zero when it's a directed advertising.");
        rule(kLegacy, "8.3 directed with advertising data", directedPeer + QStringList{"adv=3"},
             "Directed Legacy Advertising cannot set Advertising Data.");
        rule(kLegacy, "8.4 directed with a scan response", directedPeer + QStringList{"rsp=3"},
             "Directed Legacy Advertising cannot set Scan Response Data.");
        rule(kLegacy, "9.1 broadcaster, no payload", {"cmb_discmode=3", "cmb_advmode=1"},
             "Legacy Advertising should set Advertising Data.");
        rule(kLegacy, "9.2 advertising data of 29 bytes", {"adv=29"},
             "Legacy Advertising Advertising Data length should less than 28 bytes.");
        rule(kLegacy, "9.3 scan response of 32 bytes", {"adv=3", "rsp=32"},
             "Legacy Advertising Response Data length should less than 31 bytes.");
        rule(kLegacy, "10 min a step above max", {"adv=3", "le_intvmin=100.625"},
             "Legacy Advertising's Max Adv Interval should greater than Min Adv Interval.");
        rule(kLegacy, "10 before 11", QStringList{"adv=3", "le_intvmin=200.000"} + noChannels,
             "Legacy Advertising's Max Adv Interval should greater than Min Adv Interval.");
        rule(kLegacy, "11 no channel", QStringList{"adv=3"} + noChannels,
             "Legacy Advertising's should choose at least one Channel Map.");
        refused(kLegacy, "empty input", {"adv=3", "le_maxtxpower="},
                "ERROR: There is empty input in legacy advertising parameter.");
        // advMode, discMode, filterPolicy, peerAddr, addrType, intvMin, intvMax, chanMap, scanReqInd,
        // maxTxPower, duration, advIndex, ownType.
        passing(kLegacy, "28 bytes of data and 31 of scan response pass", {"adv=28", "rsp=31"}, 0,
                "aa0123" "1500" "00" "01" "00" "000000000000" "00" "a000" "a000" "07" "00" "00" "0000" "00" "00" "d5");
        passing(kLegacy, "directed high duty, a peer, no data: the duration from 10 ms",
                {"cmb_discmode=0", "cmb_advmode=3", "le_peeraddr=11:22:33:44:55:66"}, 0,
                "aa0123" "1500" "03" "00" "00" "665544332211" "00" "a000" "a000" "07" "00" "00" "0100" "00" "00" "6d");
        passing(kLegacy, "every field, min equal to max",
                {"cmb_discmode=0", "cb_lscan=1", "cb_lconn=1", "le_peeraddr=C6:5A:10:00:00:07", "cmb_addrtype=1",
                 "le_intvmin=20.000", "le_intvmax=20.000", "cb_lchannal38=0", "cb_lchannal39=0", "cmb_sacanreq=1",
                 "le_maxtxpower=-5", "le_duration=1000", "cmb_owntype=2", "adv=3"},
                3, "aa0123" "1500" "00" "00" "03" "070000105ac6" "01" "2000" "2000" "01" "01" "fb" "6400" "03" "02" "3c");

        const QStringList scannableOnly = {"cb_econnect=0", "cb_escannable=1"};
        rule(kExtended, "1 broadcaster, connectable", {"cmb_eadvmode=3", "adv=3"},
             "When Discovery Mode is Broadcaster mode, the advertising cannot be Connectable or Scannable.");
        rule(kExtended, "2 general, directed", {"cb_edriected=1", "adv=3"},
             "When Discovery Mode is General-discoverable mode, the Extended Advertiding cannot be Directed.");
        rule(kExtended, "3 general, filter", {"cb_econn=1", "adv=3"},
             "When Discovery Mode is General-discoverable mode, the cannot use Filter Policy.");
        rule(kExtended, "7 broadcaster, filter", {"cmb_eadvmode=3", "cb_econnect=0", "cb_escan=1", "adv=3"},
             "Filter policy can use only when Discovery Mode is Non-discoverable mode");
        rule(kExtended, "9 anonymous, general", {"cb_eanonymous=1", "adv=3"},
             "When Extended Advertising is Anonymous, the Discovery Mode should be Non-discoverable mode or "
             "Broadcaster mode");
        rule(kExtended, "10 anonymous, connectable", {"cmb_eadvmode=0", "cb_eanonymous=1", "adv=3"},
             "When Extended Advertising is Anonymous, it cannot be Connectable or Scannable.");
        rule(kExtended, "11 connectable and scannable", {"cb_escannable=1", "rsp=3"},
             "Extended Advertising cannot be both Connectable and Scannable");
        rule(kExtended, "12 scannable with advertising data", scannableOnly + QStringList{"adv=3", "rsp=3"},
             "Scannable Extended Advertising cannot set Advertising Data");
        rule(kExtended, "12 scannable without a scan response", scannableOnly,
             "Scannable Extended Advertising should set Response Data");
        rule(kExtended, "13 connectable without data", {}, "Not scannable Extended Advertising should set Advertising Data");
        rule(kExtended, "13 not scannable with a scan response", {"adv=3", "rsp=3"},
             "Not scannable Extended Advertising cannot set Response Data");
        rule(kExtended, "14 min a step above max", {"adv=3", "le_eprimmin=100.625"},
             "Extended Advertising's Max Adv Interval should greater than Min Adv Interval.");
        rule(kExtended, "15 no channel, in legacy words",
             {"adv=3", "cb_echannal37=0", "cb_echannal38=0", "cb_echannal39=0"},
             "Legacy Advertising's should choose at least one Channel Map.");
        rule(kExtended, "16 directed, zero peer", {"cmb_eadvmode=0", "cb_edriected=1", "adv=3"},
             "Extended Advertising's Peer Address can't be zero when it's a directed advertising.");
        // eadvMode, eproperties, emaxTxPower, epolicy, epeerAddr, eaddrType, eprimIntvMin, eprimIntvMax,
        // echanMap, eprimPhy, esecMaxSkip, esecPhy, esecSid, eduration, emaxAdvEvt, eadvIndex, eownType.
        passing(kExtended, "anonymous broadcaster, neither connectable nor scannable",
                {"cmb_eadvmode=3", "cb_econnect=0", "cb_eanonymous=1", "adv=3"}, 0,
                "aa012b" "1e00" "03" "2000" "00" "00" "000000000000" "00" "a0000000" "a0000000" "07" "01" "00" "01"
                "00" "0000" "00" "00" "00" "a0");
        // High duty cycle and periodic TX power are shown, never sent.
        passing(kExtended, "every field at a limit, scannable",
                {"cmb_eadvmode=0", "cb_econnect=0", "cb_escannable=1", "cb_etxpower=1", "cb_escanreq=1", "cb_ehdc=1",
                 "cb_epertxpwr=1", "cb_escan=1", "cb_econn=1", "le_emaxtxpower=127", "le_epeeraddr=C6:5A:10:00:00:07",
                 "cmb_eaddrtype=1", "le_eprimmin=20.000", "le_eprimmax=10485759.375", "cb_echannal37=0",
                 "cmb_eprimphy=1", "le_esecmaxskip=255", "cmb_esecphy=2", "le_esecsid=15", "le_eduration=655350",
                 "le_emaxadvevt=255", "cmb_eowntype=1", "rsp=3"},
                4,
                "aa012b" "1e00" "00" "4201" "7f" "03" "070000105ac6" "01" "20000000" "ffffff00" "06" "03" "ff" "03"
                "0f" "ffff" "ff" "04" "01" "d6");

        const QStringList bothData = {"adv=3", "padv=01"};
        rule(kPeriodic, "1 general, directed", bothData + QStringList{"cb_pdriected=1"},
             "When Discovery Mode is General-discoverable mode, the Periodic Advertiding cannot be Directed.");
        rule(kPeriodic, "4 broadcaster, directed", {"cmb_pdiscmode=3", "cb_pdriected=1"},
             "When Periodic Advertising is Directed, the Discovery Mode should be Non-discoverable mode.");
        rule(kPeriodic, "5 periodic data alone", {"padv=01:02"}, "Periodic Advertising should set Advertising Data.");
        rule(kPeriodic, "6 min a step above max", bothData + QStringList{"le_pprimmin=200.625"},
             "Periodic Advertising's Max Adv Interval should greater than Min Adv Interval.");
        rule(kPeriodic, "7 no channel", bothData + QStringList{"cb_pchannal37=0", "cb_pchannal38=0", "cb_pchannal39=0"},
             "Periodic Advertising's should choose at least one Channel Map.");
        rule(kPeriodic, "8 advertising data alone", {"adv=3"}, "Periodic Advertising should set PAdv Data.");
        rule(kPeriodic, "9 directed, zero peer", bothData + QStringList{"cmb_pdiscmode=0", "cb_pdriected=1"},
             "Periodic Advertising's Peer Address can't be zero when it's a directed advertising.");
        // pdiscMode, pproperties, pmaxTxPower, ppolicy, ppeerAddr, paddrType, pprimIntvMin, pprimIntvMax,
        // pchanMap, pprimPhy, psecMaxSkip, psecPhy, psecSid, pperIntvMin, pperIntvMax, pduration,
        // pmaxAdvEvt, padvIndex, pownType.
        passing(kPeriodic, "periodic data of half a byte passes the rules", {"adv=3", "padv=ABC"}, 0,
                "aa0131" "2200" "01" "0000" "00" "00" "000000000000" "00" "40010000" "40010000" "07" "01" "00" "01"
                "00" "a000" "a000" "0000" "00" "00" "00" "36");
        // The periodic interval's minimum and maximum are not compared.
        passing(kPeriodic, "every field, periodic interval at both limits",
                {"cmb_pdiscmode=0", "cb_pdriected=1", "cb_ptxpower=1", "cb_ppertxpwr=1", "cb_phdc=1",
                 "le_pmaxtxpower=-127", "le_ppeeraddr=C6:5A:10:00:00:07", "cmb_paddrtype=1", "le_pprimmin=20.000",
                 "le_pprimmax=20.000", "cb_pchannal37=0", "cb_pchannal38=0", "cmb_pprimphy=1", "le_psecmaxskip=1",
                 "cmb_psecphy=1", "le_psecsid=2", "le_ppermin=81918.75", "le_ppermax=7.50", "le_pduration=10",
                 "le_pmaxadvevt=3", "cmb_powntype=2", "adv=3", "padv=01"},
                1,
                "aa0131" "2200" "00" "c400" "81" "00" "070000105ac6" "01" "20000000" "20000000" "04" "03" "01" "02"
                "02" "ffff" "0600" "0100" "03" "01" "02" "2e");
    }
    void sendParameters() { checkPageRow(false); }

    void sendData_data()
    {
        addPageColumns();
        passing(kLegacy, "both lists, one length byte each",
                {"adv:Complete Local Name=Tarv", "rsp:UUID 16-bit Complete List=180F"}, 2,
                "aa01250d00" "02" "06" "050954617276" "04" "03030f18" "3f");
        passing(kLegacy, "no data", {}, 0, "aa0125" "0300" "000000" "2d");
        // The payload 46 46 reads as the editor's marker "FF".
        refused(kLegacy, "advertising data equal to the marker", {"adv:Custom AD type=46:46"},
                "ERROR: Advertising data is wrong.");
        refused(kLegacy, "scan response equal to the marker", {"rsp:Custom AD type=46:46"},
                "ERROR: Advertising data response is wrong.");
        passing(kExtended, "both lists, two length bytes each",
                {"adv:Complete Local Name=Tarv", "rsp:UUID 16-bit Complete List=180F"}, 1,
                "aa012d0f00" "01" "0600" "050954617276" "0400" "03030f18" "36");
        passing(kExtended, "no data", {}, 0, "aa012d0500" "00" "0000" "0000" "23");
        refused(kExtended, "scan response equal to the marker", {"rsp:Custom AD type=46:46"},
                "ERROR: Advertising data response is wrong.");
        passing(kPeriodic, "three payloads, two length bytes each",
                {"adv:Complete Local Name=Tarv", "rsp:UUID 16-bit Complete List=180F", "padv=01:02:03"}, 0,
                "aa01331400" "00" "0600" "050954617276" "0400" "03030f18" "0300" "010203" "23");
        refused(kPeriodic, "periodic data of half a byte", {"adv=3", "padv=ABC"}, "ERROR: Periodic data is wrong.",
                "Periodic data is wrong");
        refused(kPeriodic, "advertising data refused first", {"adv:Custom AD type=46:46", "padv=ABC"},
                "ERROR: Advertising data is wrong.");
    }
    void sendData() { checkPageRow(true); }
};

QTEST_MAIN(TestCAdvPages)
#include "tst_cadvpages.moc"
