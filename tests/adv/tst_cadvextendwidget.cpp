#include <QtTest>

#include "advpage.h"
#include "whenmodal.h"

namespace {

const char* const kKind = "Extended Advertising";
const QStringList kNoChannels = {"cb_echannal37=0", "cb_echannal38=0", "cb_echannal39=0"};
const QStringList kScannableOnly = {"cb_econnect=0", "cb_escannable=1"};

void rule(const char* tag, const QStringList& settings, const char* text)
{
    refusedRow(tag, settings, QStringLiteral("Extended Advertising Parameters Setting Error: ") + text);
}

} // namespace

// The extended set's page: its rules in their order, the parameter set and the data frame it sends.
class TestCAdvExtendWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }

    void sendParameters_data()
    {
        addPageColumns();
        rule("1 broadcaster, connectable", {"cmb_eadvmode=3", "adv=3"},
             "When Discovery Mode is Broadcaster mode, the advertising cannot be Connectable or Scannable.");
        rule("2 general, directed", {"cb_edriected=1", "adv=3"},
             "When Discovery Mode is General-discoverable mode, the Extended Advertiding cannot be Directed.");
        rule("3 general, filter", {"cb_econn=1", "adv=3"},
             "When Discovery Mode is General-discoverable mode, the cannot use Filter Policy.");
        rule("4 limited, directed", {"cmb_eadvmode=2", "cb_edriected=1"},
             "When Discovery Mode is Limited-discoverable mode, the Extended Advertiding cannot be Directed.");
        rule("5 limited, filter", {"cmb_eadvmode=2", "cb_escan=1"},
             "When Discovery Mode is Limited-discoverable mode, the cannot use Filter Policy.");
        rule("7 broadcaster, filter", {"cmb_eadvmode=3", "cb_econnect=0", "cb_escan=1", "adv=3"},
             "Filter policy can use only when Discovery Mode is Non-discoverable mode");
        rule("9 anonymous, general", {"cb_eanonymous=1", "adv=3"},
             "When Extended Advertising is Anonymous, the Discovery Mode should be Non-discoverable mode or "
             "Broadcaster mode");
        rule("10 anonymous, connectable", {"cmb_eadvmode=0", "cb_eanonymous=1", "adv=3"},
             "When Extended Advertising is Anonymous, it cannot be Connectable or Scannable.");
        rule("11 connectable and scannable", {"cb_escannable=1", "rsp=3"},
             "Extended Advertising cannot be both Connectable and Scannable");
        rule("12 scannable with advertising data", kScannableOnly + QStringList{"adv=3", "rsp=3"},
             "Scannable Extended Advertising cannot set Advertising Data");
        rule("12 scannable without a scan response", kScannableOnly,
             "Scannable Extended Advertising should set Response Data");
        rule("13 connectable without data", {}, "Not scannable Extended Advertising should set Advertising Data");
        rule("13 not scannable with a scan response", {"adv=3", "rsp=3"},
             "Not scannable Extended Advertising cannot set Response Data");
        rule("14 min a step above max", {"adv=3", "le_eprimmin=100.625"},
             "Extended Advertising's Max Adv Interval should greater than Min Adv Interval.");
        rule("15 no channel, in legacy words", QStringList{"adv=3"} + kNoChannels,
             "Legacy Advertising's should choose at least one Channel Map.");
        rule("16 directed, zero peer", {"cmb_eadvmode=0", "cb_edriected=1", "adv=3"},
             "Extended Advertising's Peer Address can't be zero when it's a directed advertising.");
        refusedRow("empty input", {"adv=3", "le_esecsid="},
                   "ERROR: There is empty input in extended advertising parameter.");

        // eadvMode, eproperties, emaxTxPower, epolicy, epeerAddr, eaddrType, eprimIntvMin, eprimIntvMax,
        // echanMap, eprimPhy, esecMaxSkip, esecPhy, esecSid, eduration, emaxAdvEvt, eadvIndex, eownType.
        passingRow("anonymous broadcaster, neither connectable nor scannable",
                   {"cmb_eadvmode=3", "cb_econnect=0", "cb_eanonymous=1", "adv=3"}, 0,
                   "aa012b" "1e00" "03" "2000" "00" "00" "000000000000" "00" "a0000000" "a0000000" "07" "01" "00" "01"
                   "00" "0000" "00" "00" "00" "a0");
        // High duty cycle and periodic TX power are shown, never sent.
        passingRow("every field at a limit, scannable",
                   {"cmb_eadvmode=0", "cb_econnect=0", "cb_escannable=1", "cb_etxpower=1", "cb_escanreq=1", "cb_ehdc=1",
                    "cb_epertxpwr=1", "cb_escan=1", "cb_econn=1", "le_emaxtxpower=127", "le_epeeraddr=C6:5A:10:00:00:07",
                    "cmb_eaddrtype=1", "le_eprimmin=20.000", "le_eprimmax=10485759.375", "cb_echannal37=0",
                    "cmb_eprimphy=1", "le_esecmaxskip=255", "cmb_esecphy=2", "le_esecsid=15", "le_eduration=655350",
                    "le_emaxadvevt=255", "cmb_eowntype=1", "rsp=3"},
                   4,
                   "aa012b" "1e00" "00" "4201" "7f" "03" "070000105ac6" "01" "20000000" "ffffff00" "06" "03" "ff" "03"
                   "0f" "ffff" "ff" "04" "01" "d6");
    }
    void sendParameters() { checkPageRow(kKind); }

    void sendData_data()
    {
        addPageColumns();
        passingRow("both lists, two length bytes each",
                   {"adv:Complete Local Name=Tarv", "rsp:UUID 16-bit Complete List=180F"}, 1,
                   "aa012d0f00" "01" "0600" "050954617276" "0400" "03030f18" "36");
        passingRow("no data", {}, 0, "aa012d0500" "00" "0000" "0000" "23");
        refusedRow("scan response equal to the marker", {"rsp:Custom AD type=46:46"},
                   "ERROR: Advertising data response is wrong.");
    }
    void sendData() { checkPageRow(kKind, "Extended Advertising Data Set"); }

    void screenshot()
    {
        saveScreenshot(kKind, {"adv:Complete Local Name=Tarvine", "adv:Appearance=C1:03"}, "cadvextendwidget.png");
    }
};

QTEST_MAIN(TestCAdvExtendWidget)
#include "tst_cadvextendwidget.moc"
