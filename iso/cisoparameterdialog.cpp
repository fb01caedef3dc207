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

cigParameterDialog::cigParameterDialog(LogManager* logger, QWidget* parent)
    : CIsoParameterDialog(logger, QStringLiteral("CIG Parameter Get"), parent)
{
}

cigParameterDialog::~cigParameterDialog() = default;

void cigParameterDialog::runEdit(const cigParameter& cig)
{
    runEditTexts({{"sdu_interval_m2s", cig.sdu_interval_m2s},
                  {"sdu_interval_s2m", cig.sdu_interval_s2m},
                  {"transport_latency_m2s", cig.transport_latency_m2s},
                  {"transport_latency_s2m", cig.transport_latency_s2m},
                  {"sca", cig.sca},
                  {"packing", cig.packing},
                  {"framing", cig.framing}},
                 cig.cig_id);
}

void cigParameterDialog::on_pushButton_ok_clicked()
{
    const QMap<QString, QString> texts = formTexts();
    cigParameter cig;
    cig.cig_id = takeId();
    cig.sdu_interval_m2s = texts.value("sdu_interval_m2s");
    cig.sdu_interval_s2m = texts.value("sdu_interval_s2m");
    cig.transport_latency_m2s = texts.value("transport_latency_m2s");
    cig.transport_latency_s2m = texts.value("transport_latency_s2m");
    cig.sca = texts.value("sca");
    cig.packing = texts.value("packing");
    cig.framing = texts.value("framing");
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
    runEditTexts({{"max_sdu_m2s", cis.max_sdu_m2s},
                  {"max_sdu_s2m", cis.max_sdu_s2m},
                  {"phy_m2s", cis.phy_m2s},
                  {"phy_s2m", cis.phy_s2m},
                  {"rtn_m2s", cis.rtn_m2s},
                  {"rtn_s2m", cis.rtn_s2m}},
                 cis.cis_id);
}

void cisParameterDialog::on_pushButton_ok_clicked()
{
    const QMap<QString, QString> texts = formTexts();
    cisParameter cis;
    cis.cis_id = takeId();
    cis.max_sdu_m2s = texts.value("max_sdu_m2s");
    cis.max_sdu_s2m = texts.value("max_sdu_s2m");
    cis.phy_m2s = texts.value("phy_m2s");
    cis.phy_s2m = texts.value("phy_s2m");
    cis.rtn_m2s = texts.value("rtn_m2s");
    cis.rtn_s2m = texts.value("rtn_s2m");
    emit sig_cisParaUpdate(cis);
    accept();
}
