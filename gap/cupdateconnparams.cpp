#include "cupdateconnparams.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"
#include "schema/cutil.h"

namespace {

const char* const kReply = "Update Connection Parameters Reply";

QLineEdit* readOnlyValue(const QString& text, QWidget* parent)
{
    auto* value = new QLineEdit(text, parent);
    value->setReadOnly(true);
    return value;
}

} // namespace

CUpdateConnParams::CUpdateConnParams(CMsg* msg, LogManager* logger, uint8_t condix, const QString& address,
                                     const QMap<QString, QString>& values, QWidget* parent)
    : CFlatDialog(address + QStringLiteral(": Update Connection Parameters"), parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_condix(condix)
{
    setAttribute(Qt::WA_DeleteOnClose);
    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(16, 12, 16, 12);
    layout->addWidget(new QLabel(QStringLiteral("A request was received from the peer device"), this));

    auto* rows = new QGridLayout;
    rows->addWidget(new QLabel(QStringLiteral("Peer Device"), this), 0, 0);
    rows->addWidget(readOnlyValue(address, this), 0, 1);
    UiNameToFields reply;
    CUtil::findUiFields(CCfgFileParse::instance()->m_uplinkNameToUiVec, QLatin1String(kReply), reply);
    for (const UiField& field : qAsConst(reply.fields)) {
        const int row = rows->rowCount();
        rows->addWidget(new QLabel(field.title, this), row, 0);
        rows->addWidget(readOnlyValue(values.value(field.key), this), row, 1);
        auto* limits = new QLabel(QStringLiteral("%1 ~ %2").arg(field.min, field.max), this);
        limits->setStyleSheet(QStringLiteral("color: #808080;"));
        rows->addWidget(limits, row, 2);
    }
    rows->setColumnStretch(1, 1);
    layout->addLayout(rows);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    auto* accept = new QPushButton(QStringLiteral("Accept"), this);
    accept->setObjectName(QStringLiteral("pushButtonAccept"));
    auto* reject = new QPushButton(QStringLiteral("Reject"), this);
    reject->setObjectName(QStringLiteral("pushButtonReject"));
    buttons->addWidget(accept);
    buttons->addWidget(reject);
    layout->addLayout(buttons);
    connect(accept, &QPushButton::clicked, this, &CUpdateConnParams::on_pushButtonAccept_clicked);
    connect(reject, &QPushButton::clicked, this, &CUpdateConnParams::on_pushButtonReject_clicked);
    resize(460, 260);
}

CUpdateConnParams::~CUpdateConnParams() = default;

void CUpdateConnParams::on_pushButtonAccept_clicked()
{
    answer(true);
}

void CUpdateConnParams::on_pushButtonReject_clicked()
{
    answer(false);
}

// The title bar's close button is a refusal too.
void CUpdateConnParams::on_closeClicked()
{
    answer(false);
}

void CUpdateConnParams::reject()
{
    if (m_answered)
        return CFlatDialog::reject(); // the close after the answer
    answer(false);
}

void CUpdateConnParams::answer(bool accept)
{
    m_answered = true;
    if (reply(accept) && accept)
        emit receiveUpdateRequest();
    close();
}

bool CUpdateConnParams::reply(bool accept)
{
    const FieldValueMap fields{{QStringLiteral("accept"), accept ? QStringLiteral("1") : QStringLiteral("0")},
                               {QStringLiteral("condix"), QByteArray(1, char(m_condix))}};
    if (CCommand::sendMsg(m_msg, m_logger, QLatin1String(kReply), fields, {}))
        return true;
    CCommand::logSendFailed(m_logger, QLatin1String(kReply));
    return false;
}
