#pragma once

#include <QIcon>
#include <QVector>

#include <initializer_list>

#include "schema/recordtablemodel.h"

// The tables of the isochronous pages: fixed headers, every text centred, and a status column
// that shows an icon once the dongle took the record. A model names its headers and tells what
// a cell shows.
template <class Record>
class IsoTableModel : public RecordTableModel<Record>
{
public:
    IsoTableModel(std::initializer_list<const char*> headers, QObject* parent)
        : RecordTableModel<Record>(parent)
        , m_headers(headers)
    {
    }

    int columnCount(const QModelIndex& parent = QModelIndex()) const override
    {
        return parent.isValid() ? 0 : m_headers.size();
    }

    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override
    {
        if (!index.isValid() || index.row() >= this->m_rows.size())
            return {};
        if (role == Qt::TextAlignmentRole)
            return 0x81;
        return cell(this->m_rows.at(index.row()), index.column(), role);
    }

    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override
    {
        if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 && section < m_headers.size())
            return QLatin1String(m_headers.at(section));
        return QAbstractTableModel::headerData(section, orientation, role);
    }

    // The caption of a numbered choice; empty for a value past the list.
    static QString captionOf(const QString& value, std::initializer_list<const char*> captions)
    {
        bool ok = false;
        const uint index = value.toUInt(&ok);
        return ok && index < captions.size() ? QLatin1String(captions.begin()[index]) : QString();
    }

protected:
    virtual QVariant cell(const Record& record, int column, int role) const = 0;

    // The status column's icon, for the decoration role of a record the dongle took.
    static QVariant statusIcon(int role, bool taken)
    {
        return role == Qt::DecorationRole && taken ? QIcon(QStringLiteral(":/icons/status")) : QVariant();
    }

private:
    QVector<const char*> m_headers;
};
