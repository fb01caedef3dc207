#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

// A pseudo-terminal whose slave is published as a port named `portName` in a private port
// folder ($TARVINE_SIM_DIR), so that the tool opens it like a dongle; the test holds the master.
// Further pairs can join the folder of a first one.
class PtyPair
{
public:
    explicit PtyPair(const QString& portName = "ttyTEST0", const PtyPair* sameFolderAs = nullptr)
        : m_portName(portName)
        , m_folderPath(sameFolderAs ? sameFolderAs->folder() : m_folder.path())
    {
        m_master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
        if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0)
            return;
        m_slavePath = QString::fromLocal8Bit(ptsname(m_master));
        QFile::link(m_slavePath, QDir(m_folderPath).filePath(portName));
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(m_folderPath));
    }

    ~PtyPair() { close(); }

    // The far end goes, as when a dongle is pulled out.
    void close()
    {
        if (m_master >= 0)
            ::close(m_master);
        m_master = -1;
    }

    bool isValid() const { return m_master >= 0 && !m_slavePath.isEmpty(); }
    QString portName() const { return m_portName; }
    QString folder() const { return m_folderPath; }
    QString slavePath() const { return m_slavePath; }

    // Everything the tool has written so far.
    QByteArray readAll()
    {
        QByteArray data;
        char buffer[4096];
        for (;;) {
            const ssize_t n = ::read(m_master, buffer, sizeof buffer);
            if (n <= 0)
                break;
            data.append(buffer, int(n));
        }
        return data;
    }

    // What the tool has written, once at least `size` bytes came or the time is up.
    QByteArray read(int size, int timeoutMs = 5000)
    {
        QByteArray bytes;
        if (!QTest::qWaitFor([&] { return (bytes += readAll()).size() >= size; }, timeoutMs))
            qWarning("only %d of %d bytes came", int(bytes.size()), size);
        return bytes;
    }

    bool write(const QByteArray& bytes)
    {
        return ::write(m_master, bytes.constData(), size_t(bytes.size())) == bytes.size();
    }

private:
    QString m_portName;
    QTemporaryDir m_folder;
    QString m_folderPath;
    QString m_slavePath;
    int m_master = -1;
};
