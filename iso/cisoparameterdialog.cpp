#include "cisoparameterdialog.h"

#include <QPushButton>

#include "schema/cmsgfield.h"

namespace {

const char* const kTitle = "Configure CIG Parameter";

} // namespace

CIsoParameterDialog::CIsoParameterDialog(LogManager* logger, const QString& component, QWidget* parent)
    : CFlatDialog(QLatin1String(kTitle), parent)
    , m_form(new CmsgField(logger, component, this))
{
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    layOutWithOkCancel(m_form, ok, cancel);
    connect(ok, &QPushButton::clicked, this, &CIsoParameterDialog::on_pushButton_ok_clicked);
    connect(cancel, &QPushButton::clicked, this, &CIsoParameterDialog::reject);
    resize(420, 0);
}

CIsoParameterDialog::~CIsoParameterDialog() = default;

void CIsoParameterDialog::runAdd()
{
    m_editMode = false;
    exec();
}

void CIsoParameterDialog::runEditTexts(const QMap<QString, QString>& texts, const QString& id)
{
    m_editMode = true;
    m_editedId = id;
    m_form->setEditorTexts(texts);
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
    return m_form->formTexts();
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
    : CIsoParameterDialog(logger, QStringLiteral("CIG Parameter Get"), parent)
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
    : CIsoParameterDialog(logger, QStringLiteral("CIS Parameter Get"), parent)
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
