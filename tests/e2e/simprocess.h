#pragma once

#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QtTest>

// A tarvine-sim process on a private port folder, for end-to-end tests. Ending it closes its
// stdin, which makes it remove its links and leave; a sim that doesn't is killed.
class SimProcess
{
public:
    explicit SimProcess(const QStringList& extraArguments = {})
    {
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(m_folder.path()));
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(TARVINE_SIM_PATH),
                        QStringList{"--dir", m_folder.path(), "--trace", tracePath()} + extraArguments);
    }

    ~SimProcess()
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(5000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }

    QString folder() const { return m_folder.path(); }
    QString tracePath() const { return m_folder.filePath(QStringLiteral("trace.txt")); }

    // The next line the simulator prints, or an empty string after the timeout.
    QString readLine(int timeoutMs = 10000)
    {
        QElapsedTimer clock;
        clock.start();
        while (!m_process.canReadLine()) {
            if (clock.elapsed() > timeoutMs || m_process.state() == QProcess::NotRunning)
                return QString();
            m_process.waitForReadyRead(100);
        }
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }

    // Sends one control line and gives the answer.
    QString control(const QString& line)
    {
        m_process.write((line + QLatin1Char('\n')).toUtf8());
        m_process.waitForBytesWritten(1000);
        return readLine();
    }

    // Frames of the trace file that went that way ("up" or "down") and start with `prefix`:
    // {ms, direction, bytes} (the dongle column is skipped).
    struct TraceLine {
        qint64 ms = 0;
        QString direction;
        QByteArray bytes;
    };
    QVector<TraceLine> trace(const QString& direction = QString(), const QByteArray& prefix = QByteArray()) const
    {
        QVector<TraceLine> lines;
        QFile file(tracePath());
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
            return lines;
        while (!file.atEnd()) {
            const QList<QByteArray> parts = file.readLine().trimmed().split(' ');
            if (parts.size() < 4)
                continue;
            const TraceLine line{parts.at(0).toLongLong(), QString::fromLatin1(parts.at(2)),
                                 QByteArray::fromHex(parts.mid(3).join(' '))};
            if ((direction.isNull() || line.direction == direction) && line.bytes.startsWith(prefix))
                lines.append(line);
        }
        return lines;
    }
    int traced(const QString& direction, const QByteArray& prefix) const { return trace(direction, prefix).size(); }

private:
    QTemporaryDir m_folder;
    QProcess m_process;
};
