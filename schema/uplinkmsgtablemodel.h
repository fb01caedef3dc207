#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <QList>
#include <QString>
#include <QVector>

struct UiEnumElem;

// A read-only table of named bits, as a read form shows a feature or channel mask: a caption
// and a state per bit, the state column marked when the bit is set.
class UplinkBitTableModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(UplinkBitTableModel)

public:
    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

    // Each bit's state becomes 1 when `value` shares a bit with its mask.
    void setValue(quint64 value);
    bool state(int bit) const { return m_rows.value(bit).state != 0; }

protected:
    UplinkBitTableModel(const QString& title, const QList<UiEnumElem>& elems, int bitsPerRow,
                        QObject* parent);

private:
    struct Row
    {
        QString caption;
        quint64 mask = 0;
        quint8 state = 0;
    };

    QString m_title;
    QIcon m_statusIcon;
    QVector<Row> m_rows;
    int m_bitsPerRow;
};

// Two bits per row: caption, state, caption, state.
class uplinkMsgTableModel : public UplinkBitTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(uplinkMsgTableModel)

public:
    uplinkMsgTableModel(const QString& title, const QList<UiEnumElem>& elems,
                        QObject* parent = nullptr);
};

// One bit per row: caption, state.
class uplinkMsgHalfTableModel : public UplinkBitTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(uplinkMsgHalfTableModel)

public:
    uplinkMsgHalfTableModel(const QString& title, const QList<UiEnumElem>& elems,
                            QObject* parent = nullptr);
};
