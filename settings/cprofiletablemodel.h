#pragma once

#include <QAbstractTableModel>
#include <QByteArray>
#include <QVector>

// The dongle's profiles with the user's choice of those to enable. Its value is one record per
// row: ticked flag, name length + 1, id, then the name in Latin-1.
class CProfileTableModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(CProfileTableModel)

public:
    struct Row
    {
        Qt::CheckState checkState = Qt::Unchecked;
        quint8 id = 0;
        QString name;
    };

    explicit CProfileTableModel(QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    QByteArray value() const;
    void setValue(const QByteArray& records);

    // The rows a value holds, in order. A record of length 0 has no id and is passed over; one
    // cut short by the end of the data ends the walk.
    static QVector<Row> parseRows(const QByteArray& records);

private:
    QVector<Row> m_rows;
};
