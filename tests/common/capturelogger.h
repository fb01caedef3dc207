#pragma once

#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>

#include "log/logger.h"

// Keeps every line it is given, at any level, so a test can look at what was logged.
class CaptureLogger : public Logger
{
public:
    explicit CaptureLogger(const QString& name = "capture")
        : Logger(name, 0, 0)
    {
    }

    void write(QString text, int level) override { lines.append({level, text}); }
    void clear() override { lines.clear(); }

    QStringList texts() const
    {
        QStringList result;
        for (const auto& line : lines)
            result.append(line.second);
        return result;
    }

    bool contains(const QString& text, int level) const { return lines.contains({level, text}); }

    QVector<QPair<int, QString>> lines;
};
