#include "ccreatecocreqdlg.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "schema/cvalidatelineedit.h"

namespace {

CValidateLineEdit* numberInput(const char* name, const char* min, const char* max, const char* initial, QWidget* parent)
{
    auto* edit = new CValidateLineEdit(parent);
    edit->setObjectName(QLatin1String(name));
    edit->setIntType(QLatin1String(min), QLatin1String(max), QStringLiteral("2"), QLatin1String(initial));
    return edit;
}

QLabel* heading(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setStyleSheet(QStringLiteral("font-weight: bold;"));
    return label;
}

} // namespace

CCreateCOCReqDlg::CCreateCOCReqDlg(CMsg* msg, LogManager* logger, const QString& dongleName, uint8_t condix,
                                   const UplinkFieldMap& request, QWidget* parent)
    : CFlatDialog(dongleName + QStringLiteral(": COC Connect Request"), parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_condix(condix)
    , m_request(CCommand::uplinkFieldsToDecimal(request))
    , m_timer(new QTimer(this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    QFrame* body = contentFrame();
    auto* offer = new QFormLayout;
    offer->addRow(QStringLiteral("Peer CID"), new QLabel(m_request.value(QStringLiteral("peer_cid")), body));
    offer->addRow(QStringLiteral("Peer MPS"), new QLabel(m_request.value(QStringLiteral("peer_mps")), body));
    offer->addRow(QStringLiteral("Peer MTU"), new QLabel(m_request.value(QStringLiteral("peer_mtu")), body));
    offer->addRow(QStringLiteral("Local PSM"), new QLabel(m_request.value(QStringLiteral("le_psm")), body));

    m_localId = numberInput("lineEditLocalId", "64", "127", "64", body);
    m_localCredits = numberInput("lineEditLocalCredits", "0", "65535", "255", body);
    m_mtu = numberInput("lineEditMtu", "23", "2048", "23", body);
    m_mps = numberInput("lineEditMps", "23", "2048", "23", body);
    auto* local = new QFormLayout;
    local->addRow(QStringLiteral("Local ID"), m_localId);
    local->addRow(QStringLiteral("Local Credits"), m_localCredits);
    local->addRow(QStringLiteral("MTU"), m_mtu);
    local->addRow(QStringLiteral("MPS"), m_mps);

    auto* accept = new QPushButton(QStringLiteral("Accept"), body);
    accept->setObjectName(QStringLiteral("pushButtonAccept"));
    accept->setDefault(true);
    auto* reject = new QPushButton(QStringLiteral("Reject"), body);
    reject->setObjectName(QStringLiteral("pushButtonReject"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(accept);
    buttons->addWidget(reject);

    auto* layout = new QVBoxLayout(body);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->addWidget(heading(QStringLiteral("Receive a COC connection request"), body));
    layout->addLayout(offer);
    layout->addWidget(heading(QStringLiteral("Configure local COC connection parameters"), body));
    layout->addLayout(local);
    layout->addLayout(buttons);
    resize(360, 340);

    connect(accept, &QPushButton::clicked, this, &CCreateCOCReqDlg::on_pushButtonAccept_clicked);
    connect(reject, &QPushButton::clicked, this, &CCreateCOCReqDlg::on_pushButtonReject_clicked);
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, &CCreateCOCReqDlg::on_timeOut);
    m_timer->start(AnswerTimeMs);
}

CCreateCOCReqDlg::~CCreateCOCReqDlg() = default;

bool CCreateCOCReqDlg::answer(bool accept, FieldValueMap& fields)
{
    m_timer->stop();
    fields = {{QStringLiteral("accept"), uint(accept ? 1 : 0)},
              {QStringLiteral("condix"), uint(m_condix)},
              {QStringLiteral("peer_cid"), m_request.value(QStringLiteral("peer_cid")).toUInt()},
              {QStringLiteral("local_cid"), m_localId->value()},
              {QStringLiteral("local_credits"), m_localCredits->value()},
              {QStringLiteral("mtu"), m_mtu->value()},
              {QStringLiteral("mps"), m_mps->value()}};
    if (CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Accept Create COC Request"), fields))
        return true;
    CCommand::logSendFailed(m_logger, QStringLiteral("Accept Create COC Request"));
    return false;
}

void CCreateCOCReqDlg::on_pushButtonAccept_clicked()
{
    FieldValueMap fields;
    if (answer(true, fields)) {
        // The editors hold the numbers sent, repaired by the answer.
        const QString psm = m_request.value(QStringLiteral("le_psm"));
        ChannelInfo info;
        info.local = ChannelInfo::openingSide(psm, m_mtu->text(), m_mps->text(), m_localCredits->text());
        // The request does not say how many credits the peer gave: the count starts from none.
        info.remote = ChannelInfo::openingSide(psm, m_request.value(QStringLiteral("peer_mtu")),
                                               m_request.value(QStringLiteral("peer_mps")), QStringLiteral("0"));
        emit receiveCOCRequest(m_localId->text(), info, fields);
    }
    close();
}

// The dongle has no command of its own for a refusal: the answer says "not accepted".
void CCreateCOCReqDlg::on_pushButtonReject_clicked()
{
    FieldValueMap fields;
    answer(false, fields);
    close();
}

void CCreateCOCReqDlg::on_timeOut()
{
    on_pushButtonReject_clicked();
}

void CCreateCOCReqDlg::on_closeClicked()
{
    on_pushButtonReject_clicked();
}
