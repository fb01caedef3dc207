#pragma once

#include <QAbstractTableModel>
#include <QVector>

// A table over a vector of plain records: the rows are the model's own, and whoever owns the
// page replaces, appends and removes them whole.
template <class Record>
class RecordTableModel : public QAbstractTableModel
{
public:
    using QAbstractTableModel::QAbstractTableModel;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override
    {
        return parent.isValid() ? 0 : m_rows.size();
    }

    const QVector<Record>& rows() const { return m_rows; }
    const Record& at(int row) const { return m_rows.at(row); }

    void setRows(const QVector<Record>& rows)
    {
        beginResetModel();
        m_rows = rows;
        endResetModel();
    }

    void clear() { setRows({}); }

    void append(const Record& record)
    {
        beginInsertRows(QModelIndex(), m_rows.size(), m_rows.size());
        m_rows.append(record);
        endInsertRows();
    }

    void replace(int row, const Record& record)
    {
        m_rows[row] = record;
        emit dataChanged(index(row, 0), index(row, columnCount() - 1));
    }

    void remove(int row)
    {
        beginRemoveRows(QModelIndex(), row, row);
        m_rows.remove(row);
        endRemoveRows();
    }

protected:
    QVector<Record> m_rows;
};
