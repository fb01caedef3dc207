#pragma once

#include <QByteArray>
#include <QTime>

#include "schema/recordtablemodel.h"

// One packet a test mode received: when it came up and what it carried.
struct RfRxRecord
{
    QTime time;
    quint8 header = 0;
    quint8 length = 0;
    QByteArray payload;
};

// The packets a test mode received, oldest first. A long run at the shortest interval brings a
// hundred a second, so a row is a small record and its texts are made only when shown.
class RfRxTableModel : public RecordTableModel<RfRxRecord>
{
    Q_OBJECT
    Q_DISABLE_COPY(RfRxTableModel)

public:
    // The columns with a header byte; without one the columns after the time move left by one.
    enum Column { Time, Header, Length, Payload };

    explicit RfRxTableModel(bool withHeader, QObject* parent = nullptr);

    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

private:
    Column columnAt(int section) const;

    const bool m_withHeader;
};
