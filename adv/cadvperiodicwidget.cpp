#include "cadvperiodicwidget.h"

#include <QCheckBox>

#include "adv/cadvdatawidget.h"
#include "schema/cstyledcombobox.h"
#include "schema/cutil.h"
#include "schema/cvalidatelineedit.h"

namespace {

const char* const kTitle = "Periodic Advertising Parameters Setting Error";

enum DiscoveryMode { NonDiscoverable, GeneralDiscoverable, LimitedDiscoverable, Broadcaster };

// In the duration's wire units of 10 ms, as the legacy page counts it.
constexpr quint64 kLimitedDuration = 180000;

const char* const kPeriodicIntervalDefault = "200.00";

} // namespace

CAdvPeriodicWidget::CAdvPeriodicWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent)
    : CAdvBaseWidget(msg, logger, config, parent)
{
    cmb_pdiscmode = makeCombo(QStringLiteral("cmb_pdiscmode"), {"Non-discoverable mode", "General-discoverable mode",
                                                                "Limited-discoverable mode", "Broadcaster mode"});
    cb_pdriected = makeCheckBox(QStringLiteral("cb_pdriected"), QStringLiteral("Directed"));
    cb_ptxpower = makeCheckBox(QStringLiteral("cb_ptxpower"), QStringLiteral("TX Power"));
    cb_ppertxpwr = makeCheckBox(QStringLiteral("cb_ppertxpwr"), QStringLiteral("Per TX Pwr"));
    // Shown for the user's reference; never sent.
    cb_phdc = makeCheckBox(QStringLiteral("cb_phdc"), QStringLiteral("High Duty Cycle"));
    m_fields.letter = QStringLiteral("p");
    createExtendedFields(m_fields, QStringLiteral("range 0 to 255"), QStringLiteral("range 0 to 15"));
    const QString periodicTip = QStringLiteral("unit: 1.25ms, range: 7.5ms to 81918.75ms");
    le_ppermin = makeEdit(QStringLiteral("le_ppermin"), periodicTip);
    le_ppermax = makeEdit(QStringLiteral("le_ppermax"), periodicTip);
    for (CValidateLineEdit* edit : {le_ppermin, le_ppermax}) {
        edit->setDoubleType(QStringLiteral("7.5"), QStringLiteral("81918.75"), QStringLiteral("1.25"),
                            QStringLiteral("2"), QStringLiteral("2"), QLatin1String(kPeriodicIntervalDefault));
    }

    addField(QStringLiteral("Discovery Mode:"), cmb_pdiscmode);
    addField(QStringLiteral("Own Address Type:"), m_fields.ownType);
    addWideField(QStringLiteral("Properties:"), row({cb_pdriected, cb_ptxpower, cb_ppertxpwr, cb_phdc}));
    addField(QStringLiteral("Min periodic Interval(ms):"), le_ppermin);
    addField(QStringLiteral("Max periodic Interval(ms):"), le_ppermax);
    placeExtendedFields(m_fields);

    m_AdvDataWidget->setPeriodicDataVisible(true);

    connect(cmb_pdiscmode, &QComboBox::currentTextChanged, this, &CAdvPeriodicWidget::on_pdiscoverModeTextChanged);
    followDiscoveryMode(m_fields, cmb_pdiscmode->currentIndex());
    on_btnResetAdvSettings_clicked();
}

CAdvPeriodicWidget::~CAdvPeriodicWidget() = default;

void CAdvPeriodicWidget::on_pdiscoverModeTextChanged(QString)
{
    followDiscoveryMode(m_fields, cmb_pdiscmode->currentIndex());
}

void CAdvPeriodicWidget::on_btnResetAdvSettings_clicked()
{
    cmb_pdiscmode->setCurrentIndex(GeneralDiscoverable);
    for (QCheckBox* box : {cb_pdriected, cb_ptxpower, cb_ppertxpwr, cb_phdc})
        box->setChecked(false);
    resetExtendedFields(m_fields, QStringLiteral("200.000"));
    le_ppermin->setText(QLatin1String(kPeriodicIntervalDefault));
    le_ppermax->setText(QLatin1String(kPeriodicIntervalDefault));
}

// The periodic interval's own minimum and maximum are not compared: the dongle judges them.
bool CAdvPeriodicWidget::validate()
{
    const int disc = cmb_pdiscmode->currentIndex();
    const bool directed = cb_pdriected->isChecked();

    const struct
    {
        bool failed;
        const char* text;
    } rules[] = {
        {disc == GeneralDiscoverable && directed,
         "When Discovery Mode is General-discoverable mode, the Periodic Advertiding cannot be Directed."},
        {disc == LimitedDiscoverable && directed,
         "When Discovery Mode is Limited-discoverable mode, the Periodic Advertiding cannot be Directed."},
        {disc == LimitedDiscoverable && numberOf(m_fields.duration) > kLimitedDuration,
         "When Discovery Mode is Limited-discoverable mode, the duration should be less than 180s."},
        {directed && disc != NonDiscoverable,
         "When Periodic Advertising is Directed, the Discovery Mode should be Non-discoverable mode."},
        {m_AdvDataWidget->advertisingData().isEmpty(), "Periodic Advertising should set Advertising Data."},
        {numberOf(m_fields.primIntvMin) > numberOf(m_fields.primIntvMax),
         "Periodic Advertising's Max Adv Interval should greater than Min Adv Interval."},
        {!anyChecked(m_fields.channels), "Periodic Advertising's should choose at least one Channel Map."},
        // A value of half a byte gives the two-letter marker, which is not empty: sendData refuses it.
        {m_AdvDataWidget->periodicData().isEmpty(), "Periodic Advertising should set PAdv Data."},
        {directed && m_fields.peerAddr->value() == QLatin1String("000000000000"),
         "Periodic Advertising's Peer Address can't be zero when it's a directed advertising."},
    };
    for (const auto& rule : rules) {
        if (rule.failed)
            return refuse(QLatin1String(kTitle), QLatin1String(rule.text));
    }
    return true;
}

bool CAdvPeriodicWidget::sendParameters(QByteArray advIndex)
{
    if (!passesChecks(extendedEdits(m_fields) + QList<CValidateLineEdit*>{le_ppermin, le_ppermax},
                      QStringLiteral("periodic")))
        return false;

    uint properties = 0;
    if (cb_pdriected->isChecked())
        properties |= 0x04;
    if (cb_ptxpower->isChecked())
        properties |= 0x40;
    if (cb_ppertxpwr->isChecked())
        properties |= 0x80;

    FieldValueMap fields;
    collectExtendedFields(m_fields, fields);
    fields.insert("pdiscMode", cmb_pdiscmode->currentIndex());
    fields.insert("pproperties", properties);
    fields.insert("ppolicy", 0);
    fields.insert("pperIntvMin", number(le_ppermin));
    fields.insert("pperIntvMax", number(le_ppermax));
    fields.insert("padvIndex", CUtil::fitArray(advIndex, 1));
    return sendParameterSet(QStringLiteral("Periodic Advertising Parameter Set"), fields,
                            QStringLiteral("Periodic advertising data is wrong"));
}

bool CAdvPeriodicWidget::sendData(QByteArray advIndex)
{
    QByteArray adv;
    QByteArray rsp;
    if (!takeAdvertisingData(adv, rsp))
        return false;
    const QByteArray periodic = m_AdvDataWidget->periodicData();
    if (refuseMarked(periodic, QStringLiteral("Periodic data is wrong."), QStringLiteral("Periodic data is wrong")))
        return false;

    return sendDataFrame(0x33, QStringLiteral("Periodic Advertising Data Set"), advIndex, {adv, rsp, periodic}, 2);
}
