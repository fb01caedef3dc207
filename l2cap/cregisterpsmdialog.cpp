#include "cregisterpsmdialog.h"

#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>

#include "link/cmsg.h"
#include "schema/cvalidatelineedit.h"

CRegisterPSMDialog::CRegisterPSMDialog(CMsg* msg, LogManager* logger, QWidget* parent)
    : CFlatDialog(QStringLiteral("Register PSM"), parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_list(new QListWidget(contentFrame()))
    , m_psm(new CValidateLineEdit(contentFrame()))
{
    m_list->setObjectName(QStringLiteral("listWidget"));
    m_psm->setObjectName(QStringLiteral("lineEditPsm"));
    m_psm->setIntType(QStringLiteral("1"), QStringLiteral("255"), QStringLiteral("1"), QStringLiteral("128"));
    auto* registerButton = new QPushButton(QStringLiteral("Register"), contentFrame());
    registerButton->setObjectName(QStringLiteral("pushButtonRegister"));
    auto* unregisterButton = new QPushButton(QStringLiteral("UnRegister"), contentFrame());
    unregisterButton->setObjectName(QStringLiteral("pushButtonUnRegister"));

    auto* layout = new QGridLayout(contentFrame());
    layout->setContentsMargins(12, 12, 12, 12);
    layout->addWidget(m_list, 0, 0, 1, 3);
    layout->addWidget(new QLabel(QStringLiteral("psm:"), contentFrame()), 1, 0);
    layout->addWidget(m_psm, 1, 1, 1, 2);
    layout->addWidget(registerButton, 2, 1);
    layout->addWidget(unregisterButton, 2, 2);
    resize(300, 300);

    procTable = {{"BB@04@0D", &CRegisterPSMDialog::registerProc}, {"BB@04@0F", &CRegisterPSMDialog::unregisterProc}};
    connect(registerButton, &QPushButton::clicked, this, &CRegisterPSMDialog::on_pushButtonRegister_clicked);
    connect(unregisterButton, &QPushButton::clicked, this, &CRegisterPSMDialog::on_pushButtonUnRegister_clicked);
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvL2capMsg, this, &CRegisterPSMDialog::onRcvMsg);
}

CRegisterPSMDialog::~CRegisterPSMDialog() = default;

void CRegisterPSMDialog::reset()
{
    m_list->clear();
    m_registering.clear();
    m_unregistering.clear();
}

QStringList CRegisterPSMDialog::registered() const
{
    QStringList psms;
    for (int row = 0; row < m_list->count(); ++row)
        psms.append(m_list->item(row)->text());
    return psms;
}

void CRegisterPSMDialog::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

// Channels on the PSM ask for no security: the form of the command offers none.
void CRegisterPSMDialog::on_pushButtonRegister_clicked()
{
    const QString psm = QString::number(m_psm->value().toUInt(nullptr, 16));
    const FieldValueMap fields{{QStringLiteral("ls_psm"), psm.toUInt()},
                               {QStringLiteral("sec_level"), 0u},
                               {QStringLiteral("use_mks"), 0u}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Register PSM"), fields)) {
        CCommand::logSendFailed(m_logger, QStringLiteral("Register PSM"));
        return;
    }
    m_registering.append(psm);
}

void CRegisterPSMDialog::on_pushButtonUnRegister_clicked()
{
    const QListWidgetItem* item = m_list->currentItem();
    if (!item)
        return;
    const QString psm = item->text();
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Unregister PSM"), {{QStringLiteral("ls_psm"), psm.toUInt()}})) {
        CCommand::logSendFailed(m_logger, QStringLiteral("Unregister PSM"));
        return;
    }
    m_unregistering.append(psm);
}

bool CRegisterPSMDialog::succeeded(const QByteArray& frame)
{
    return frame.size() == 6 && frame.at(5) == 0;
}

void CRegisterPSMDialog::registerProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
    if (m_registering.isEmpty())
        return;
    const QString psm = m_registering.takeFirst();
    if (succeeded(frame) && m_list->findItems(psm, Qt::MatchExactly).isEmpty())
        m_list->addItem(psm);
}

void CRegisterPSMDialog::unregisterProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
    if (m_unregistering.isEmpty())
        return;
    const QString psm = m_unregistering.takeFirst();
    if (succeeded(frame))
        qDeleteAll(m_list->findItems(psm, Qt::MatchExactly));
}
