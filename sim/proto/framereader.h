#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

class QTimer;

// Cuts the downlink byte stream into frames: command frames (0xAA) and the firmware loader's
// "DG" frames. Like the tool's own parser it resynchronises after a bad frame by looking again
// from the byte after its header; unlike a plain parser it gives up on a frame whose bytes stop
// coming, so that a tool killed mid-write leaves no trap for the next one.
class FrameReader : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(FrameReader)

public:
    static constexpr int SilenceMs = 40;
    static constexpr int MaxLength = 5000;
    // A loader frame is at most 1039 bytes: "DG", command, length, payload, 16-bit sum.
    static constexpr int LoaderMaxLength = 1031;

    explicit FrameReader(QObject* parent = nullptr);

    void feed(const QByteArray& bytes);
    // Forgets a partial frame, as a dongle does when it loses power.
    void clear();

signals:
    // A command frame with a good checksum, checksum included.
    void frame(const QByteArray& frame);
    // A loader frame with a good sum, sum included.
    void loaderFrame(const QByteArray& frame);
    // Bytes were thrown away, and why.
    void dropped(const QString& reason);

private:
    void parse();
    // Where the next frame may start, looking from `from`; the buffer's size when nowhere.
    int nextStart(int from) const;
    void dropHeader(const QString& reason);
    void onSilence();

    QByteArray m_buffer;
    QTimer* m_silence = nullptr;
};
