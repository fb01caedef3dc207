#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVector>

#include "air/virtualadvertiser.h"

class QJsonArray;
class QJsonObject;
class QJsonValue;

// Reads world files: JSON lists of the devices in the air. It is strict, since a world that
// loads with a misspelt key or a wrapped number silently tests something else: the first fault
// ends the load with one message that names the file, the device and the key.
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
    bool readDevice(const QJsonObject& object, QVector<VirtualAdvertiser>* world);
    bool checkServices(const QJsonObject& device);
    bool checkCharacteristic(const QJsonObject& characteristic, int* attributes);
    bool checkVariation(const QJsonObject& characteristic, const QByteArray& value, int notifyEveryMs);
    bool list(const QJsonObject& object, const QString& key, QJsonArray* out);
    bool entry(const QJsonArray& array, int index, const QString& key, const QStringList& allowed, QJsonObject* out);
    bool uuid(const QJsonObject& object);
    bool checkKeys(const QJsonObject& object, const QStringList& allowed);
    bool text(const QJsonObject& object, const QString& key, QString* out);
    bool boolean(const QJsonObject& object, const QString& key, bool* out);
    bool number(const QJsonObject& object, const QString& key, int min, int max, int* out);
    bool choice(const QJsonObject& object, const QString& key, const QStringList& choices, int* out);
    bool hex(const QJsonObject& object, const QString& key, int maxBytes, QByteArray* out);
    bool nameBits(const QJsonObject& object, const QString& key, const QStringList& names, quint32* out);
    bool readController(const QJsonObject& object, bool connectable, ControllerInfo* out);
    bool readL2cap(const QJsonObject& object, bool connectable, VirtualAdvertiser* out);
    bool readSecurity(const QJsonObject& object, bool connectable, VirtualAdvertiser* out);
    bool fail(const QString& key, const QString& problem);

    QString m_fileName;
    QString m_device; // "device 3 \"Tarvine HR\"", for the messages
    QString m_path; // where in the device the keys stand: "services[0].characteristics[1]."
    QString m_error;
    QHash<QByteArray, QString> m_taken; // address and type -> the device that has it
};
