#include <QtTest>

#include "advpage.h"
#include "whenmodal.h"

namespace {

const char* const kKind = "Periodic Advertising";
const QStringList kBothData = {"adv=3", "padv=01"};

void rule(const char* tag, const QStringList& settings, const char* text)
{
    refusedRow(tag, settings, QStringLiteral("Periodic Advertising Parameters Setting Error: ") + text);
}

} // namespace

// The periodic set's page: its rules in their order, the parameter set and the data frame it sends.
class TestCAdvPeriodicWidget : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }

    void sendParameters_data()
    {
        addPageColumns();
        rule("1 general, directed", kBothData + QStringList{"cb_pdriected=1"},
             "When Discovery Mode is General-discoverable mode, the Periodic Advertiding cannot be Directed.");
        rule("2 limited, directed", {"cmb_pdiscmode=2", "cb_pdriected=1"},
             "When Discovery Mode is Limited-discoverable mode, the Periodic Advertiding cannot be Directed.");
        rule("4 broadcaster, directed", {"cmb_pdiscmode=3", "cb_pdriected=1"},
             "When Periodic Advertising is Directed, the Discovery Mode should be Non-discoverable mode.");
        rule("5 periodic data alone", {"padv=01:02"}, "Periodic Advertising should set Advertising Data.");
        rule("6 min a step above max", kBothData + QStringList{"le_pprimmin=200.625"},
             "Periodic Advertising's Max Adv Interval should greater than Min Adv Interval.");
        rule("7 no channel", kBothData + QStringList{"cb_pchannal37=0", "cb_pchannal38=0", "cb_pchannal39=0"},
             "Periodic Advertising's should choose at least one Channel Map.");
        rule("8 advertising data alone", {"adv=3"}, "Periodic Advertising should set PAdv Data.");
        rule("9 directed, zero peer", kBothData + QStringList{"cmb_pdiscmode=0", "cb_pdriected=1"},
             "Periodic Advertising's Peer Address can't be zero when it's a directed advertising.");
        refusedRow("empty input", kBothData + QStringList{"le_ppermax="},
                   "ERROR: There is empty input in periodic advertising parameter.");

        // pdiscMode, pproperties, pmaxTxPower, ppolicy, ppeerAddr, paddrType, pprimIntvMin, pprimIntvMax,
        // pchanMap, pprimPhy, psecMaxSkip, psecPhy, psecSid, pperIntvMin, pperIntvMax, pduration,
        // pmaxAdvEvt, padvIndex, pownType.
        passingRow("periodic data of half a byte passes the rules", {"adv=3", "padv=ABC"}, 0,
                   "aa0131" "2200" "01" "0000" "00" "00" "000000000000" "00" "40010000" "40010000" "07" "01" "00" "01"
                   "00" "a000" "a000" "0000" "00" "00" "00" "36");
        // The periodic interval's minimum and maximum are not compared.
        passingRow("every field, periodic interval at both limits",
                   {"cmb_pdiscmode=0", "cb_pdriected=1", "cb_ptxpower=1", "cb_ppertxpwr=1", "cb_phdc=1",
                    "le_pmaxtxpower=-127", "le_ppeeraddr=C6:5A:10:00:00:07", "cmb_paddrtype=1", "le_pprimmin=20.000",
                    "le_pprimmax=20.000", "cb_pchannal37=0", "cb_pchannal38=0", "cmb_pprimphy=1", "le_psecmaxskip=1",
                    "cmb_psecphy=1", "le_psecsid=2", "le_ppermin=81918.75", "le_ppermax=7.50", "le_pduration=10",
                    "le_pmaxadvevt=3", "cmb_powntype=2", "adv=3", "padv=01"},
                   1,
                   "aa0131" "2200" "00" "c400" "81" "00" "070000105ac6" "01" "20000000" "20000000" "04" "03" "01" "02"
                   "02" "ffff" "0600" "0100" "03" "01" "02" "2e");
    }
    void sendParameters() { checkPageRow(kKind); }

    void sendData_data()
    {
        addPageColumns();
        passingRow("three payloads, two length bytes each",
                   {"adv:Complete Local Name=Tarv", "rsp:UUID 16-bit Complete List=180F", "padv=01:02:03"}, 0,
                   "aa01331400" "00" "0600" "050954617276" "0400" "03030f18" "0300" "010203" "23");
        refusedRow("periodic data of half a byte", {"adv=3", "padv=ABC"}, "ERROR: Periodic data is wrong.",
                   "Periodic data is wrong");
        refusedRow("advertising data refused first", {"adv:Custom AD type=46:46", "padv=ABC"},
                   "ERROR: Advertising data is wrong.");
    }
    void sendData() { checkPageRow(kKind, "Periodic Advertising Data Set"); }

    void screenshot()
    {
        saveScreenshot(kKind, {"adv:Complete Local Name=Tarvine", "padv=01:02:03:04"}, "cadvperiodicwidget.png");
    }
};

QTEST_MAIN(TestCAdvPeriodicWidget)
#include "tst_cadvperiodicwidget.moc"
