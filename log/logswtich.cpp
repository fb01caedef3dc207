#include "logswtich.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>

#include "schema/ccommand.h"

namespace {

const char* const kLogPrintfCommand = "Log printf set";

} // namespace

LogSwtich::LogSwtich(CMsg* msg, LogManager* logger, QWidget* parent)
    : CFlatDialog(QStringLiteral("log switch"), parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_cbSdk(new QCheckBox(contentFrame()))
    , m_cbStack(new QCheckBox(contentFrame()))
{
    m_cbSdk->setObjectName(QStringLiteral("m_cbSdk"));
    m_cbStack->setObjectName(QStringLiteral("m_cbStack"));
    m_cbSdk->setChecked(true);
    m_cbStack->setChecked(true);

    auto* layout = new QGridLayout(contentFrame());
    layout->setContentsMargins(20, 8, 20, 8);
    layout->setHorizontalSpacing(12);
    layout->addWidget(new QLabel(QStringLiteral("print sdk log"), contentFrame()), 0, 0);
    layout->addWidget(m_cbSdk, 0, 1);
    layout->addWidget(new QLabel(QStringLiteral("print stack log"), contentFrame()), 1, 0);
    layout->addWidget(m_cbStack, 1, 1);
    layout->setColumnStretch(2, 1);

    resize(302, 114);
}

LogSwtich::~LogSwtich() = default;

void LogSwtich::on_closeClicked()
{
    const FieldValueMap fields{
        {QStringLiteral("sdk"), m_cbSdk->isChecked()},
        {QStringLiteral("stack"), m_cbStack->isChecked()},
    };
    if (!CCommand::sendMsg(m_msg, m_logger, QString::fromLatin1(kLogPrintfCommand), fields))
        CCommand::logSendFailed(m_logger, QString::fromLatin1(kLogPrintfCommand));
    reject();
}
