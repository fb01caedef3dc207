#pragma once

#include <QAbstractTableModel>
#include <QByteArray>
#include <QVector>

#include "schema/ccommand.h"

class LogManager;

// A list that the dongle keeps, as a table: each entry a fixed run of fields, each column one
// field shown by its kind. The dongle owns the list; the page changes this copy only when the
// dongle has said yes.
class DeviceEntryModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(DeviceEntryModel)

public:
    enum class Kind { Address, TypeCapitalised, TypeLowerCase, Number, PrivacyMode, Key };
    struct Column
    {
        const char* title;
        const char* key;
        int length;
        Kind kind;
        const char* wrongLength; // logged when the field has another length; null: silent
    };

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // -1 when a field is missing or has the wrong length; else the entry goes last.
    int addItem(const UplinkFieldMap& fields);
    // Removes the first entry whose fields equal these; false when none does.
    bool removeItem(const UplinkFieldMap& fields);
    void clear();
    UplinkFieldMap item(int row) const;
    // The bytes of one entry in a list content uplink.
    int entrySize() const;
    // Cuts a list content into entries; false, the model as it was, when the bytes don't divide.
    bool setContent(const QByteArray& bytes);

protected:
    DeviceEntryModel(LogManager* logger, const QVector<Column>& columns, QObject* parent);

private:
    QString text(const Column& column, const QByteArray& bytes) const;

    LogManager* m_logger = nullptr;
    QVector<Column> m_columns;
    QVector<UplinkFieldMap> m_rows;
};
