#include "cadvbasewidget.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QVBoxLayout>

#include "adv/cadvdatawidget.h"
#include "adv/cadvextendwidget.h"
#include "adv/cadvlegacywidget.h"
#include "adv/cadvperiodicwidget.h"
#include "app/flat/cflatmessage.h"
#include "app/flat/tflatscrollarea.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/cstyledcombobox.h"
#include "schema/cutil.h"
#include "schema/cvalidatelineedit.h"

namespace {

constexpr int kFieldsPerRow = 2;

QString lettered(const QString& letter, const char* name)
{
    return QString::fromLatin1(name).arg(letter);
}

} // namespace

const char* const CAdvBaseWidget::LegacyKind = "Legacy Advertising";
const char* const CAdvBaseWidget::ExtendedKind = "Extended Advertising";
const char* const CAdvBaseWidget::PeriodicKind = "Periodic Advertising";

CAdvBaseWidget* CAdvBaseWidget::create(const QString& kind, CMsg* msg, LogManager* logger,
                                       FieldValueMap* config, QWidget* parent)
{
    if (kind == QLatin1String(LegacyKind))
        return new CAdvLegacyWidget(msg, logger, config, parent);
    if (kind == QLatin1String(ExtendedKind))
        return new CAdvExtendWidget(msg, logger, config, parent);
    if (kind == QLatin1String(PeriodicKind))
        return new CAdvPeriodicWidget(msg, logger, config, parent);
    return nullptr;
}

CAdvBaseWidget::CAdvBaseWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent)
    : QWidget(parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_config(config)
    , m_errorMarker(CAdvDataWidget::ErrorMarker)
{
    auto* frame = new QGroupBox(QStringLiteral("Advertising Parameters Settings"), this);
    frame->setObjectName(QStringLiteral("advParametersFrame"));
    auto* scroll = new CFlatScrollArea(frame);
    scroll->setObjectName(QStringLiteral("scrollArea_advParameters"));
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    m_fieldsBody = new QWidget(scroll);
    m_fields = new QGridLayout(m_fieldsBody);
    m_fields->setHorizontalSpacing(10);
    m_fields->setVerticalSpacing(6);
    for (int pair = 0; pair < kFieldsPerRow; ++pair) {
        m_fields->setColumnStretch(2 * pair + 1, 1);
        m_fields->setColumnMinimumWidth(2 * pair + 1, 220);
    }
    scroll->setWidget(m_fieldsBody);

    btnResetAdvSettings = new QPushButton(QIcon(QStringLiteral(":/icons/reset")), QStringLiteral("Reset"), frame);
    btnResetAdvSettings->setObjectName(QStringLiteral("btnResetAdvSettings"));
    btnResetAdvSettings->setToolTip(QStringLiteral("Reset the advertising parameters to their defaults"));
    btnResetAdvSettings->setMinimumSize(btnResetAdvSettings->sizeHint() + QSize(16, 4));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(btnResetAdvSettings);

    auto* frameLayout = new QVBoxLayout(frame);
    frameLayout->addWidget(scroll, 1);
    frameLayout->addLayout(buttons);

    m_AdvDataWidget = new CAdvDataWidget(this);
    m_AdvDataWidget->setObjectName(QStringLiteral("m_AdvDataWidget"));

    // Under the log pane a page has little height: the user moves the line between the fields
    // and the payload lists to whichever is being edited.
    auto* split = new QSplitter(Qt::Vertical, this);
    split->setObjectName(QStringLiteral("splitter_advPage"));
    split->setChildrenCollapsible(false);
    split->addWidget(frame);
    split->addWidget(m_AdvDataWidget);
    // The fields are what a user edits most: the lists start at their least height, which shows
    // a few structures, and the fields take the rest.
    split->setSizes({10000, 1});
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(split);

    connect(btnResetAdvSettings, &QPushButton::clicked, this, &CAdvBaseWidget::on_btnResetAdvSettings_clicked);
}

CAdvBaseWidget::~CAdvBaseWidget() = default;

void CAdvBaseWidget::addField(const QString& label, QWidget* control)
{
    const int row = m_fieldCount / kFieldsPerRow;
    const int column = 2 * (m_fieldCount % kFieldsPerRow);
    m_fields->addWidget(new QLabel(label, m_fieldsBody), row, column);
    m_fields->addWidget(control, row, column + 1);
    ++m_fieldCount;
}

void CAdvBaseWidget::addField(const QString& label, QLayout* controls)
{
    const int row = m_fieldCount / kFieldsPerRow;
    const int column = 2 * (m_fieldCount % kFieldsPerRow);
    m_fields->addWidget(new QLabel(label, m_fieldsBody), row, column);
    m_fields->addLayout(controls, row, column + 1);
    ++m_fieldCount;
}

void CAdvBaseWidget::addWideField(const QString& label, QLayout* controls)
{
    const int row = (m_fieldCount + kFieldsPerRow - 1) / kFieldsPerRow;
    m_fields->addWidget(new QLabel(label, m_fieldsBody), row, 0);
    m_fields->addLayout(controls, row, 1, 1, 2 * kFieldsPerRow - 1);
    m_fieldCount = (row + 1) * kFieldsPerRow;
}

CStyledComboBox* CAdvBaseWidget::makeCombo(const QString& name, const QStringList& items)
{
    auto* combo = new CStyledComboBox(m_fieldsBody);
    combo->setObjectName(name);
    combo->addItems(items);
    // Long captions such as the adv modes are shown whole in the list, not in the closed box.
    combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    combo->setMinimumContentsLength(16);
    combo->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    combo->view()->setMinimumWidth(combo->view()->sizeHintForColumn(0) + 20);
    return combo;
}

CValidateLineEdit* CAdvBaseWidget::makeEdit(const QString& name, const QString& toolTip)
{
    auto* edit = new CValidateLineEdit(m_fieldsBody);
    edit->setObjectName(name);
    edit->setToolTip(toolTip);
    edit->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    return edit;
}

QCheckBox* CAdvBaseWidget::makeCheckBox(const QString& name, const QString& text)
{
    auto* box = new QCheckBox(text, m_fieldsBody);
    box->setObjectName(name);
    return box;
}

QLayout* CAdvBaseWidget::row(const QList<QCheckBox*>& boxes, int perLine)
{
    auto* layout = new QGridLayout;
    layout->setHorizontalSpacing(12);
    layout->setVerticalSpacing(4);
    for (int i = 0; i < boxes.size(); ++i)
        layout->addWidget(boxes.at(i), i / perLine, i % perLine);
    layout->setColumnStretch(perLine, 1);
    return layout;
}

void CAdvBaseWidget::createExtendedFields(ExtendedFields& f, const QString& skipTip, const QString& sidTip)
{
    const QString& l = f.letter;
    f.maxTxPower = makeEdit(lettered(l, "le_%1maxtxpower"), QStringLiteral("unit: 1db, range: -127db to 127db"));
    f.maxTxPower->setInt8Type(QStringLiteral("-127"), QStringLiteral("127"), QStringLiteral("1"), QStringLiteral("0"));
    f.duration = makeEdit(lettered(l, "le_%1duration"));
    f.peerAddr = makeEdit(lettered(l, "le_%1peeraddr"));
    f.peerAddr->setAddrType(QStringLiteral("17"), QLatin1String(CValidateLineEdit::kColonHexPattern),
                            QStringLiteral("00:00:00:00:00:00"));
    f.addrType = makeCombo(lettered(l, "cmb_%1addrtype"), {"public", "random"});

    const QString primTip = QStringLiteral("unit: 625us, range: 20ms to 10,485.759375 s");
    f.primIntvMin = makeEdit(lettered(l, "le_%1primmin"), primTip);
    f.primIntvMax = makeEdit(lettered(l, "le_%1primmax"), primTip);
    for (CValidateLineEdit* edit : {f.primIntvMin, f.primIntvMax})
        setInterval(edit, QStringLiteral("10485759.375"), QStringLiteral("4"), QStringLiteral("100.000"));
    for (const char* channel : {"37", "38", "39"}) {
        f.channels.append(makeCheckBox(lettered(l, "cb_%1channal") + QLatin1String(channel),
                                       QStringLiteral("Channel ") + QLatin1String(channel)));
    }
    f.primPhy = makeCombo(lettered(l, "cmb_%1primphy"), {"LE 1M PHY", "LE Coded PHY"});

    f.secPhy = makeCombo(lettered(l, "cmb_%1secphy"), {"LE 1M PHY", "LE 2M PHY", "LE Coded PHY"});
    f.secMaxSkip = makeEdit(lettered(l, "le_%1secmaxskip"), skipTip);
    f.secMaxSkip->setIntType(QStringLiteral("0"), QStringLiteral("255"), QStringLiteral("1"), QStringLiteral("0"));
    f.secSid = makeEdit(lettered(l, "le_%1secsid"), sidTip);
    f.secSid->setIntType(QStringLiteral("0"), QStringLiteral("15"), QStringLiteral("1"), QStringLiteral("0"));
    f.maxAdvEvt = makeEdit(lettered(l, "le_%1maxadvevt"), QStringLiteral("range: 0 to 255"));
    f.maxAdvEvt->setIntType(QStringLiteral("0"), QStringLiteral("255"), QStringLiteral("1"), QStringLiteral("0"));
    f.ownType = makeCombo(lettered(l, "cmb_%1owntype"),
                          {"Public or Private Static Address", "Resolvable Private Random Address",
                           "Non-Resolvable Private Random Address"});
}

void CAdvBaseWidget::placeExtendedFields(const ExtendedFields& f)
{
    addField(QStringLiteral("Max TX Power:"), f.maxTxPower);
    addField(QStringLiteral("Duration(ms):"), f.duration);
    addField(QStringLiteral("Peer Addr:"), f.peerAddr);
    addField(QStringLiteral("Peer Addr Type:"), f.addrType);
    addField(QStringLiteral("Min Primary Adv Interval(ms):"), f.primIntvMin);
    addField(QStringLiteral("Max Primary Adv Interval(ms):"), f.primIntvMax);
    addField(QStringLiteral("Primary Channel Map:"), row(f.channels));
    addField(QStringLiteral("Primary PHY:"), f.primPhy);
    addField(QStringLiteral("Second PHY:"), f.secPhy);
    addField(QStringLiteral("Second Max Skip:"), f.secMaxSkip);
    addField(QStringLiteral("Second Adv Sid:"), f.secSid);
    addField(QStringLiteral("Max Adv Evt:"), f.maxAdvEvt);
}

void CAdvBaseWidget::resetExtendedFields(const ExtendedFields& f, const QString& primDefault)
{
    f.maxTxPower->setText(QStringLiteral("0"));
    f.peerAddr->setText(QStringLiteral("00:00:00:00:00:00"));
    f.addrType->setCurrentIndex(0);
    f.primIntvMin->setText(primDefault);
    f.primIntvMax->setText(primDefault);
    for (QCheckBox* box : f.channels)
        box->setChecked(true);
    f.primPhy->setCurrentIndex(0);
    f.secMaxSkip->setText(QStringLiteral("0"));
    f.secPhy->setCurrentIndex(0);
    f.secSid->setText(QStringLiteral("0"));
    f.duration->setText(QStringLiteral("0"));
    f.maxAdvEvt->setText(QStringLiteral("0"));
    f.ownType->setCurrentIndex(0);
    f.duration->setToolTip(QStringLiteral("unit: 10ms, range: 0ms to 655350ms"));
}

void CAdvBaseWidget::collectExtendedFields(const ExtendedFields& f, FieldValueMap& fields) const
{
    const QString& l = f.letter;
    fields.insert(l + "maxTxPower", number(f.maxTxPower));
    fields.insert(l + "peerAddr", number(f.peerAddr));
    fields.insert(l + "addrType", f.addrType->currentIndex());
    fields.insert(l + "primIntvMin", number(f.primIntvMin));
    fields.insert(l + "primIntvMax", number(f.primIntvMax));
    fields.insert(l + "chanMap", bitsOf(f.channels));
    fields.insert(l + "primPhy", f.primPhy->currentIndex() * 2 + 1);
    fields.insert(l + "secMaxSkip", number(f.secMaxSkip));
    fields.insert(l + "secPhy", f.secPhy->currentIndex() + 1);
    fields.insert(l + "secSid", number(f.secSid));
    fields.insert(l + "duration", number(f.duration));
    fields.insert(l + "maxAdvEvt", number(f.maxAdvEvt));
    fields.insert(l + "ownType", f.ownType->currentIndex());
}

QList<CValidateLineEdit*> CAdvBaseWidget::extendedEdits(const ExtendedFields& f) const
{
    return {f.maxTxPower, f.peerAddr,  f.primIntvMin, f.primIntvMax,
            f.secMaxSkip, f.secSid,    f.duration,    f.maxAdvEvt};
}

void CAdvBaseWidget::followDiscoveryMode(const ExtendedFields& f, int discMode)
{
    if (discMode == 2)
        setDurationRange(f.duration, QStringLiteral("10"), QStringLiteral("180000"),
                         QStringLiteral("unit:10ms, range:10ms to 180000ms"));
    else
        setDurationRange(f.duration, QStringLiteral("0"), QStringLiteral("655350"),
                         QStringLiteral("unit:10ms, range: 0ms to 655350ms"));
}

void CAdvBaseWidget::setDurationRange(CValidateLineEdit* edit, const QString& min, const QString& max,
                                      const QString& toolTip)
{
    edit->setDoubleType(min, max, QStringLiteral("10"), QStringLiteral("0"), QStringLiteral("2"), edit->text());
    edit->setToolTip(toolTip);
}

void CAdvBaseWidget::setInterval(CValidateLineEdit* edit, const QString& max, const QString& length,
                                 const QString& defaultValue)
{
    edit->setDoubleType(QStringLiteral("20"), max, QStringLiteral("0.625"), QStringLiteral("3"), length,
                        defaultValue);
}

bool CAdvBaseWidget::anyChecked(const QList<QCheckBox*>& boxes)
{
    for (const QCheckBox* box : boxes) {
        if (box->isChecked())
            return true;
    }
    return false;
}

bool CAdvBaseWidget::anyEmpty(const QList<CValidateLineEdit*>& edits)
{
    for (const CValidateLineEdit* edit : edits) {
        if (edit->text().isEmpty())
            return true;
    }
    return false;
}

uint CAdvBaseWidget::bitsOf(const QList<QCheckBox*>& boxes)
{
    uint bits = 0;
    for (int i = 0; i < boxes.size(); ++i) {
        if (boxes.at(i)->isChecked())
            bits |= 1u << i;
    }
    return bits;
}

quint64 CAdvBaseWidget::numberOf(CValidateLineEdit* edit)
{
    return edit->value().toULongLong(nullptr, 16);
}

QVariant CAdvBaseWidget::number(CValidateLineEdit* edit)
{
    return QVariant::fromValue<qulonglong>(numberOf(edit));
}

bool CAdvBaseWidget::refuse(const QString& title, const QString& text)
{
    CFlatMessage::information(this, title, text);
    if (m_logger)
        m_logger->log(title, 4);
    return false;
}

bool CAdvBaseWidget::sendParameterSet(const QString& command, const FieldValueMap& fields,
                                      const QString& wrongText)
{
    const CCfgFileParse* schema = CCfgFileParse::instance();
    const QVector<CmdField> rows =
        schema->m_downlinkIdToFields.value(schema->m_downlinkNameToId.value(command));
    bool whole = !rows.isEmpty() && fields.size() == rows.size();
    for (const CmdField& row : rows)
        whole = whole && fields.contains(row.key);
    if (!whole) {
        if (m_logger)
            m_logger->log(wrongText, 4);
        return false;
    }
    if (!CCommand::sendMsg(m_msg, m_logger, command, fields))
        CCommand::logSendFailed(m_logger, command);
    return true;
}

bool CAdvBaseWidget::refuseError(const QString& text, const QString& logText)
{
    CFlatMessage::information(this, QStringLiteral("ERROR"), text);
    if (m_logger)
        m_logger->log(logText, 4);
    return false;
}

bool CAdvBaseWidget::refuseMarked(const QByteArray& data, const QString& text, const QString& logText)
{
    if (data != m_errorMarker)
        return false;
    refuseError(text, logText);
    return true;
}

bool CAdvBaseWidget::takeAdvertisingData(QByteArray& adv, QByteArray& rsp)
{
    adv = m_AdvDataWidget->advertisingData();
    if (refuseMarked(adv, QStringLiteral("Advertising data is wrong."), QStringLiteral("Advertising data is wrong.")))
        return false;
    rsp = m_AdvDataWidget->scanResponseData();
    return !refuseMarked(rsp, QStringLiteral("Advertising data response is wrong."),
                         QStringLiteral("Advertising data response is wrong."));
}

bool CAdvBaseWidget::passesChecks(const QList<CValidateLineEdit*>& edits, const QString& kind)
{
    const bool empty = anyEmpty(edits);
    if (!validate())
        return false;
    if (!empty)
        return true;
    const QString text = QStringLiteral("There is empty input in %1 advertising parameter.").arg(kind);
    return refuseError(text, text);
}

bool CAdvBaseWidget::sendDataFrame(quint8 opcode, const QString& name, const QByteArray& advIndex,
                                   const QList<QByteArray>& blocks, int lengthBytes)
{
    QByteArray payload = CUtil::fitArray(advIndex, 1);
    for (const QByteArray& block : blocks) {
        payload.append(CUtil::valueToArray(0, quint64(block.size()), lengthBytes));
        payload.append(block);
    }
    QByteArray frame;
    frame.append(char(0xAA));
    frame.append(char(0x01));
    frame.append(char(opcode));
    frame.append(CUtil::valueToArray(0, quint64(payload.size()), 2));
    frame.append(payload);
    if (m_logger) {
        m_logger->log(QLatin1String("Downlink Command Name: ") + name + QLatin1String("\r\nRaw Data: ")
                          + QLatin1String(frame.toHex()) + QLatin1String("\r\nField Data: "),
                      2);
    }
    if (!m_msg || m_msg->sendMsg(frame) != 0) {
        CCommand::logSendFailed(m_logger, name);
        return false;
    }
    return true;
}
