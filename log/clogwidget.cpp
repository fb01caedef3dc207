#include "clogwidget.h"
#include "ui_clogwidget.h"

#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QTextBrowser>
#include <QToolButton>

#include "app/flat/cflatmessage.h"
#include "log/logmanager.h"
#include "log/logswtich.h"

namespace {

// Both paths in one form, whichever separators they came with.
QString oneForm(QString path)
{
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return QDir::toNativeSeparators(path);
}

} // namespace

CLogWidget::CLogWidget(CMsg* msg, LogManager* logger, int type, QWidget* parent)
    : QWidget(parent)
    , ui(new Ui::LogWidget)
    , m_logger(logger)
    , m_msg(msg)
    , m_type(type)
{
    ui->setupUi(this);
    m_textBrowser = ui->m_textBrowser;
    // Older lines leave the pane; the run's file keeps them.
    m_textBrowser->document()->setMaximumBlockCount(MaxBlocks);

    connect(ui->m_tbClear, &QToolButton::clicked, this, &CLogWidget::onLogClear);
    connect(ui->m_tbSave, &QToolButton::clicked, this, &CLogWidget::onLogSave);

    m_logSwitch = new LogSwtich(m_msg, m_logger, this);
}

CLogWidget::~CLogWidget()
{
    delete ui;
}

void CLogWidget::setTitle(const QString& title)
{
    ui->m_lblTitle->setText(title);
}

QString CLogWidget::logFilePath() const
{
    const QString folder = m_logger ? m_logger->logFolder() : QString();
    return folder + (m_type == 0 ? QStringLiteral("/UI_log.txt") : QStringLiteral("/dongle_log.txt"));
}

void CLogWidget::onLogClear()
{
    m_textBrowser->clear();
}

void CLogWidget::onLogSave()
{
    const QString target = askSavePath();
    if (target.isEmpty())
        return;
    if (!copyLogFile(target))
        CFlatMessage::information(this, QStringLiteral("message"), QStringLiteral("save fail!"));
}

void CLogWidget::on_m_tbLevel_clicked()
{
    m_logSwitch->show();
}

QString CLogWidget::askSavePath()
{
    QFileDialog dialog(this, QStringLiteral("save File..."), QString(),
                       QStringLiteral("Log file(*.log)"));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setDefaultSuffix(QStringLiteral(".log"));
    if (dialog.exec() != QDialog::Accepted)
        return QString();
    return dialog.selectedFiles().value(0);
}

bool CLogWidget::copyLogFile(QString target) const
{
    const QString source = oneForm(logFilePath());
    target = oneForm(target);
    if (source == target)
        return true;
    if (!QFile::exists(source))
        return false;
    if (QFile::exists(target))
        QFile::remove(target);
    return QFile::copy(source, target);
}
