#include "cformgrid.h"

#include <algorithm>

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>

#include "app/flat/tflatscrollarea.h"
#include "log/logmanager.h"
#include "schema/cstyledcombobox.h"
#include "schema/cutil.h"
#include "schema/cvalidatelineedit.h"
#include "schema/cvalidatetextedit.h"
#include "schema/uplinkmsgtablemodel.h"

namespace {

const char* const kReadTableStyle = "QTableView{border: 0px solid white}";

int regroupRank(const QString& type)
{
    static const QStringList order = {QStringLiteral("enum_mask_read"), QStringLiteral("enum_mask_read_half"),
                                      QStringLiteral("lineEdit"), QStringLiteral("enum"),
                                      QStringLiteral("enum_mask")};
    const int rank = order.indexOf(type);
    // The two table kinds share the first place, so their file order holds between them.
    return rank < 0 ? order.size() : std::max(rank - 1, 0);
}

bool isTextEdit(const UiField& field)
{
    return field.type == QLatin1String("lineEdit") && field.maxLength.toInt() >= 51;
}

// Numbers take their width in bytes from `length`, text kinds their width in characters from
// `maxLength`; the files give only one of them for most fields.
CValidateLineEdit::Limits limitsOf(const UiField& field)
{
    const bool number = field.subType == QLatin1String("int") || field.subType == QLatin1String("int8")
        || field.subType == QLatin1String("double") || field.subType == QLatin1String("int16double");
    const QString& first = number ? field.length : field.maxLength;
    const QString& second = number ? field.maxLength : field.length;
    return {field.subType, field.min, field.max, field.singleStep, field.precision,
            first.isEmpty() ? second : first};
}

QTableView* makeReadTable(const UiField& field, bool half, QWidget* parent)
{
    auto* view = new CFlatTableView(parent);
    UplinkBitTableModel* model = half
        ? static_cast<UplinkBitTableModel*>(new uplinkMsgHalfTableModel(field.title, field.elems, view))
        : new uplinkMsgTableModel(field.title, field.elems, view);
    view->setModel(model);
    const QVector<int> widths = half ? QVector<int>{250, 150} : QVector<int>{250, 150, 250, 150};
    for (int i = 0; i < widths.size(); ++i)
        view->setColumnWidth(i, widths.at(i));
    view->verticalHeader()->setDefaultSectionSize(half ? 30 : 25);
    view->verticalHeader()->hide();
    view->setShowGrid(false);
    view->setStyleSheet(QLatin1String(kReadTableStyle));
    return view;
}

QTableWidget* makeListTable(const UiField& field, QWidget* parent)
{
    auto* table = new CFlatTableWidget(parent);
    table->setColumnCount(field.subFields.size());
    QStringList titles;
    for (const UiField& sub : field.subFields)
        titles.append(sub.title);
    table->setHorizontalHeaderLabels(titles);
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table->verticalHeader()->hide();
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    return table;
}

// Hex text of bytes the codec writes back in the order given: it writes text last pair first.
QString codecText(const QByteArray& bytes)
{
    return QString::fromLatin1(CUtil::reversed(bytes).toHex());
}

void appendLittleEndian16(QByteArray& out, quint64 value)
{
    out.append(CUtil::valueToArray(0, value, 2));
}

// Read-only tables first, then line edits, combo boxes and check boxes; lists last.
QVector<UiField> regroup(const QVector<UiField>& fields)
{
    QVector<UiField> sorted(fields);
    std::stable_sort(sorted.begin(), sorted.end(), [](const UiField& a, const UiField& b) {
        return regroupRank(a.type) < regroupRank(b.type);
    });
    return sorted;
}

// The wire bytes of a list's rows, as hex text the codec writes back in row order.
QString listHexText(const QTableWidget* table, const QVector<UiField>& subFields)
{
    auto columnOf = [&subFields](const char* key) {
        for (int i = 0; i < subFields.size(); ++i) {
            if (subFields.at(i).key == QLatin1String(key))
                return i;
        }
        return -1;
    };
    const int handle = columnOf("attrible_handle");
    const int offset = columnOf("offset");
    const int length = columnOf("len");
    const int value = columnOf("value");

    QByteArray wire;
    for (int row = 0; row < table->rowCount(); ++row) {
        auto cell = [table, row](int column) {
            const QTableWidgetItem* item = column < 0 ? nullptr : table->item(row, column);
            return item ? item->text().remove(QLatin1Char(':')).remove(QLatin1String("0x")) : QString();
        };
        appendLittleEndian16(wire, cell(handle).toULongLong(nullptr, 16));
        if (offset >= 0)
            appendLittleEndian16(wire, cell(offset).toULongLong(nullptr, 16));
        if (length >= 0)
            appendLittleEndian16(wire, cell(length).toULongLong());
        if (value >= 0) {
            const QByteArray data = QByteArray::fromHex(CValidateTextEdit::valueOf(cell(value)).toLatin1());
            appendLittleEndian16(wire, static_cast<quint64>(data.size()));
            wire.append(data);
        }
    }
    return codecText(wire);
}

} // namespace

CFormGrid::CFormGrid(QGridLayout* grid, int fieldsPerRow)
    : m_grid(grid)
    , m_fieldsPerRow(fieldsPerRow)
{
    Q_ASSERT(fieldsPerRow > 0);
}

void CFormGrid::build(const QVector<UiField>& fields, bool writable)
{
    const QVector<UiField> sorted = regroup(fields);
    for (int i = 0; i < sorted.size(); ++i) {
        const UiField& field = sorted.at(i);
        if (QLayoutItem* control = addControl(field, writable, i / m_fieldsPerRow, 2 * (i % m_fieldsPerRow)))
            m_pairs.append({field, control});
    }
}

QLayoutItem* CFormGrid::addControl(const UiField& field, bool writable, int row, int column)
{
    QWidget* parent = m_grid->parentWidget();
    m_grid->addWidget(new QLabel(field.title, parent), row, column);
    const int controlColumn = column + 1;

    if (field.type == QLatin1String("enum_mask")) {
        auto* boxes = new QHBoxLayout;
        const quint64 defaultValue = field.defaultValue.toULongLong();
        for (const UiEnumElem& elem : field.elems) {
            auto* box = new QCheckBox(elem.desc, parent);
            box->setEnabled(writable);
            // Only a default sharing exactly the first bit ticks a box, as the dongle expects.
            box->setChecked((elem.value & defaultValue) == 1);
            boxes->addWidget(box);
        }
        m_grid->addLayout(boxes, row, controlColumn);
        return m_grid->itemAtPosition(row, controlColumn);
    }

    QWidget* control = nullptr;
    if (field.type == QLatin1String("enum_mask_read") || field.type == QLatin1String("enum_mask_read_half")) {
        control = makeReadTable(field, field.type == QLatin1String("enum_mask_read_half"), parent);
    } else if (field.type == QLatin1String("list")) {
        control = makeListTable(field, parent);
    } else if (field.type == QLatin1String("enum")) {
        auto* combo = new CStyledComboBox(parent);
        for (const UiEnumElem& elem : field.elems)
            combo->addItem(elem.desc);
        combo->setEnabled(writable);
        // A write form starts at its default place; a read form shows nothing until a result.
        combo->setCurrentIndex(writable ? field.defaultValue.toInt() : 255);
        control = combo;
    } else if (isTextEdit(field)) {
        auto* edit = new CValidateTextEdit(parent);
        edit->setEnabled(writable);
        control = edit;
    } else if (field.type == QLatin1String("lineEdit")) {
        auto* edit = new CValidateLineEdit(parent);
        edit->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        edit->setKind(limitsOf(field), field.defaultValue);
        edit->setEnabled(writable);
        // A read form shows nothing until a result comes, as its combo boxes do.
        if (!writable)
            edit->clear();
        control = edit;
    } else {
        return nullptr;
    }
    m_grid->addWidget(control, row, controlColumn);
    return m_grid->itemAtPosition(row, controlColumn);
}

void CFormGrid::readFormValues(FieldValueMap& values, bool rawText) const
{
    for (const Pair& pair : m_pairs) {
        const UiField& field = pair.field;
        if (QLayout* boxes = pair.control->layout()) {
            uint mask = 0;
            for (int i = 0; i < boxes->count(); ++i) {
                auto* box = qobject_cast<QCheckBox*>(boxes->itemAt(i)->widget());
                if (box && box->isChecked())
                    mask |= 1u << i;
            }
            values.insert(field.key, QVariant::fromValue(mask));
            continue;
        }
        QWidget* control = pair.control->widget();
        if (auto* edit = qobject_cast<CValidateLineEdit*>(control)) {
            values.insert(field.key, edit->value());
        } else if (auto* combo = qobject_cast<QComboBox*>(control)) {
            // Decimal digits, which the codec reads as hex: right only while no enum of a
            // write form has a value above 9, as in today's files.
            const quint64 value = field.descToValue.value(combo->currentText());
            values.insert(field.key, QString::number(value, 10));
        } else if (auto* text = qobject_cast<CValidateTextEdit*>(control)) {
            // Data is typed in wire order; the codec writes hex text backwards, so it goes
            // to the map backwards.
            values.insert(field.key, rawText ? text->rawText()
                                             : codecText(QByteArray::fromHex(text->value().toLatin1())));
        } else if (auto* table = qobject_cast<QTableWidget*>(control)) {
            values.insert(field.key, listHexText(table, field.subFields));
            values.insert(QStringLiteral("handle_count"), table->rowCount());
        }
    }
}

void CFormGrid::setFieldValueInGlayout(LogManager* logger, const QString& caller,
                                       const UplinkFieldMap& fields) const
{
    for (const Pair& pair : m_pairs) {
        const UiField& field = pair.field;
        const auto it = fields.constFind(field.key);
        if (it == fields.constEnd())
            continue;
        const QByteArray& bytes = it.value();
        quint64 number = 0;
        CUtil::arrayToValue(0, bytes, number);
        QWidget* control = pair.control->widget();

        if (auto* edit = qobject_cast<CValidateLineEdit*>(control)) {
            const QString& kind = field.subType;
            const int expected = kind == QLatin1String("addr")      ? 6
                : kind == QLatin1String("int8")                     ? 1
                : kind == QLatin1String("int16double")              ? 2
                                                                    : -1;
            if (expected > 0 && bytes.size() != expected) {
                CCommand::logInternalError(logger, __FILE__, __LINE__, caller);
                return;
            }
            edit->setValue(QString::fromLatin1(CUtil::reversed(bytes).toHex()).toUpper());
        } else if (auto* combo = qobject_cast<QComboBox*>(control)) {
            combo->setCurrentIndex(static_cast<int>(number));
        } else if (auto* view = qobject_cast<QTableView*>(control)) {
            if (auto* model = qobject_cast<UplinkBitTableModel*>(view->model()))
                model->setValue(number);
        }
    }
}

QTableWidget* CFormGrid::listTable() const
{
    for (const Pair& pair : m_pairs) {
        if (auto* table = qobject_cast<QTableWidget*>(pair.control->widget()))
            return table;
    }
    return nullptr;
}

void CFormGrid::setEditorTexts(const QMap<QString, QString>& texts) const
{
    for (const Pair& pair : m_pairs) {
        const auto it = texts.constFind(pair.field.key);
        if (it == texts.constEnd())
            continue;
        QWidget* control = pair.control->widget();
        if (auto* edit = qobject_cast<CValidateLineEdit*>(control))
            edit->setText(it.value());
        else if (auto* text = qobject_cast<CValidateTextEdit*>(control))
            text->setPlainText(it.value());
        else if (auto* combo = qobject_cast<QComboBox*>(control))
            combo->setCurrentText(pair.field.valueToDesc.value(it.value().toULongLong()));
    }
}

QMap<QString, QString> CFormGrid::formTexts() const
{
    QMap<QString, QString> texts;
    for (const Pair& pair : m_pairs) {
        QWidget* control = pair.control->widget();
        if (auto* edit = qobject_cast<CValidateLineEdit*>(control))
            texts.insert(pair.field.key, edit->text());
        else if (auto* combo = qobject_cast<QComboBox*>(control))
            texts.insert(pair.field.key, QString::number(pair.field.descToValue.value(combo->currentText())));
    }
    return texts;
}
