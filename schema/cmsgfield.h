#pragma once

#include <QString>
#include <QMap>
#include <QVector>
#include <QWidget>

#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"
#include "schema/cformgrid.h"

class LogManager;
class QGridLayout;
class QShowEvent;
class QTableWidget;

// The generated form of a GATT command, one field per row. A `list` field is a table the user
// fills a row at a time through the standard field dialog; the owner offers the buttons for
// it when the form says it holds one.
class CmsgField : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CmsgField)

public:
    // The form of the downlink command `name`, read-only unless its format is "write".
    CmsgField(LogManager* logger, const QString& name, QWidget* parent = nullptr);
    // A writable form of the given fields, such as the sub-fields of a list.
    CmsgField(LogManager* logger, const QString& name, const QVector<UiField>& fields,
              QWidget* parent = nullptr);
    ~CmsgField() override;

    // The sub-fields of the list of the downlink command `name`; empty when it has none.
    static QVector<UiField> listSubFields(LogManager* logger, const QString& name);

    QString name() const { return m_name; }
    void readFormValues(FieldValueMap& values, bool rawText = false) const;
    void setFieldValueInGlayout(const UplinkFieldMap& fields) const;
    // The list field's table, or null when the form has none.
    QTableWidget* subFieldTable() const { return m_grid.listTable(); }
    // Texts for the line and text editors and values for the combo boxes, by field key.
    void setEditorTexts(const QMap<QString, QString>& texts) const { m_grid.setEditorTexts(texts); }
    QMap<QString, QString> formTexts() const { return m_grid.formTexts(); }

signals:
    void sig_containsSubField();

public slots:
    // From the standard field dialog's OK: its values become a new row, or replace the row
    // being edited.
    void on_addElemToTableWidget();
    void on_subFieldWidgetCellDoubleClicked(int row, int column);
    void on_btnAddSubFieldClicked();

protected:
    void showEvent(QShowEvent* event) override;

private:
    CmsgField(LogManager* logger, const QString& name, const QVector<UiField>& fields,
              bool writable, QWidget* parent);

    LogManager* m_logger;
    QString m_name;
    QGridLayout* m_layout;
    CFormGrid m_grid;
    QVector<UiField> m_subFields;
    int m_editedRow = -1;
};
