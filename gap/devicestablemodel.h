#pragma once

#include <QAbstractTableModel>
#include <QByteArray>
#include <QHash>
#include <QIcon>
#include <QModelIndex>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVector>

#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"

class LogManager;

using DeviceRow = UplinkFieldMap; // field key -> raw bytes

// The scan results of one dongle as a table: one row per advertiser, one column per field of
// the DEVICES_TABLE component, cells decoded from the raw report bytes when painted.
class DevicesTableModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(DevicesTableModel)

public:
    // `rows` belongs to the page, which outlives the model and edits rows in place, then calls
    // updateItem. Rows enter only through appendRow and leave only through clear, which keeps
    // the address index in step.
    DevicesTableModel(LogManager* logger, QVector<DeviceRow>& rows, const QVector<UiField>& columns,
                      QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

    QModelIndex highlightIndex() const;
    void setHighlightIndex(const QModelIndex& index);

    // First row whose addr and addr_type equal these, bytewise; -1 if none.
    int findRow(const QByteArray& addr, const QByteArray& addrType) const;
    void appendRow(const DeviceRow& row);
    void updateItem(int row);
    void clear();

    const QVector<UiField>& columns() const;

private:
    enum class Kind { Addr, Rssi, Connected, String, Number, Enum, EnumMask, Bool, Other };

    // What data() needs of a column, worked out once instead of on every paint.
    struct Column
    {
        Kind kind = Kind::Other;
        QString key;
        QStringList maskTexts; // enum_mask: the description of bit k at k, empty when none
    };

    QString cellText(const DeviceRow& row, const UiField& field, const Column& column) const;
    void emitCellChanged(const QModelIndex& index);
    void log(const QString& text, int level) const;

    LogManager* m_logger = nullptr;
    QVector<DeviceRow>& m_rows;
    QVector<UiField> m_columns;
    QVector<Column> m_kinds;
    QHash<QPair<QByteArray, QByteArray>, int> m_firstRowOf;
    QModelIndex m_highlight;
    QIcon m_connectedIcon;
};
