#pragma once

#include <QAbstractTableModel>
#include <QPair>
#include <QString>
#include <QVector>

#include "schema/ccfgfileparse.h"

// One list of AD structures of the advertising data editor: rows of an AD type's title and the
// value text the builder turns into bytes. Only the value can be edited in place.
class dataTableModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(dataTableModel)

public:
    using Row = QPair<QString, QString>; // title, value

    // `types` are the AD types of advertising_data.xml; an edit checks its row's value by them.
    explicit dataTableModel(const QVector<AdvDataField>& types, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

    const QVector<Row>& rows() const { return m_rows; }
    bool containsTitle(const QString& title) const;
    void appendRow(const QString& title, const QString& value);
    void removeRowAt(int row);
    void clear();

private:
    QVector<AdvDataField> m_types;
    QVector<Row> m_rows;
};
