#include "logmanager.h"

#include "logger.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QMutexLocker>
#include <QStandardPaths>

namespace {

bool writableDir(const QString& path)
{
    if (!QDir().mkpath(path))
        return false;
    return QFileInfo(path).isWritable();
}

QString& chosenRoot()
{
    static QString root;
    return root;
}

} // namespace

void LogManager::setDataRoot(const QString& root)
{
    chosenRoot() = root;
}

QString LogManager::dataRoot()
{
    if (!chosenRoot().isEmpty())
        return chosenRoot();
    const QString besideProgram = QCoreApplication::applicationDirPath();
    if (writableDir(besideProgram + QStringLiteral("/Log/")))
        return besideProgram;
    // An installed program under /usr can't write beside itself.
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
}

QString LogManager::logRoot()
{
    return dataRoot() + QStringLiteral("/Log/");
}

LogManager::LogManager(QString dongleName, QObject* parent)
    : QObject(parent)
    , m_console(new StandradOutLogger)
    , m_toolFile(new FileLogger)
    , m_dongleFile(new FileLogger)
    , m_dummy(new DummyLogger)
{
    const QString folder = QDir::toNativeSeparators(
        logRoot() + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd_hh_mm_ss_ddd"))
        + QLatin1Char('_') + dongleName);
    QDir().mkpath(folder);

    m_toolFile->setFileName(folder + QStringLiteral("/UI_log.txt"));
    m_toolLoggers.insert(m_console->name(), m_console);
    m_toolLoggers.insert(m_toolFile->name(), m_toolFile);
    m_toolLoggers.insert(m_dummy->name(), m_dummy);

    m_dongleFile->setFileName(folder + QStringLiteral("/dongle_log.txt"));
    m_dongleLoggers.insert(m_dongleFile->name(), m_dongleFile);
}

LogManager::~LogManager() = default;

void LogManager::logTo(QString loggerName, QString text, int level)
{
    const QSharedPointer<Logger> target = logger(loggerName);
    guardedWrite(target.data(), text, level);
    if (*target != *m_toolFile)
        guardedWrite(m_toolFile.data(), text, level);
}

void LogManager::log(const QString& text, int level)
{
    for (const QSharedPointer<Logger>& each : qAsConst(m_toolLoggers))
        guardedWrite(each.data(), text, level);
}

void LogManager::logFile(QString text)
{
    guardedWrite(m_toolFile.data(), text, m_toolFile->level());
}

void LogManager::logFile(QString text, int level)
{
    guardedWrite(m_toolFile.data(), text, level);
}

// Dongle lines bypass thresholds: the dongle's own log has no levels.
void LogManager::logDongle(QString text)
{
    for (const QSharedPointer<Logger>& each : qAsConst(m_dongleLoggers))
        each->write(text, 0);
}

void LogManager::logExtra(QString text)
{
    for (const QSharedPointer<Logger>& each : qAsConst(m_extraLoggers))
        each->write(text, 0);
}

void LogManager::setLogFile(QString path)
{
    QMutexLocker lock(&m_mutex);
    m_toolFile->setFileName(path);
}

void LogManager::setMainLogger(QString name)
{
    if (m_toolLoggers.contains(name))
        m_mainLogger = name;
}

void LogManager::addLogger(QSharedPointer<Logger> logger)
{
    if (logger)
        m_toolLoggers.insert(logger->name(), logger);
}

void LogManager::addLogger(Logger* logger)
{
    addLogger(QSharedPointer<Logger>(logger));
}

void LogManager::removeLogger(QString name)
{
    m_toolLoggers.remove(name);
    if (m_mainLogger == name)
        m_mainLogger.clear();
}

QSharedPointer<Logger> LogManager::logger(QString name)
{
    return m_toolLoggers.value(name, m_dummy);
}

bool LogManager::hasLogger(QString name)
{
    return logger(name) != m_dummy;
}

void LogManager::addDongleLogger(Logger* logger)
{
    if (logger)
        m_dongleLoggers.insert(logger->name(), QSharedPointer<Logger>(logger));
}

void LogManager::addExtraLogger(Logger* logger)
{
    if (logger)
        m_extraLoggers.insert(logger->name(), QSharedPointer<Logger>(logger));
}

QString LogManager::logFolder()
{
    return QDir::toNativeSeparators(QFileInfo(m_toolFile->fileName()).absolutePath());
}

void LogManager::clear()
{
    for (const QSharedPointer<Logger>& each : qAsConst(m_toolLoggers))
        each->clear();
}

void LogManager::guardedWrite(Logger* logger, QString text, int level)
{
    QMutexLocker lock(&m_mutex);
    if (logger && level >= logger->level())
        logger->write(text, level);
}
