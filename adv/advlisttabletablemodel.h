#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <QString>
#include <QVector>

class LogManager;

// One advertising set of the Slave page.
struct AdvListItem
{
    int advIndex = 0;
    QString advType;
    bool status = false; // true while the dongle advertises it
};

// The advertising sets of one dongle: index, kind, and an icon while the set runs.
class AdvListTableTableModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(AdvListTableTableModel)

public:
    static constexpr int MaxSets = 5;

    explicit AdvListTableTableModel(LogManager* logger, QObject* parent = nullptr);
    ~AdvListTableTableModel() override;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    const QVector<AdvListItem>& items() const { return m_items; }
    // False when the list is full or already holds the index.
    bool appendItem(const AdvListItem& item);
    bool removeItem(int row);
    void clear();
    // The row of the set with this index; -1 when there is none.
    int rowOf(int advIndex) const;
    void setStatus(int row, bool status);
    bool anyRunning() const;

private:
    LogManager* m_logger = nullptr;
    QVector<AdvListItem> m_items;
    QIcon m_statusIcon;
};
