#pragma once

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QSharedPointer>
#include <QString>

class FileLogger;
class Logger;

// The log of one dongle tab: fans each line out to the console, the run's files and the panes.
class LogManager : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(LogManager)

public:
    // Makes this run's log directory for the dongle and opens "UI_log.txt" and "dongle_log.txt" in it.
    explicit LogManager(QString dongleName, QObject* parent = nullptr);
    ~LogManager() override;

    virtual void logTo(QString loggerName, QString text, int level);
    virtual void log(const QString& text, int level);
    virtual void logFile(QString text);
    virtual void logFile(QString text, int level);
    virtual void logDongle(QString text);
    virtual void logExtra(QString text);
    virtual void setLogFile(QString path);
    virtual void setMainLogger(QString name);
    virtual void addLogger(QSharedPointer<Logger> logger);
    virtual void addLogger(Logger* logger);
    virtual void removeLogger(QString name);
    virtual QSharedPointer<Logger> logger(QString name);
    virtual bool hasLogger(QString name);
    virtual void addDongleLogger(Logger* logger);
    virtual void addExtraLogger(Logger* logger);
    virtual QString logFolder();
    virtual void clear();
    virtual void guardedWrite(Logger* logger, QString text, int level);

    QString mainLogger() const { return m_mainLogger; }

    // The directory the tool writes its files under: the application dir, or the application's
    // local data location when the application dir can't be written.
    static QString dataRoot();
    // Puts every later file under `root` instead; tests give each run a folder of its own.
    static void setDataRoot(const QString& root);
    // The directory under which runs make their folders: dataRoot() + "/Log/".
    static QString logRoot();

private:
    QHash<QString, QSharedPointer<Logger>> m_toolLoggers;
    QHash<QString, QSharedPointer<Logger>> m_dongleLoggers;
    QHash<QString, QSharedPointer<Logger>> m_extraLoggers;
    QSharedPointer<Logger> m_console;
    QSharedPointer<FileLogger> m_toolFile;
    QSharedPointer<FileLogger> m_dongleFile;
    QSharedPointer<Logger> m_dummy;
    QString m_mainLogger;
    QMutex m_mutex;
};
