#pragma once

#include <QAbstractItemModel>
#include <QHash>
#include <QVector>

#include "gatt/gattattribute.h"

class LogManager;

// The attribute table as flat rows in handle order, rebuilt after every discovery uplink.
class GattTableModel : public QAbstractItemModel
{
    Q_OBJECT
    Q_DISABLE_COPY(GattTableModel)

public:
    // The table is the panel's; the model only reads it.
    GattTableModel(LogManager* logger, const QVector<GattAttribute>* attributeTable, QObject* parent = nullptr);

    QModelIndex index(int row, int column, const QModelIndex& parent = QModelIndex()) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    // With value rows, each characteristic declaration is followed by the row of its value in
    // place of the slot that stood for it.
    void build(bool withValueRows);
    void clear();
    // A value that came from the peer, shown in the arrival colour; -1 when no row has the handle.
    int updateValue(quint16 handle, const QByteArray& value);
    int getAttribute(const QModelIndex& index, GattAttribute& out) const;
    QVector<GattAttribute> attributes() const { return rows; }

private:
    LogManager* m_logger = nullptr;
    const QVector<GattAttribute>* m_attributeTable = nullptr;
    QVector<GattAttribute> rows;
    // The first row of each handle: notifications find their row without a walk.
    QHash<quint16, int> m_firstByHandle;
};
