#include "ccommanduiwidget.h"
#include "ui_ccommanduiwidget.h"

#include <QIcon>
#include <QTimer>

#include "app/flat/cflatmessage.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/ccommanduiowner.h"
#include "schema/cutil.h"

namespace {

const char* const kUpdateConnectionParameters = "Update Connection Parameters Request";
constexpr int kUpdateWaitMs = 5000;

// The generated form must stand before the grid that fills it.
QGridLayout* setUpForm(Ui::CCommandUiWidget* ui, QWidget* widget)
{
    ui->setupUi(widget);
    return ui->gridLayout;
}

quint64 count(const FieldValueMap& values, const char* key)
{
    return values.value(QLatin1String(key)).toString().toULongLong(nullptr, 16);
}

} // namespace

CCommandUiWidget::CCommandUiWidget(CMsg* msg, LogManager* logger, CCommandUiOwner* owner, const QString& name,
                                   QTimer* timer, bool writable, uint8_t condix, bool expanded, QWidget* parent)
    : QWidget(parent)
    , ui(new Ui::CCommandUiWidget)
    , m_writable(writable)
    , m_name(name)
    , m_condix(condix)
    , m_timer(timer)
    , m_owner(owner)
    , m_msg(msg)
    , m_logger(logger)
    , m_grid(setUpForm(ui, this), 2)
{
    ui->label_name->setText(name);
    ui->btn_command->setText(writable ? QStringLiteral("Update") : QStringLiteral("Get"));
    ui->gridLayout->setColumnStretch(1, 1);
    ui->gridLayout->setColumnStretch(3, 1);
    connect(ui->sigWidget, &SigWidget::SigWidgetPressed, this, &CCommandUiWidget::onWidgetPressed);
    connect(ui->toolButton_fold, &QToolButton::clicked, this, &CCommandUiWidget::onWidgetPressed);

    UiNameToFields found;
    if (CUtil::findUiFields(CCfgFileParse::instance()->m_downlinkNameToUiVec, name, found) != 0)
        m_logger->log(QStringLiteral("find element from m_downlinkNameToUiVec failed."), 1);
    m_grid.build(found.fields, writable);
    setExpanded(expanded);
}

CCommandUiWidget::~CCommandUiWidget()
{
    delete ui;
}

bool CCommandUiWidget::supervisionHolds(quint64 intervalMax, quint64 latency, quint64 supervisionTimeout)
{
    // (1 + l) * i * 1.25 ms * 2 < s * 10 ms, in whole numbers: times 2 on both sides.
    return (1 + latency) * intervalMax * 5 < supervisionTimeout * 20;
}

void CCommandUiWidget::readFormValues(FieldValueMap& values, bool rawText) const
{
    m_grid.readFormValues(values, rawText);
}

void CCommandUiWidget::setFieldValueInGlayout(const UplinkFieldMap& fields) const
{
    m_grid.setFieldValueInGlayout(m_logger, QStringLiteral("CCommandUiWidget::setFieldValueInGlayout"), fields);
}

void CCommandUiWidget::on_btn_command_clicked()
{
    FieldValueMap values;
    if (m_writable)
        readFormValues(values);
    values.insert(QStringLiteral("condix"), QByteArray(1, char(m_condix)));

    const bool parametersUpdate = m_writable && m_name == QLatin1String(kUpdateConnectionParameters);
    if (parametersUpdate
        && !supervisionHolds(count(values, "interval_max"), count(values, "slave_latency"),
                             count(values, "sup_timeout"))) {
        const QString title = QStringLiteral("Update Connection Parameters Request Error");
        CFlatMessage::information(
            this, title, QStringLiteral("Supervision Timeout should greater than (1+Latency)*Interval Maximum*2."));
        m_logger->log(title, 4);
        return;
    }
    if (!CCommand::sendMsg(m_msg, m_logger, m_name, values, {})) {
        CCommand::logSendFailed(m_logger, m_name);
        return;
    }
    if (m_owner) {
        m_owner->setUplinkEnabled(true);
        if (parametersUpdate) {
            m_owner->setLinkState(1);
            m_timer->start(kUpdateWaitMs);
        }
    }
}

void CCommandUiWidget::onWidgetPressed()
{
    setExpanded(!m_expanded);
}

void CCommandUiWidget::setExpanded(bool expanded)
{
    m_expanded = expanded;
    ui->widget_body->setVisible(expanded);
    ui->toolButton_fold->setIcon(QIcon(expanded ? QStringLiteral(":/icons/GapCollapse")
                                                : QStringLiteral(":/icons/GapExpand")));
}
