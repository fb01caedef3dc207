#pragma once

#include <QByteArray>
#include <QFile>
#include <QObject>
#include <QPointer>
#include <QString>

// One destination of log lines; takes a line when its level reaches the threshold m_level.
class Logger : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Logger)

public:
    Logger(const QString& name, int level, int kind, QObject* parent = nullptr);
    ~Logger() override = default;

    virtual void write(QString text, int level) = 0;
    virtual void clear() = 0;
    virtual QString name() const;
    virtual int level() const;
    virtual int kind() const;
    virtual bool operator==(const Logger& other) const;
    virtual bool operator!=(const Logger& other) const;

protected:
    QString m_name;
    int m_level = 0;
    int m_kind = 0;
};

// Stands in for a missing logger so that callers never hold a null one.
class DummyLogger : public Logger
{
    Q_OBJECT
    Q_DISABLE_COPY(DummyLogger)

public:
    explicit DummyLogger(QObject* parent = nullptr);

    void write(QString text, int level) override;
    void clear() override;
};

// Warnings and errors on the process's debug output.
class StandradOutLogger : public Logger
{
    Q_OBJECT
    Q_DISABLE_COPY(StandradOutLogger)

public:
    explicit StandradOutLogger(QObject* parent = nullptr);

    void write(QString text, int level) override;
    void clear() override;
};

// Writes HTML lines into a text pane (anything with slots append(QString) and clear()).
class TextBrowserLogger : public Logger
{
    Q_OBJECT
    Q_DISABLE_COPY(TextBrowserLogger)

public:
    // The pane is not owned; the connections are queued so any thread may write.
    TextBrowserLogger(const QString& name, QObject* textBrowser, QObject* parent = nullptr);

    void write(QString text, int level) override;
    void clear() override;

    QObject* textBrowser() const { return m_textBrowser; }

    // The line the pane receives for a text at a level, after the time stamp "hh:mm:ss:zzz".
    static QString formatLine(const QString& time, QString text, int level);

signals:
    void sig_append(QString msg);
    void sig_clear();

private:
    QPointer<QObject> m_textBrowser;
};

// Appends lines to a text file in blocks of 2048 bytes.
class FileLogger : public Logger
{
    Q_OBJECT
    Q_DISABLE_COPY(FileLogger)

public:
    static constexpr int BufferSize = 2048;

    explicit FileLogger(QObject* parent = nullptr);
    // Closes without flushing: what stands in the buffer at exit is lost.
    ~FileLogger() override;

    void write(QString text, int level) override;
    void clear() override;

    virtual void flushFile();
    virtual void setFileName(QString path);
    virtual QString fileName() const;

    // Bytes appended but not yet written to the file.
    int pendingBytes() const { return m_buffer.size(); }

signals:
    void sig_append(QString msg);
    void sig_clear();

private slots:
    void fileAppend(QString outMsg);
    void fileClear();

private:
    QFile m_file;
    QString m_fileName;
    QByteArray m_buffer;
};

// The time stamp of a log line, "hh:mm:ss:zzz" of the local time now.
QString logTimeStamp();
