#include "cadvlegacywidget.h"

#include <QCheckBox>

#include "adv/cadvdatawidget.h"
#include "schema/cstyledcombobox.h"
#include "schema/cutil.h"
#include "schema/cvalidatelineedit.h"

namespace {

const char* const kTitle = "Legacy Advertising Parameters Setting Error";

enum AdvMode { Undirected, NonConnectable, Scannable, DirectedHighDuty, DirectedLowDuty };
enum DiscoveryMode { NonDiscoverable, GeneralDiscoverable, LimitedDiscoverable, Broadcaster };

// Rule 6 counts in the duration's wire units of 10 ms, so it lets up to 1800 s pass; the
// editor's own range keeps a limited-discoverable set far below that anyway.
constexpr quint64 kLimitedDuration = 180000;
constexpr int kAdvDataLimit = 28;
constexpr int kScanResponseLimit = 31;

} // namespace

CAdvLegacyWidget::CAdvLegacyWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent)
    : CAdvBaseWidget(msg, logger, config, parent)
{
    cmb_advmode = makeCombo(QStringLiteral("cmb_advmode"),
                            {"Undirected connectable and scannable mode", "Non-connectable and non-scanable mode",
                             "Undirected scannable mode", "Directed high duty mode", "Directed low duty mode"});
    addField(QStringLiteral("Adv Mode:"), cmb_advmode);
    cmb_discmode = makeCombo(QStringLiteral("cmb_discmode"), {"Non-discoverable mode", "General-discoverable mode",
                                                              "Limited-discoverable mode", "Broadcaster mode"});
    addField(QStringLiteral("Discovery Mode:"), cmb_discmode);

    cb_lscan = makeCheckBox(QStringLiteral("cb_lscan"), QStringLiteral("Scan Req Wl"));
    cb_lconn = makeCheckBox(QStringLiteral("cb_lconn"), QStringLiteral("Conn Req Wl"));
    addField(QStringLiteral("Filter Policy:"), row({cb_lscan, cb_lconn}));
    cb_lchannal37 = makeCheckBox(QStringLiteral("cb_lchannal37"), QStringLiteral("Channel 37"));
    cb_lchannal38 = makeCheckBox(QStringLiteral("cb_lchannal38"), QStringLiteral("Channel 38"));
    cb_lchannal39 = makeCheckBox(QStringLiteral("cb_lchannal39"), QStringLiteral("Channel 39"));
    addField(QStringLiteral("Channel Map:"), row({cb_lchannal37, cb_lchannal38, cb_lchannal39}));

    le_peeraddr = makeEdit(QStringLiteral("le_peeraddr"));
    le_peeraddr->setAddrType(QStringLiteral("17"), QLatin1String(CValidateLineEdit::kColonHexPattern),
                             QStringLiteral("00:00:00:00:00:00"));
    addField(QStringLiteral("Peer Addr:"), le_peeraddr);
    cmb_addrtype = makeCombo(QStringLiteral("cmb_addrtype"), {"public", "random"});
    addField(QStringLiteral("Peer Addr Type:"), cmb_addrtype);

    const QString intervalTip = QStringLiteral("unit: 625us, range: 20ms to 10.24s");
    le_intvmin = makeEdit(QStringLiteral("le_intvmin"), intervalTip);
    le_intvmax = makeEdit(QStringLiteral("le_intvmax"), intervalTip);
    for (CValidateLineEdit* edit : {le_intvmin, le_intvmax})
        setInterval(edit, QStringLiteral("10240"), QStringLiteral("2"), QStringLiteral("100.000"));
    addField(QStringLiteral("Min Adv Interval(ms):"), le_intvmin);
    addField(QStringLiteral("Max Adv Interval(ms):"), le_intvmax);

    cmb_sacanreq = makeCombo(QStringLiteral("cmb_sacanreq"), {"not informed received scan requests PDUs",
                                                              "informed received scan requests PDUs"});
    addField(QStringLiteral("scan req ind"), cmb_sacanreq);
    le_maxtxpower = makeEdit(QStringLiteral("le_maxtxpower"), QStringLiteral("unit: 1db, range: -127db to 127db"));
    le_maxtxpower->setInt8Type(QStringLiteral("-127"), QStringLiteral("127"), QStringLiteral("1"), QStringLiteral("0"));
    addField(QStringLiteral("Max TX Power"), le_maxtxpower);

    le_duration = makeEdit(QStringLiteral("le_duration"));
    addField(QStringLiteral("Duration(ms):"), le_duration);
    cmb_owntype = makeCombo(QStringLiteral("cmb_owntype"),
                            {"Public or Private Static Address", "Resolvable Private Random Address",
                             "Non-Resolvable Private Random Address"});
    addField(QStringLiteral("Own Address Type:"), cmb_owntype);

    connect(cmb_advmode, &QComboBox::currentTextChanged, this, &CAdvLegacyWidget::on_advModeTextChanged);
    connect(cmb_discmode, &QComboBox::currentTextChanged, this, &CAdvLegacyWidget::on_discoverModeTextChanged);
    followModes();
    on_btnResetAdvSettings_clicked();
}

CAdvLegacyWidget::~CAdvLegacyWidget() = default;

bool CAdvLegacyWidget::isDirected() const
{
    const int mode = cmb_advmode->currentIndex();
    return mode == DirectedHighDuty || mode == DirectedLowDuty;
}

void CAdvLegacyWidget::on_discoverModeTextChanged(QString)
{
    followModes();
}

void CAdvLegacyWidget::on_advModeTextChanged(QString)
{
    followModes();
}

void CAdvLegacyWidget::followModes()
{
    if (cmb_advmode->currentIndex() == DirectedHighDuty)
        setDurationRange(le_duration, QStringLiteral("10"), QStringLiteral("1280"),
                         QStringLiteral("unit:10ms, range:10ms to 1280ms"));
    else if (cmb_discmode->currentIndex() == LimitedDiscoverable)
        setDurationRange(le_duration, QStringLiteral("10"), QStringLiteral("180000"),
                         QStringLiteral("unit:10ms, range:10ms to 180000ms"));
    else
        setDurationRange(le_duration, QStringLiteral("0"), QStringLiteral("655350"),
                         QStringLiteral("unit:10ms, range: 0ms to 655350ms"));
}

void CAdvLegacyWidget::on_btnResetAdvSettings_clicked()
{
    cmb_advmode->setCurrentIndex(Undirected);
    cmb_discmode->setCurrentIndex(GeneralDiscoverable);
    cb_lscan->setChecked(false);
    cb_lconn->setChecked(false);
    le_peeraddr->setText(QStringLiteral("00:00:00:00:00:00"));
    cmb_addrtype->setCurrentIndex(0);
    le_intvmin->setText(QStringLiteral("100.000"));
    le_intvmax->setText(QStringLiteral("100.000"));
    for (QCheckBox* box : {cb_lchannal37, cb_lchannal38, cb_lchannal39})
        box->setChecked(true);
    cmb_sacanreq->setCurrentIndex(0);
    le_maxtxpower->setText(QStringLiteral("0"));
    le_duration->setText(QStringLiteral("0"));
    cmb_owntype->setCurrentIndex(0);
    le_duration->setToolTip(QStringLiteral("unit:10ms, range: 0ms to 655350ms"));
}

bool CAdvLegacyWidget::validate()
{
    const int mode = cmb_advmode->currentIndex();
    const int disc = cmb_discmode->currentIndex();
    const bool directed = isDirected();
    const bool filter = cb_lscan->isChecked() || cb_lconn->isChecked();
    const QByteArray adv = m_AdvDataWidget->advertisingData();
    const QByteArray rsp = m_AdvDataWidget->scanResponseData();

    const struct
    {
        bool failed;
        const char* text;
    } rules[] = {
        {disc == Broadcaster && mode != NonConnectable,
         "When Discovery Mode is Broadcaster mode, the Adv Mode should be Non-connectable and non-scanable mode."},
        {disc == GeneralDiscoverable && directed,
         "When Discovery Mode is General-discoverable mode, the Adv Mode cannot be Directed mode."},
        {disc == GeneralDiscoverable && filter,
         "When Discovery Mode is General-discoverable mode, the cannot use Filter Policy."},
        {disc == LimitedDiscoverable && directed,
         "When Discovery Mode is Limited-discoverable mode, the Adv Mode cannot be Directed mode."},
        {disc == LimitedDiscoverable && filter,
         "When Discovery Mode is Limited-discoverable mode, the cannot use Filter Policy."},
        {disc == LimitedDiscoverable && numberOf(le_duration) > kLimitedDuration,
         "When Discovery Mode is Limited-discoverable mode, the duration should be less than 180s."},
        {filter && disc != NonDiscoverable, "Filter policy can use only when Discovery Mode is Non-discoverable mode"},
        {directed && disc != NonDiscoverable,
         "When Adv Mode is Directed mode, the Discovery Mode should be Non-discoverable mode."},
        {directed && le_peeraddr->value() == QLatin1String("000000000000"),
         "Legacy Advertising's Peer Address can't be zero when it's a directed advertising."},
        {directed && !adv.isEmpty(), "Directed Legacy Advertising cannot set Advertising Data."},
        {directed && !rsp.isEmpty(), "Directed Legacy Advertising cannot set Scan Response Data."},
        {!directed && adv.isEmpty(), "Legacy Advertising should set Advertising Data."},
        // The messages say "less than", yet a payload of exactly the limit passes.
        {!directed && adv.size() > kAdvDataLimit,
         "Legacy Advertising Advertising Data length should less than 28 bytes."},
        {!directed && rsp.size() > kScanResponseLimit,
         "Legacy Advertising Response Data length should less than 31 bytes."},
        {numberOf(le_intvmin) > numberOf(le_intvmax),
         "Legacy Advertising's Max Adv Interval should greater than Min Adv Interval."},
        {!cb_lchannal37->isChecked() && !cb_lchannal38->isChecked() && !cb_lchannal39->isChecked(),
         "Legacy Advertising's should choose at least one Channel Map."},
    };
    for (const auto& rule : rules) {
        if (rule.failed)
            return refuse(QLatin1String(kTitle), QLatin1String(rule.text));
    }
    return true;
}

bool CAdvLegacyWidget::sendParameters(QByteArray advIndex)
{
    if (!passesChecks({le_intvmax, le_intvmin, le_peeraddr, le_duration, le_maxtxpower}, QStringLiteral("legacy")))
        return false;

    FieldValueMap fields;
    fields.insert("intvMax", number(le_intvmax));
    fields.insert("intvMin", number(le_intvmin));
    fields.insert("peerAddr", number(le_peeraddr));
    fields.insert("duration", number(le_duration));
    fields.insert("maxTxPower", number(le_maxtxpower));
    fields.insert("advMode", cmb_advmode->currentIndex());
    fields.insert("discMode", cmb_discmode->currentIndex());
    fields.insert("addrType", cmb_addrtype->currentIndex());
    fields.insert("ownType", cmb_owntype->currentIndex());
    fields.insert("scanReqInd", cmb_sacanreq->currentIndex());
    fields.insert("advIndex", CUtil::fitArray(advIndex, 1));
    fields.insert("chanMap", bitsOf({cb_lchannal37, cb_lchannal38, cb_lchannal39}));
    fields.insert("filterPolicy", bitsOf({cb_lscan, cb_lconn}));
    return sendParameterSet(QStringLiteral("Legacy Advertising Parameter Set"), fields,
                            QStringLiteral("Legacy advertising parameter is wrong"));
}

bool CAdvLegacyWidget::sendData(QByteArray advIndex)
{
    QByteArray adv;
    QByteArray rsp;
    if (!takeAdvertisingData(adv, rsp))
        return false;

    // Legacy payloads are short: one length byte each.
    return sendDataFrame(0x25, QStringLiteral("Legacy Advertising Data Set"), advIndex, {adv, rsp}, 1);
}
