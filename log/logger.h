#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QFile>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTextEdit>
#include <QTimer>

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

// Writes HTML lines into a text pane. Lines gather under a lock, from any thread, and reach the
// pane in batches on the pane's thread, one edit block each: the pane's re-layout after its
// oldest lines drop out costs milliseconds, so one per line would stall the GUI under a flood.
// The pane is fed here rather than through queued append() and clear() signals, whose events
// would pile up without bound.
class TextBrowserLogger : public Logger
{
    Q_OBJECT
    Q_DISABLE_COPY(TextBrowserLogger)

public:
    // A batch is sized to take about this long, which keeps the GUI well under the 50 ms a user
    // notices while the pane still keeps up with tens of thousands of lines a second.
    static constexpr int BatchBudgetMs = 20;
    // Unless a whole batch waits, batches come no closer than this, so that a steady trickle
    // of lines does not re-lay out the pane once per line.
    static constexpr int BatchIntervalMs = 25;
    // The fewest lines a batch takes: long entries (a frame's every field) cost milliseconds
    // each, so that a floor much above this would itself pass the budget.
    static constexpr int MinBatchLines = 5;

    // The pane is not owned. Its document's block limit, set before, bounds the backlog too:
    // lines beyond it would leave the pane as soon as they entered.
    TextBrowserLogger(const QString& name, QTextEdit* textBrowser, QObject* parent = nullptr);

    void write(QString text, int level) override;
    void clear() override;

    QTextEdit* textBrowser() const { return m_textBrowser; }
    // Lines written but not yet in the pane.
    int backlog() const;
    // Lines that left the backlog unshown because newer ones pushed them past the block limit.
    qint64 skipped() const;

    // The line the pane receives for a text at a level, after the time stamp "hh:mm:ss:zzz".
    static QString formatLine(const QString& time, QString text, int level);

protected:
    // A hidden pane is not laid out; it catches up when it is shown.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void postFlush();
    void flush();
    void appendLines(QTextEdit* pane, const QStringList& lines);

    QPointer<QTextEdit> m_textBrowser;
    int m_maxLines = 0;
    mutable QMutex m_mutex;
    QStringList m_pending;
    qint64 m_skipped = 0;
    bool m_clearPending = false;
    // A batch is due: posted, timed, or waiting for the pane to be shown.
    bool m_flushDue = false;
    QElapsedTimer m_sinceFlush;
    QTimer m_batchTimer;
    // The view follows the end until the user scrolls away from it, and again once the user
    // comes back: a re-layout that moves the end (a narrower pane wraps more) does not stop it.
    bool m_follow = true;
    bool m_followingEnd = false;
    // Lines a batch takes, learnt from what the last ones cost.
    int m_batchLines = 250;
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
