#include "cisoparameterdialog.h"

#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "schema/cmsgfield.h"

namespace {

// The CIS dialog shares the CIG dialog's title, and the BIG broadcaster's the receiver's.
const char* const kCigTitle = "Configure CIG Parameter";
const char* const kBigTitle = "Configure BIG Sync Parameters";

} // namespace

CIsoParameterDialog::CIsoParameterDialog(LogManager* logger, const QString& title, const QString& component,
                                         QWidget* parent)
    : CIsoParameterDialog(title, new CmsgField(logger, component), parent)
{
}

CIsoParameterDialog::CIsoParameterDialog(const QString& title, QWidget* body, QWidget* parent)
    : CFlatDialog(title, parent)
    , m_form(qobject_cast<CmsgField*>(body))
{
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    layOutWithOkCancel(body, ok, cancel);
    connect(ok, &QPushButton::clicked, this, &CIsoParameterDialog::on_pushButton_ok_clicked);
    connect(cancel, &QPushButton::clicked, this, &CIsoParameterDialog::reject);
    resize(420, 0);
}

CIsoParameterDialog::~CIsoParameterDialog() = default;

void CIsoParameterDialog::aboutToRun(const QString&)
{
}

void CIsoParameterDialog::runAdd()
{
    m_editMode = false;
    run(QString::number(m_runningId));
}

void CIsoParameterDialog::runEditTexts(const QMap<QString, QString>& texts, const QString& id)
{
    m_editMode = true;
    m_editedId = id;
    if (m_form)
        m_form->setEditorTexts(texts);
    run(id);
}

void CIsoParameterDialog::run(const QString& id)
{
    aboutToRun(id);
    exec();
}

QString CIsoParameterDialog::takeId()
{
    if (m_editMode)
        return m_editedId;
    return QString::number(m_runningId++);
}

QMap<QString, QString> CIsoParameterDialog::formTexts() const
{
    return m_form ? m_form->formTexts() : QMap<QString, QString>();
}

namespace {

// The form's fields of each record, by key; the id is the dialog's own.
template <class Record>
using Fields = std::initializer_list<std::pair<const char*, QString Record::*>>;

const Fields<cigParameter> kCigFields = {
    {"sdu_interval_m2s", &cigParameter::sdu_interval_m2s},
    {"sdu_interval_s2m", &cigParameter::sdu_interval_s2m},
    {"transport_latency_m2s", &cigParameter::transport_latency_m2s},
    {"transport_latency_s2m", &cigParameter::transport_latency_s2m},
    {"sca", &cigParameter::sca},
    {"packing", &cigParameter::packing},
    {"framing", &cigParameter::framing},
};

const Fields<cisParameter> kCisFields = {
    {"max_sdu_m2s", &cisParameter::max_sdu_m2s}, {"max_sdu_s2m", &cisParameter::max_sdu_s2m},
    {"phy_m2s", &cisParameter::phy_m2s},         {"phy_s2m", &cisParameter::phy_s2m},
    {"rtn_m2s", &cisParameter::rtn_m2s},         {"rtn_s2m", &cisParameter::rtn_s2m},
};

const Fields<bigParameter> kBigFields = {
    {"mse", &bigParameter::mse},
    {"big_sync_timeout", &bigParameter::big_sync_timeout},
    {"encryption", &bigParameter::encryption},
    {"broadcastcode", &bigParameter::broadcastcode},
};

const Fields<slaveBigPara> kSlaveBigFields = {
    {"number_bis", &slaveBigPara::number_bis},
    {"sdu_interval", &slaveBigPara::sdu_interval},
    {"max_sdu", &slaveBigPara::max_sdu},
    {"transport_latency", &slaveBigPara::transport_latency},
    {"rtn", &slaveBigPara::rtn},
    {"phy", &slaveBigPara::phy},
    {"packing", &slaveBigPara::packing},
    {"framing", &slaveBigPara::framing},
    {"encryption", &slaveBigPara::encryption},
    {"broadcastcode", &slaveBigPara::broadcastcode},
};

QWidget* bisIdForm(QLineEdit* id)
{
    auto* body = new QWidget;
    auto* layout = new QFormLayout(body);
    layout->setContentsMargins(0, 0, 0, 0);
    id->setReadOnly(true);
    layout->addRow(QStringLiteral("BIS ID:"), id);
    return body;
}

template <class Record>
QMap<QString, QString> textsOf(const Record& record, Fields<Record> fields)
{
    QMap<QString, QString> texts;
    for (const auto& field : fields)
        texts.insert(QLatin1String(field.first), record.*field.second);
    return texts;
}

template <class Record>
Record recordOf(const QMap<QString, QString>& texts, Fields<Record> fields)
{
    Record record;
    for (const auto& field : fields)
        record.*field.second = texts.value(QLatin1String(field.first));
    return record;
}

} // namespace

cigParameterDialog::cigParameterDialog(LogManager* logger, QWidget* parent)
    : CIsoParameterDialog(logger, QLatin1String(kCigTitle), QStringLiteral("CIG Parameter Get"), parent)
{
}

cigParameterDialog::~cigParameterDialog() = default;

void cigParameterDialog::runEdit(const cigParameter& cig)
{
    runEditTexts(textsOf(cig, kCigFields), cig.cig_id);
}

void cigParameterDialog::on_pushButton_ok_clicked()
{
    cigParameter cig = recordOf(formTexts(), kCigFields);
    cig.cig_id = takeId();
    emit sig_cigParaUpdate(cig);
    accept();
}

cisParameterDialog::cisParameterDialog(LogManager* logger, QWidget* parent)
    : CIsoParameterDialog(logger, QLatin1String(kCigTitle), QStringLiteral("CIS Parameter Get"), parent)
{
}

cisParameterDialog::~cisParameterDialog() = default;

void cisParameterDialog::runEdit(const cisParameter& cis)
{
    runEditTexts(textsOf(cis, kCisFields), cis.cis_id);
}

void cisParameterDialog::on_pushButton_ok_clicked()
{
    cisParameter cis = recordOf(formTexts(), kCisFields);
    cis.cis_id = takeId();
    emit sig_cisParaUpdate(cis);
    accept();
}

bigParameterDialog::bigParameterDialog(LogManager* logger, QWidget* parent)
    : CIsoParameterDialog(logger, QLatin1String(kBigTitle), QStringLiteral("Master BIG Parameter Get"), parent)
{
}

bigParameterDialog::~bigParameterDialog() = default;

void bigParameterDialog::runEdit(const bigParameter& big)
{
    runEditTexts(textsOf(big, kBigFields), big.big_id);
}

void bigParameterDialog::on_pushButton_ok_clicked()
{
    bigParameter big = recordOf(formTexts(), kBigFields);
    big.big_id = takeId();
    emit sig_bigParaUpdate(big);
    accept();
}

bisParameterDialog::bisParameterDialog(QWidget* parent)
    : CIsoParameterDialog(QStringLiteral("Configure BIS Parameter"), bisIdForm(new QLineEdit), parent)
{
    m_id = findChild<QLineEdit*>();
    m_id->setObjectName(QStringLiteral("lineEdit_bisId"));
}

bisParameterDialog::~bisParameterDialog() = default;

void bisParameterDialog::runEdit(const bisParameter& bis)
{
    runEditTexts({}, bis.bis_id);
}

void bisParameterDialog::aboutToRun(const QString& id)
{
    m_id->setText(id);
}

void bisParameterDialog::on_pushButton_ok_clicked()
{
    bisParameter bis;
    bis.bis_id = takeId();
    emit sig_bisParaUpdate(bis);
    accept();
}

SlaveBIGParaDialog::SlaveBIGParaDialog(LogManager* logger, QWidget* parent)
    : CIsoParameterDialog(logger, QLatin1String(kBigTitle), QStringLiteral("Slave BIG Parameter Get"), parent)
{
    // The dialog has always named the interval's unit so, though it is microseconds.
    const auto labels = form()->findChildren<QLabel*>();
    for (QLabel* label : labels) {
        if (label->text() == QLatin1String("SDU Interval(us)"))
            label->setText(QStringLiteral("SDU Interval(ms)"));
    }
}

SlaveBIGParaDialog::~SlaveBIGParaDialog() = default;

void SlaveBIGParaDialog::runEdit(const slaveBigPara& big)
{
    runEditTexts(textsOf(big, kSlaveBigFields), big.big_id);
}

void SlaveBIGParaDialog::on_pushButton_ok_clicked()
{
    slaveBigPara big = recordOf(formTexts(), kSlaveBigFields);
    big.big_id = takeId();
    emit sig_slaveBigParaUpdate(big);
    accept();
}
