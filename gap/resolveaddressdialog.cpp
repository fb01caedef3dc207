#include "resolveaddressdialog.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "link/cmsg.h"
#include "schema/ccommand.h"
#include "schema/cutil.h"
#include "schema/cvalidatelineedit.h"

namespace {

const char* const kSourceFile = ".\\resolveaddressdialog";
const char* const kCommand = "Resolvable address read";

QLineEdit* resultField(const QString& name, QWidget* parent)
{
    auto* field = new QLineEdit(parent);
    field->setObjectName(name);
    field->setReadOnly(true);
    return field;
}

} // namespace

ResolveAddressDialog::ResolveAddressDialog(CMsg* msg, LogManager* logger, QWidget* parent)
    : CFlatDialog(QStringLiteral("resolve address"), parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_peerAddress(new CValidateLineEdit(this))
    , m_peerAddressType(new QComboBox(this))
    , m_localRpa(resultField(QStringLiteral("lineEdit_localRpa"), this))
    , m_peerRpa(resultField(QStringLiteral("lineEdit_peerRpa"), this))
{
    m_peerAddress->setObjectName(QStringLiteral("lineEdit_peerAddress"));
    m_peerAddress->setAddrType(QStringLiteral("17"), QLatin1String(CValidateLineEdit::kColonHexPattern),
                               QStringLiteral("00:00:00:00:00:00"));
    m_peerAddressType->setObjectName(QStringLiteral("comboBox_peerAddressType"));
    m_peerAddressType->addItems({QStringLiteral("public"), QStringLiteral("random")});
    auto* local = new QPushButton(QStringLiteral("Read"), this);
    local->setObjectName(QStringLiteral("buttonLocal"));
    auto* peer = new QPushButton(QStringLiteral("Read"), this);
    peer->setObjectName(QStringLiteral("buttonPeer"));

    auto* grid = new QGridLayout(contentFrame());
    grid->setContentsMargins(16, 12, 16, 12);
    grid->addWidget(new QLabel(QStringLiteral("Peer Identity Address"), this), 0, 0);
    grid->addWidget(m_peerAddress, 0, 1, 1, 2);
    grid->addWidget(new QLabel(QStringLiteral("Peer Address Type"), this), 1, 0);
    grid->addWidget(m_peerAddressType, 1, 1, 1, 2);
    grid->addWidget(new QLabel(QStringLiteral("Local RPA Address"), this), 2, 0);
    grid->addWidget(m_localRpa, 2, 1);
    grid->addWidget(local, 2, 2);
    grid->addWidget(new QLabel(QStringLiteral("Peer RPA Address"), this), 3, 0);
    grid->addWidget(m_peerRpa, 3, 1);
    grid->addWidget(peer, 3, 2);
    grid->setColumnStretch(1, 1);
    resize(460, 200);

    connect(local, &QPushButton::clicked, this, &ResolveAddressDialog::on_buttonLocal_clicked);
    connect(peer, &QPushButton::clicked, this, &ResolveAddressDialog::on_buttonPeer_clicked);
    procTable = {
        {"BB@01@85", &ResolveAddressDialog::responseProc},
        {"DD@01@86", &ResolveAddressDialog::getRPAAdress},
    };
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvGapMsg, this, &ResolveAddressDialog::onRcvMsg);
}

ResolveAddressDialog::~ResolveAddressDialog() = default;

void ResolveAddressDialog::on_buttonLocal_clicked()
{
    read(0);
}

void ResolveAddressDialog::on_buttonPeer_clicked()
{
    read(1);
}

void ResolveAddressDialog::read(quint8 opType)
{
    // The text shows the address most significant byte first; the wire wants it the other way.
    const QByteArray address = CUtil::reversed(QByteArray::fromHex(m_peerAddress->value().toLatin1()));
    const FieldValueMap fields = {
        {QStringLiteral("op_type"), uint(opType)},
        {QStringLiteral("peer_addr_type"), uint(m_peerAddressType->currentIndex() == 0 ? 0 : 1)},
        {QStringLiteral("peer_addr"), address},
    };
    if (!CCommand::sendMsg(m_msg, m_logger, QLatin1String(kCommand), fields))
        CCommand::logSendFailed(m_logger, QLatin1String(kCommand));
}

void ResolveAddressDialog::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

void ResolveAddressDialog::responseProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
}

void ResolveAddressDialog::getRPAAdress(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    const QByteArray status = fields.value(QStringLiteral("status"));
    if (status.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, QStringLiteral("ResolveAddressDialog::getRPAAdress"));
        return;
    }
    if (status.at(0) != 0) {
        CCommand::logUplinkResult(m_logger, frame, quint8(status.at(0)));
        return;
    }
    const QString address = QString::fromLatin1(CUtil::reversed(fields.value(QStringLiteral("rpa_addr"))).toHex(':'));
    const QByteArray op = fields.value(QStringLiteral("op_type"));
    if (op == QByteArray(1, '\0'))
        m_localRpa->setText(address);
    else if (op == QByteArray(1, '\1'))
        m_peerRpa->setText(address);
}
