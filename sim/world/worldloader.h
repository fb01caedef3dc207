#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

#include "air/virtualadvertiser.h"

class QJsonObject;

// Reads world files: JSON lists of the devices in the air.
class WorldLoader
{
public:
    explicit WorldLoader(const QString& fileName);

    bool load(QVector<VirtualAdvertiser>* devices);
    bool parse(const QByteArray& json, QVector<VirtualAdvertiser>* devices);
    QString error() const { return m_error; }

    // The six peripherals of the air when no world file is given.
    static QVector<VirtualAdvertiser> defaultWorld();

private:
    bool hexField(const QJsonObject& object, const char* key, QByteArray* out, const QString& where);

    QString m_fileName;
    QString m_error;
};
