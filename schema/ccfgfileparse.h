#pragma once

#include <QAtomicPointer>
#include <QMap>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QVector>

// One row of a command file: where a field sits in a frame.
struct CmdField
{
    QString key;
    quint32 index = 0;
    quint32 length = 0;
    QString src;
};

// One AD type offered by the advertising data editor.
struct AdvDataField
{
    QString key;
    QString title;
    QString type;
    quint32 length = 0;
    QString value;
};

struct UiInfo
{
    QString name;
    QString father;
    QString format;
};

struct UiEnumElem
{
    QString desc;
    quint64 value = 0;
};

// A control of a generated form. Numbers stay text so a form shows them as the file spells them.
struct UiField
{
    QString key;
    QString title;
    QString type;
    QString subType;
    QString length;
    QString maxLength;
    QString min;
    QString max;
    QString singleStep;
    QString precision;
    QString defaultValue;
    QMap<quint64, QString> valueToDesc;
    QMap<QString, quint64> descToValue;
    QList<UiEnumElem> elems;
    QVector<UiField> subFields;
};

struct UiNameToFields
{
    QString name;
    QVector<UiField> fields;
};

// The command schema of the resource tree, loaded once per process and read by everyone.
// The tables are public: readers take them directly, on the GUI thread only.
class CCfgFileParse : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(CCfgFileParse)

public:
    static CCfgFileParse* instance();

    int parseCmdFile(const QString& path, QMap<QString, QVector<CmdField>>& idToFields);
    int parseUiFile(const QString& path, QVector<UiNameToFields>& nameToUi, QVector<UiInfo>& uiInfo);
    int parseCmdNameAndId(const QString& path, QMap<QString, QString>& nameToId,
                          QMap<QString, QString>& idToName);
    int parseAdvData(const QString& path, QMap<QString, QVector<AdvDataField>>& advData);

    QMap<QString, QVector<CmdField>> m_uplinkIdToFields;
    QMap<QString, QVector<CmdField>> m_downlinkIdToFields;
    QMap<QString, QString> m_uplinkNameToId;
    QMap<QString, QString> m_downlinkNameToId;
    QMap<QString, QString> m_uplinkIdToName;
    QMap<QString, QString> m_downlinkIdToName;
    QMap<QString, QVector<AdvDataField>> m_advDataFields;
    QVector<UiNameToFields> m_downlinkNameToUiVec;
    QVector<UiNameToFields> m_uplinkNameToUiVec;
    QVector<UiInfo> m_downlinkUiInfoVec;
    QVector<UiInfo> m_uplinkUiInfoVec;

private:
    CCfgFileParse();

    static QMutex s_mutex;
    static QAtomicPointer<CCfgFileParse> s_instance;
};
