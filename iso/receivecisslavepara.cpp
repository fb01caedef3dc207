#include "receivecisslavepara.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "iso/uplinkfieldsform.h"
#include "log/logmanager.h"

ReceiveCISSlavePara::ReceiveCISSlavePara(CMsg* msg, LogManager* logger, const UplinkFieldMap& request,
                                         QWidget* parent)
    : CFlatDialog(QStringLiteral("Update Connection Parameters"), parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_request(request)
{
    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(16, 12, 16, 12);
    layout->addWidget(new QLabel(QStringLiteral("Receive a CIS Connection Request:"), this));
    layout->addWidget(uplinkFieldsForm(logger, QStringLiteral("Get CIS Slave Parameter"), request, this));

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    auto* accept = new QPushButton(QStringLiteral("Accept"), this);
    accept->setObjectName(QStringLiteral("pushButton_accept"));
    auto* reject = new QPushButton(QStringLiteral("Reject"), this);
    reject->setObjectName(QStringLiteral("pushButton_reject"));
    buttons->addWidget(accept);
    buttons->addWidget(reject);
    layout->addLayout(buttons);
    QMetaObject::connectSlotsByName(this);
    resize(460, 240);
}

ReceiveCISSlavePara::~ReceiveCISSlavePara() = default;

bool ReceiveCISSlavePara::hasHandle() const
{
    if (m_request.contains(QStringLiteral("cis_connection_handle")))
        return true;
    m_logger->log(QStringLiteral("The CIS Request data is wrong."), 4);
    return false;
}

void ReceiveCISSlavePara::on_pushButton_accept_clicked()
{
    if (!hasHandle())
        return;
    const FieldValueMap fields{
        {QStringLiteral("cis_connect_handle"), m_request.value(QStringLiteral("cis_connection_handle"))}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Accept CIS Established"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("Accept CIS Established"));
    accept();
}

// The refusal has always gone without the stream's handle, so the command cannot be built and
// only its failure is logged: the dongle's controller refuses the request once its time to
// answer has passed.
void ReceiveCISSlavePara::on_pushButton_reject_clicked()
{
    if (!hasHandle())
        return;
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Reject CIS Established"), {}))
        CCommand::logSendFailed(m_logger, QStringLiteral("Reject CIS Established"));
    reject();
}
