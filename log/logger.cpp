#include "logger.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

#include <QDateTime>
#include <QDebug>
#include <QEvent>
#include <QMutexLocker>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>
#include <QTime>
#include <QTimer>

namespace {

inline void putTwo(QChar*& out, int value)
{
    *out++ = QLatin1Char(char('0' + value / 10));
    *out++ = QLatin1Char(char('0' + value % 10));
}

const char* fileTag(int level)
{
    switch (level) {
    case 4: return ": [ERROR]";
    case 3: return ": [WARN]";
    case 2: return ": [INFO]";
    case 1: return ": [DEBUG]";
    default: return ": [DONGLE]";
    }
}

} // namespace

// Hot path of a fast stream of uplinks. Local time costs a time-zone check (a stat of
// /etc/localtime) per call, so it is taken once per second of the epoch, and the digits are
// written by hand; a cache per thread keeps writers on other threads apart.
QString logTimeStamp()
{
    struct SecondCache
    {
        qint64 second = std::numeric_limits<qint64>::min();
        QChar digits[9];
    };
    thread_local SecondCache cache;

    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    qint64 second = now / 1000;
    int ms = int(now % 1000);
    if (ms < 0) {
        ms += 1000;
        --second;
    }
    if (second != cache.second) {
        const QTime local = QDateTime::fromMSecsSinceEpoch(second * 1000).time();
        QChar* out = cache.digits;
        putTwo(out, local.hour());
        *out++ = QLatin1Char(':');
        putTwo(out, local.minute());
        *out++ = QLatin1Char(':');
        putTwo(out, local.second());
        *out++ = QLatin1Char(':');
        cache.second = second;
    }

    QString stamp(12, Qt::Uninitialized);
    QChar* out = stamp.data();
    for (const QChar digit : cache.digits)
        *out++ = digit;
    *out++ = QLatin1Char(char('0' + ms / 100));
    putTwo(out, ms % 100);
    return stamp;
}

Logger::Logger(const QString& name, int level, int kind, QObject* parent)
    : QObject(parent)
    , m_name(name)
    , m_level(level)
    , m_kind(kind)
{
}

QString Logger::name() const
{
    return m_name;
}

int Logger::level() const
{
    return m_level;
}

int Logger::kind() const
{
    return m_kind;
}

bool Logger::operator==(const Logger& other) const
{
    return m_name == other.m_name;
}

bool Logger::operator!=(const Logger& other) const
{
    return !(*this == other);
}

DummyLogger::DummyLogger(QObject* parent)
    : Logger(QStringLiteral("dummy"), 4, 0, parent)
{
}

void DummyLogger::write(QString, int)
{
}

void DummyLogger::clear()
{
}

StandradOutLogger::StandradOutLogger(QObject* parent)
    : Logger(QStringLiteral("mainConsole"), 3, 1, parent)
{
}

void StandradOutLogger::write(QString text, int)
{
    qDebug().noquote() << text;
}

void StandradOutLogger::clear()
{
}

TextBrowserLogger::TextBrowserLogger(const QString& name, QTextEdit* textBrowser, QObject* parent)
    : Logger(name, 2, 2, parent)
    , m_textBrowser(textBrowser)
{
    m_batchTimer.setSingleShot(true);
    connect(&m_batchTimer, &QTimer::timeout, this, &TextBrowserLogger::flush);
    if (textBrowser) {
        m_maxLines = textBrowser->document()->maximumBlockCount();
        textBrowser->installEventFilter(this);
        QScrollBar* const bar = textBrowser->verticalScrollBar();
        connect(bar, &QScrollBar::valueChanged, this, [this, bar](int value) {
            if (!m_followingEnd)
                m_follow = value >= bar->maximum();
        });
        connect(bar, &QScrollBar::rangeChanged, this, [this, bar](int, int maximum) {
            if (!m_follow)
                return;
            m_followingEnd = true;
            bar->setValue(maximum);
            m_followingEnd = false;
        });
    }
}

int TextBrowserLogger::backlog() const
{
    QMutexLocker lock(&m_mutex);
    return m_pending.size();
}

qint64 TextBrowserLogger::skipped() const
{
    QMutexLocker lock(&m_mutex);
    return m_skipped;
}

QString TextBrowserLogger::formatLine(const QString& time, QString text, int level)
{
    text.replace(QLatin1String("\r\n"), QLatin1String("<br>"));
    switch (level) {
    case 4:
        return QLatin1String("<img src=\":/icons/error\"/><span style=\"color:#ff0000;\"> ") + time
            + QLatin1String(" - [ERROR] - ") + text + QLatin1String(" </span><br>");
    case 3:
        return QLatin1String("<img src=\":/icons/warning\"/><span style=\"color:#ff9900;\"> ") + time
            + QLatin1String(" - [WARN] - ") + text + QLatin1String(" </span><br>");
    case 2:
        return QLatin1String("<img src=\":/icons/info\"/><span style=\"color:#000000;\"> ") + time
            + QLatin1String(" - [INFO] - ") + text + QLatin1String(" </span><br>");
    default:
        return QLatin1String("<span>") + time + QLatin1String(" - ") + text + QLatin1String("</span>");
    }
}

void TextBrowserLogger::write(QString text, int level)
{
    if (text.isEmpty())
        return;
    const QString line = formatLine(logTimeStamp(), std::move(text), level);
    QMutexLocker lock(&m_mutex);
    m_pending.append(line);
    if (m_maxLines > 0 && m_pending.size() > m_maxLines) {
        m_pending.removeFirst();
        ++m_skipped;
    }
    postFlush();
}

void TextBrowserLogger::clear()
{
    QMutexLocker lock(&m_mutex);
    m_pending.clear();
    m_clearPending = true;
    postFlush();
}

// Called with m_mutex held.
void TextBrowserLogger::postFlush()
{
    if (m_flushDue)
        return;
    m_flushDue = true;
    QMetaObject::invokeMethod(this, &TextBrowserLogger::flush, Qt::QueuedConnection);
}

bool TextBrowserLogger::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Show && watched == m_textBrowser) {
        QMutexLocker lock(&m_mutex);
        if (m_flushDue && !m_batchTimer.isActive())
            QMetaObject::invokeMethod(this, &TextBrowserLogger::flush, Qt::QueuedConnection);
    }
    return Logger::eventFilter(watched, event);
}

void TextBrowserLogger::flush()
{
    QTextEdit* const pane = m_textBrowser;
    QStringList batch;
    bool clearPane = false;
    int left = 0;
    {
        QMutexLocker lock(&m_mutex);
        if (!m_flushDue)
            return;
        if (!pane) {
            m_pending.clear();
            m_flushDue = false;
            return;
        }
        clearPane = std::exchange(m_clearPending, false);
        if (!clearPane) {
            if (!pane->isVisible())
                return; // still due: showing the pane posts it again
            const bool wholeBatchWaits = m_pending.size() >= m_batchLines;
            const qint64 wait = m_sinceFlush.isValid() && !wholeBatchWaits
                ? BatchIntervalMs - m_sinceFlush.elapsed() : 0;
            if (wait > 0) {
                m_batchTimer.start(int(wait));
                return;
            }
        }
        if (pane->isVisible()) {
            batch = m_pending.mid(0, m_batchLines);
            m_pending.erase(m_pending.begin(), m_pending.begin() + batch.size());
        }
        left = m_pending.size();
        m_flushDue = left > 0;
    }

    if (clearPane)
        pane->clear();
    if (!batch.isEmpty())
        appendLines(pane, batch);
    if (left > 0)
        m_batchTimer.start(left >= m_batchLines ? 0 : BatchIntervalMs);
}

// As QTextEdit::append does for each line: a block of its own; but one edit block, so one
// re-layout, for the whole batch. The view follows the end by the scroll bar's range.
void TextBrowserLogger::appendLines(QTextEdit* pane, const QStringList& lines)
{
    QElapsedTimer cost;
    cost.start();
    QTextDocument* const document = pane->document();
    QTextCursor cursor(document);
    cursor.beginEditBlock();
    cursor.movePosition(QTextCursor::End);
    if (!document->isEmpty())
        cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
    // One parse for the batch, a block per line: each insertHtml() builds and tears down a whole
    // document of its own, which cost more than the insertion itself.
    QString html;
    html.reserve(std::accumulate(lines.cbegin(), lines.cend(), 0,
                                 [](int size, const QString& line) { return size + line.size() + 11; }));
    for (const QString& line : lines)
        html += QLatin1String("<div>") + line + QLatin1String("</div>");
    cursor.insertHtml(html);
    cursor.endEditBlock();
    m_sinceFlush.start();

    // Only a full batch tells what a line costs: a small one is mostly the fixed re-layout.
    if (lines.size() == m_batchLines) {
        const double perLineMs = std::max(double(cost.nsecsElapsed()) / 1e6 / lines.size(), 1e-3);
        const int fits = int(BatchBudgetMs / perLineMs);
        const int cap = m_maxLines > 0 ? m_maxLines : 2000;
        m_batchLines = std::clamp((m_batchLines + fits) / 2, int(MinBatchLines), cap);
    }
}

FileLogger::FileLogger(QObject* parent)
    : Logger(QStringLiteral("file_logger"), 1, 3, parent)
{
    // Reserved so that emptying the buffer after a flush keeps its memory.
    m_buffer.reserve(2 * BufferSize);
    connect(this, &FileLogger::sig_append, this, &FileLogger::fileAppend, Qt::QueuedConnection);
    connect(this, &FileLogger::sig_clear, this, &FileLogger::fileClear, Qt::QueuedConnection);
}

FileLogger::~FileLogger()
{
    m_file.close();
}

void FileLogger::write(QString text, int level)
{
    if (text.isEmpty())
        return;
    const char* tag = fileTag(level);
    QString line;
    line.reserve(12 + int(qstrlen(tag)) + text.size() + 2);
    line += logTimeStamp();
    line += QLatin1String(tag);
    line += text;
    line += QLatin1String("\r\n");
    emit sig_append(line);
}

void FileLogger::clear()
{
    emit sig_clear();
}

void FileLogger::flushFile()
{
    if (m_buffer.isEmpty())
        return;
    m_file.write(m_buffer);
    m_file.flush();
    m_buffer.resize(0);
}

void FileLogger::setFileName(QString path)
{
    m_fileName = path;
    if (m_file.isOpen())
        m_file.close();
    m_file.setFileName(path);
    if (!m_file.open(QIODevice::ReadWrite | QIODevice::Append))
        qWarning().noquote() << "cannot open log file" << path << ":" << m_file.errorString();
}

QString FileLogger::fileName() const
{
    return m_fileName;
}

void FileLogger::fileAppend(QString outMsg)
{
    m_buffer += outMsg.toUtf8();
    if (m_buffer.size() >= BufferSize)
        flushFile();
}

void FileLogger::fileClear()
{
    flushFile();
}
