#pragma once

#include <QAbstractTableModel>
#include <QVector>

#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"

class LogManager;

// The latest SDUs received on a stream, as the dongle reported them: the table keeps ten, the
// stream's file keeps them all.
class ReceiveDataTableModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(ReceiveDataTableModel)

public:
    static constexpr int MaxRows = 10;

    explicit ReceiveDataTableModel(LogManager* logger, QObject* parent = nullptr);
    ~ReceiveDataTableModel() override;

    // Appends a received SDU, dropping the oldest past the table's ten rows.
    void addRow(const UplinkFieldMap& fields);
    void clear();

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    LogManager* m_logger = nullptr;
    QVector<UiField> m_columns;
    QVector<UplinkFieldMap> m_rows;
};
