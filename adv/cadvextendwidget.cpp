#include "cadvextendwidget.h"

#include <QCheckBox>
#include <QPair>
#include <QVector>

#include "adv/cadvdatawidget.h"
#include "schema/cstyledcombobox.h"
#include "schema/cutil.h"
#include "schema/cvalidatelineedit.h"

namespace {

const char* const kTitle = "Extended Advertising Parameters Setting Error";

enum DiscoveryMode { NonDiscoverable, GeneralDiscoverable, LimitedDiscoverable, Broadcaster };

// In the duration's wire units of 10 ms, as the legacy page counts it.
constexpr quint64 kLimitedDuration = 180000;

} // namespace

CAdvExtendWidget::CAdvExtendWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent)
    : CAdvBaseWidget(msg, logger, config, parent)
{
    cmb_eadvmode = makeCombo(QStringLiteral("cmb_eadvmode"), {"Non-discoverable mode", "General-discoverable mode",
                                                              "Limited-discoverable mode", "Broadcaster mode"});
    cb_econnect = makeCheckBox(QStringLiteral("cb_econnect"), QStringLiteral("Connectable"));
    cb_escannable = makeCheckBox(QStringLiteral("cb_escannable"), QStringLiteral("Scannable"));
    cb_edriected = makeCheckBox(QStringLiteral("cb_edriected"), QStringLiteral("Directed"));
    cb_eanonymous = makeCheckBox(QStringLiteral("cb_eanonymous"), QStringLiteral("Anonymous"));
    cb_etxpower = makeCheckBox(QStringLiteral("cb_etxpower"), QStringLiteral("TX Power"));
    cb_escanreq = makeCheckBox(QStringLiteral("cb_escanreq"), QStringLiteral("Scan Req En"));
    // Shown for the user's reference; the dongle takes neither bit.
    cb_ehdc = makeCheckBox(QStringLiteral("cb_ehdc"), QStringLiteral("High Duty Cycle"));
    cb_epertxpwr = makeCheckBox(QStringLiteral("cb_epertxpwr"), QStringLiteral("Per TX Pwr"));
    cb_escan = makeCheckBox(QStringLiteral("cb_escan"), QStringLiteral("Scan Req Wl"));
    cb_econn = makeCheckBox(QStringLiteral("cb_econn"), QStringLiteral("Conn Req Wl"));
    m_fields.letter = QStringLiteral("e");
    createExtendedFields(m_fields, QStringLiteral("range: 0 to 255"), QStringLiteral("range: 0 to 15"));

    addField(QStringLiteral("Discovery Mode:"), cmb_eadvmode);
    addField(QStringLiteral("Filter Policy:"), row({cb_escan, cb_econn}));
    addWideField(QStringLiteral("Properties:"), row({cb_econnect, cb_escannable, cb_edriected, cb_eanonymous,
                                                     cb_etxpower, cb_escanreq, cb_ehdc, cb_epertxpwr}));
    placeExtendedFields(m_fields);
    addField(QStringLiteral("Own Address Type:"), m_fields.ownType);

    connect(cmb_eadvmode, &QComboBox::currentTextChanged, this, &CAdvExtendWidget::on_ediscoverModeTextChanged);
    followDiscoveryMode(m_fields, cmb_eadvmode->currentIndex());
    on_btnResetAdvSettings_clicked();
}

CAdvExtendWidget::~CAdvExtendWidget() = default;

void CAdvExtendWidget::on_ediscoverModeTextChanged(QString)
{
    followDiscoveryMode(m_fields, cmb_eadvmode->currentIndex());
}

void CAdvExtendWidget::on_btnResetAdvSettings_clicked()
{
    cmb_eadvmode->setCurrentIndex(GeneralDiscoverable);
    for (QCheckBox* box : {cb_escannable, cb_edriected, cb_eanonymous, cb_etxpower, cb_escanreq, cb_ehdc,
                           cb_epertxpwr, cb_escan, cb_econn})
        box->setChecked(false);
    cb_econnect->setChecked(true);
    resetExtendedFields(m_fields, QStringLiteral("100.000"));
}

bool CAdvExtendWidget::validate()
{
    const int disc = cmb_eadvmode->currentIndex();
    const bool connectable = cb_econnect->isChecked();
    const bool scannable = cb_escannable->isChecked();
    const bool directed = cb_edriected->isChecked();
    const bool anonymous = cb_eanonymous->isChecked();
    const bool filter = cb_escan->isChecked() || cb_econn->isChecked();
    const bool nonOrBroadcaster = disc == NonDiscoverable || disc == Broadcaster;
    const QByteArray adv = m_AdvDataWidget->advertisingData();
    const QByteArray rsp = m_AdvDataWidget->scanResponseData();

    const struct
    {
        bool failed;
        const char* text;
    } rules[] = {
        {disc == Broadcaster && (connectable || scannable),
         "When Discovery Mode is Broadcaster mode, the advertising cannot be Connectable or Scannable."},
        {disc == GeneralDiscoverable && directed,
         "When Discovery Mode is General-discoverable mode, the Extended Advertiding cannot be Directed."},
        {disc == GeneralDiscoverable && filter,
         "When Discovery Mode is General-discoverable mode, the cannot use Filter Policy."},
        {disc == LimitedDiscoverable && directed,
         "When Discovery Mode is Limited-discoverable mode, the Extended Advertiding cannot be Directed."},
        {disc == LimitedDiscoverable && filter,
         "When Discovery Mode is Limited-discoverable mode, the cannot use Filter Policy."},
        {disc == LimitedDiscoverable && numberOf(m_fields.duration) > kLimitedDuration,
         "When Discovery Mode is Limited-discoverable mode, the duration should be less than 180s."},
        {filter && disc != NonDiscoverable, "Filter policy can use only when Discovery Mode is Non-discoverable mode"},
        {directed && !nonOrBroadcaster,
         "When Extended Advertising is Directed, the Discovery Mode should be Non-discoverable mode or Broadcaster mode"},
        {anonymous && !nonOrBroadcaster,
         "When Extended Advertising is Anonymous, the Discovery Mode should be Non-discoverable mode or Broadcaster "
         "mode"},
        {anonymous && (connectable || scannable),
         "When Extended Advertising is Anonymous, it cannot be Connectable or Scannable."},
        {connectable && scannable, "Extended Advertising cannot be both Connectable and Scannable"},
        {scannable && !adv.isEmpty(), "Scannable Extended Advertising cannot set Advertising Data"},
        {scannable && rsp.isEmpty(), "Scannable Extended Advertising should set Response Data"},
        {!scannable && adv.isEmpty(), "Not scannable Extended Advertising should set Advertising Data"},
        {!scannable && !rsp.isEmpty(), "Not scannable Extended Advertising cannot set Response Data"},
        {numberOf(m_fields.primIntvMin) > numberOf(m_fields.primIntvMax),
         "Extended Advertising's Max Adv Interval should greater than Min Adv Interval."},
        // The extended page says "Legacy" here too.
        {!anyChecked(m_fields.channels), "Legacy Advertising's should choose at least one Channel Map."},
        {directed && m_fields.peerAddr->value() == QLatin1String("000000000000"),
         "Extended Advertising's Peer Address can't be zero when it's a directed advertising."},
    };
    for (const auto& rule : rules) {
        if (rule.failed)
            return refuse(QLatin1String(kTitle), QLatin1String(rule.text));
    }
    return true;
}

bool CAdvExtendWidget::sendParameters(QByteArray advIndex)
{
    if (!passesChecks(extendedEdits(m_fields), QStringLiteral("extended")))
        return false;

    const QVector<QPair<QCheckBox*, uint>> properties = {
        {cb_econnect, 0x01}, {cb_escannable, 0x02}, {cb_edriected, 0x04},
        {cb_eanonymous, 0x20}, {cb_etxpower, 0x40}, {cb_escanreq, 0x100},
    };
    uint bits = 0;
    for (const auto& property : properties) {
        if (property.first->isChecked())
            bits |= property.second;
    }

    FieldValueMap fields;
    collectExtendedFields(m_fields, fields);
    fields.insert("eadvMode", cmb_eadvmode->currentIndex());
    fields.insert("eproperties", bits);
    fields.insert("epolicy", bitsOf({cb_escan, cb_econn}));
    fields.insert("eadvIndex", CUtil::fitArray(advIndex, 1));
    return sendParameterSet(QStringLiteral("Extended Advertising Parameter Set"), fields,
                            QStringLiteral("Extended advertising data is wrong"));
}

bool CAdvExtendWidget::sendData(QByteArray advIndex)
{
    QByteArray adv;
    QByteArray rsp;
    if (!takeAdvertisingData(adv, rsp))
        return false;

    return sendDataFrame(0x2D, QStringLiteral("Extended Advertising Data Set"), advIndex, {adv, rsp}, 2);
}
