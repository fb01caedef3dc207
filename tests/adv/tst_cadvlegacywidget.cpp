#include <QtTest>

#include "advpage.h"
#include "whenmodal.h"

namespace {

const char* const kKind = "Legacy Advertising";
const QStringList kDirectedPeer = {"cmb_discmode=0", "cmb_advmode=4", "le_peeraddr=11:22:33:44:55:66"};
const QStringList kNoChannels = {"cb_lchannal37=0", "cb_lchannal38=0", "cb_lchannal39=0"};

void rule(const char* tag, const QStringList& settings, const char* text)
{
    refusedRow(tag, settings, QStringLiteral("Legacy Advertising Parameters Setting Error: ") + text);
}

} // namespace

// The legacy set's page: its rules in their order, the parameter set and the data frame it sends.
class TestCAdvLegacyWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }

    void sendParameters_data()
    {
        addPageColumns();
        rule("1 broadcaster, connectable", {"cmb_discmode=3", "adv=3"},
             "When Discovery Mode is Broadcaster mode, the Adv Mode should be Non-connectable and non-scanable mode.");
        rule("2 general, directed", {"cmb_advmode=3"},
             "When Discovery Mode is General-discoverable mode, the Adv Mode cannot be Directed mode.");
        rule("3 general, filter", {"cb_lscan=1", "adv=3"},
             "When Discovery Mode is General-discoverable mode, the cannot use Filter Policy.");
        rule("4 limited, directed", {"cmb_discmode=2", "cmb_advmode=4"},
             "When Discovery Mode is Limited-discoverable mode, the Adv Mode cannot be Directed mode.");
        rule("5 limited, filter", {"cmb_discmode=2", "cb_lconn=1", "adv=3"},
             "When Discovery Mode is Limited-discoverable mode, the cannot use Filter Policy.");
        rule("7 broadcaster, filter", {"cmb_discmode=3", "cmb_advmode=1", "cb_lscan=1", "adv=3"},
             "Filter policy can use only when Discovery Mode is Non-discoverable mode");
        rule("8.2 directed, zero peer", {"cmb_discmode=0", "cmb_advmode=4"},
             "Legacy Advertising's Peer Address can't be zero when it's a directed advertising.");
        rule("8.3 directed with advertising data", kDirectedPeer + QStringList{"adv=3"},
             "Directed Legacy Advertising cannot set Advertising Data.");
        rule("8.4 directed with a scan response", kDirectedPeer + QStringList{"rsp=3"},
             "Directed Legacy Advertising cannot set Scan Response Data.");
        rule("9.1 broadcaster, no payload", {"cmb_discmode=3", "cmb_advmode=1"},
             "Legacy Advertising should set Advertising Data.");
        rule("9.2 advertising data of 29 bytes", {"adv=29"},
             "Legacy Advertising Advertising Data length should less than 28 bytes.");
        rule("9.3 scan response of 32 bytes", {"adv=3", "rsp=32"},
             "Legacy Advertising Response Data length should less than 31 bytes.");
        rule("10 min a step above max", {"adv=3", "le_intvmin=100.625"},
             "Legacy Advertising's Max Adv Interval should greater than Min Adv Interval.");
        rule("10 before 11", QStringList{"adv=3", "le_intvmin=200.000"} + kNoChannels,
             "Legacy Advertising's Max Adv Interval should greater than Min Adv Interval.");
        rule("11 no channel", QStringList{"adv=3"} + kNoChannels,
             "Legacy Advertising's should choose at least one Channel Map.");
        refusedRow("empty input", {"adv=3", "le_maxtxpower="},
                   "ERROR: There is empty input in legacy advertising parameter.");

        // advMode, discMode, filterPolicy, peerAddr, addrType, intvMin, intvMax, chanMap, scanReqInd,
        // maxTxPower, duration, advIndex, ownType.
        passingRow("28 bytes of data and 31 of scan response pass", {"adv=28", "rsp=31"}, 0,
                   "aa0123" "1500" "00" "01" "00" "000000000000" "00" "a000" "a000" "07" "00" "00" "0000" "00" "00" "d5");
        passingRow("directed high duty, a peer, no data: the duration from 10 ms",
                   {"cmb_discmode=0", "cmb_advmode=3", "le_peeraddr=11:22:33:44:55:66"}, 0,
                   "aa0123" "1500" "03" "00" "00" "665544332211" "00" "a000" "a000" "07" "00" "00" "0100" "00" "00" "6d");
        passingRow("every field, min equal to max",
                   {"cmb_discmode=0", "cb_lscan=1", "cb_lconn=1", "le_peeraddr=C6:5A:10:00:00:07", "cmb_addrtype=1",
                    "le_intvmin=20.000", "le_intvmax=20.000", "cb_lchannal38=0", "cb_lchannal39=0", "cmb_sacanreq=1",
                    "le_maxtxpower=-5", "le_duration=1000", "cmb_owntype=2", "adv=3"},
                   3, "aa0123" "1500" "00" "00" "03" "070000105ac6" "01" "2000" "2000" "01" "01" "fb" "6400" "03" "02" "3c");
    }
    void sendParameters() { checkPageRow(kKind); }

    void sendData_data()
    {
        addPageColumns();
        passingRow("both lists, one length byte each",
                   {"adv:Complete Local Name=Tarv", "rsp:UUID 16-bit Complete List=180F"}, 2,
                   "aa01250d00" "02" "06" "050954617276" "04" "03030f18" "3f");
        passingRow("no data", {}, 0, "aa0125" "0300" "000000" "2d");
        // The payload 46 46 reads as the editor's marker "FF".
        refusedRow("advertising data equal to the marker", {"adv:Custom AD type=46:46"},
                   "ERROR: Advertising data is wrong.");
        refusedRow("scan response equal to the marker", {"rsp:Custom AD type=46:46"},
                   "ERROR: Advertising data response is wrong.");
    }
    void sendData() { checkPageRow(kKind, "Legacy Advertising Data Set"); }

    void screenshot()
    {
        saveScreenshot(kKind, {"adv:Complete Local Name=Tarvine", "adv:UUID 16-bit Complete List=180D",
                               "rsp:Tx Power Level=F4"},
                       "cadvlegacywidget.png");
    }
};

QTEST_MAIN(TestCAdvLegacyWidget)
#include "tst_cadvlegacywidget.moc"
