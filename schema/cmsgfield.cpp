#include "cmsgfield.h"

#include <QGridLayout>
#include <QTableWidget>

#include "log/logmanager.h"
#include "schema/cstandardmsgdlg.h"
#include "schema/cutil.h"

namespace {

QVector<UiField> downlinkFields(LogManager* logger, const QString& name)
{
    UiNameToFields found;
    if (CUtil::findUiFields(CCfgFileParse::instance()->m_downlinkNameToUiVec, name, found) != 0 && logger)
        logger->log(QStringLiteral("find element from m_downlinkNameToUiVec failed."), 1);
    return found.fields;
}

bool isWriteForm(const QString& name)
{
    for (const UiInfo& info : CCfgFileParse::instance()->m_downlinkUiInfoVec) {
        if (info.name == name)
            return info.format == QLatin1String("write");
    }
    return false;
}

QVector<UiField> subFieldsOf(const QVector<UiField>& fields)
{
    for (const UiField& field : fields) {
        if (field.type == QLatin1String("list"))
            return field.subFields;
    }
    return {};
}

// A cell as the table shows it: handles and offsets as hex, a length in decimal, data as typed.
QString cellText(const UiField& sub, const QVariant& value)
{
    const QString text = value.toString();
    if (sub.key == QLatin1String("attrible_handle") || sub.key == QLatin1String("offset"))
        return QLatin1String("0x") + text;
    if (sub.key == QLatin1String("len"))
        return QString::number(text.toULongLong(nullptr, 16));
    return text;
}

} // namespace

CmsgField::CmsgField(LogManager* logger, const QString& name, QWidget* parent)
    : CmsgField(logger, name, downlinkFields(logger, name), isWriteForm(name), parent)
{
}

CmsgField::CmsgField(LogManager* logger, const QString& name, const QVector<UiField>& fields,
                     QWidget* parent)
    : CmsgField(logger, name, fields, true, parent)
{
}

CmsgField::CmsgField(LogManager* logger, const QString& name, const QVector<UiField>& fields,
                     bool writable, QWidget* parent)
    : QWidget(parent)
    , m_logger(logger)
    , m_name(name)
    , m_layout(new QGridLayout(this))
    , m_grid(m_layout, 1)
    , m_subFields(subFieldsOf(fields))
{
    m_layout->setColumnStretch(1, 1);
    m_grid.build(fields, writable);
    if (QTableWidget* table = subFieldTable())
        connect(table, &QTableWidget::cellDoubleClicked, this,
                &CmsgField::on_subFieldWidgetCellDoubleClicked);
}

CmsgField::~CmsgField() = default;

void CmsgField::readFormValues(FieldValueMap& values, bool rawText) const
{
    m_grid.readFormValues(values, rawText);
}

void CmsgField::setFieldValueInGlayout(const UplinkFieldMap& fields) const
{
    m_grid.setFieldValueInGlayout(m_logger, QStringLiteral("CmsgField::setFieldValueInGlayout"), fields);
}

void CmsgField::on_btnAddSubFieldClicked()
{
    m_editedRow = -1;
}

void CmsgField::on_addElemToTableWidget()
{
    auto* dialog = qobject_cast<CStandardMsgDlg*>(sender());
    QTableWidget* table = subFieldTable();
    if (!dialog || !table)
        return;
    FieldValueMap values;
    dialog->form()->readFormValues(values, true);

    int row = m_editedRow;
    if (row < 0 || row >= table->rowCount()) {
        row = table->rowCount();
        table->insertRow(row);
    }
    for (int column = 0; column < m_subFields.size(); ++column) {
        const UiField& sub = m_subFields.at(column);
        table->setItem(row, column, new QTableWidgetItem(cellText(sub, values.value(sub.key))));
    }
    m_editedRow = -1;
}

void CmsgField::on_subFieldWidgetCellDoubleClicked(int row, int /*column*/)
{
    QTableWidget* table = subFieldTable();
    if (!table || row < 0 || row >= table->rowCount())
        return;
    QMap<QString, QString> texts;
    for (int column = 0; column < m_subFields.size(); ++column) {
        const QTableWidgetItem* item = table->item(row, column);
        texts.insert(m_subFields.at(column).key, item ? item->text() : QString());
    }
    m_editedRow = row;
    auto* dialog = new CStandardMsgDlg(QStringLiteral("Edit Attribute"), m_logger, m_name, this);
    dialog->form()->setEditorTexts(texts);
    connect(dialog, &CStandardMsgDlg::sig_standardOKClicked, this, &CmsgField::on_addElemToTableWidget);
    dialog->exec();
}

void CmsgField::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    if (subFieldTable())
        emit sig_containsSubField();
}

QVector<UiField> CmsgField::listSubFields(LogManager* logger, const QString& name)
{
    return subFieldsOf(downlinkFields(logger, name));
}
