#pragma once

#include <QMap>
#include <QString>
#include <QVector>

#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"

class LogManager;
class QGridLayout;
class QLayoutItem;
class QTableWidget;
class QWidget;

// The label-and-control grid of a generated form: makes the controls of a command's fields,
// reads what the user set and shows what the dongle answered.
class CFormGrid
{
public:
    CFormGrid(QGridLayout* grid, int fieldsPerRow);

    void build(const QVector<UiField>& fields, bool writable);
    void readFormValues(FieldValueMap& values, bool rawText) const;
    // `caller` names the form in the internal error of a result of the wrong size.
    void setFieldValueInGlayout(LogManager* logger, const QString& caller,
                                const UplinkFieldMap& fields) const;
    // The first `list` field's table, or null.
    QTableWidget* listTable() const;
    // Texts for the line and text editors, and values for the combo boxes, by field key.
    void setEditorTexts(const QMap<QString, QString>& texts) const;
    // What the line editors show and the values the combo boxes stand at, by field key: the
    // texts setEditorTexts takes back.
    QMap<QString, QString> formTexts() const;

private:
    struct Pair
    {
        UiField field;
        QLayoutItem* control;
    };
    QLayoutItem* addControl(const UiField& field, bool writable, int row, int column);

    QGridLayout* m_grid;
    int m_fieldsPerRow;
    QVector<Pair> m_pairs;
};
