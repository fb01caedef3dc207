#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

// Cuts the downlink byte stream into frames.
class FrameReader : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(FrameReader)

public:
    explicit FrameReader(QObject* parent = nullptr);

    void feed(const QByteArray& bytes);
    // Forgets a partial frame, as a dongle does when it loses power.
    void clear();

signals:
    // A whole frame, checksum included; the checksum is not checked here.
    void frame(const QByteArray& frame);
    // Bytes were thrown away, and why.
    void dropped(const QString& reason);

private:
    QByteArray m_buffer;
};
