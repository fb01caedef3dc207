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

QString bytesLastToFirst(const QByteArray& bytes, char separator = 0)
{
    QByteArray reversed(bytes);
    std::reverse(reversed.begin(), reversed.end());
    return QString::fromLatin1(separator ? reversed.toHex(separator) : reversed.toHex()).toUpper();
}

void appendLittleEndian16(QByteArray& out, quint64 value)
{
    out.append(CUtil::valueToArray(0, value, 2));
}

} // namespace

CFormGrid::CFormGrid(QGridLayout* grid, int fieldsPerRow)
    : m_grid(grid)
    , m_fieldsPerRow(fieldsPerRow)
{
}

QVector<UiField> CFormGrid::regroup(const QVector<UiField>& fields)
{
    QVector<UiField> sorted(fields);
    std::stable_sort(sorted.begin(), sorted.end(), [](const UiField& a, const UiField& b) {
        return regroupRank(a.type) < regroupRank(b.type);
    });
    return sorted;
}

void CFormGrid::build(const QVector<UiField>& fields, bool writable)
{
    m_fields = regroup(fields);
    for (int i = 0; i < m_fields.size(); ++i)
        addControl(m_fields.at(i), writable, i / m_fieldsPerRow, 2 * (i % m_fieldsPerRow));
}

void CFormGrid::addControl(const UiField& field, bool writable, int row, int column)
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
        return;
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
        edit->setPlainText(QStringLiteral("00:00"));
        edit->setEnabled(writable);
        control = edit;
    } else if (field.type == QLatin1String("lineEdit")) {
        auto* edit = new CValidateLineEdit(parent);
        edit->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        edit->setKind(limitsOf(field), field.defaultValue);
        edit->setEnabled(writable);
        control = edit;
    } else {
        return;
    }
    m_grid->addWidget(control, row, controlColumn);
}

QVector<CFormGrid::Pair> CFormGrid::pairs() const
{
    QVector<Pair> found;
    for (int row = 0; row < m_grid->rowCount(); ++row) {
        for (int column = 0; column + 1 < m_grid->columnCount(); column += 2) {
            QLayoutItem* labelItem = m_grid->itemAtPosition(row, column);
            QLayoutItem* control = m_grid->itemAtPosition(row, column + 1);
            auto* label = labelItem ? qobject_cast<QLabel*>(labelItem->widget()) : nullptr;
            if (!label || !control)
                continue;
            const auto field = std::find_if(m_fields.cbegin(), m_fields.cend(), [label](const UiField& f) {
                return f.title == label->text();
            });
            if (field != m_fields.cend())
                found.append({&*field, control});
        }
    }
    return found;
}

void CFormGrid::readFormValues(FieldValueMap& values, bool rawText) const
{
    for (const Pair& pair : pairs()) {
        const UiField& field = *pair.field;
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
            const quint64 value = field.descToValue.value(combo->currentText());
            values.insert(field.key, QString::number(value, 10));
        } else if (auto* text = qobject_cast<CValidateTextEdit*>(control)) {
            // Data is typed in wire order; the codec writes hex text backwards, so it goes
            // to the map backwards.
            values.insert(field.key, rawText ? text->rawText()
                                             : CUtil::reverseString(CUtil::reverseString(text->value(), 2), 1));
        } else if (auto* table = qobject_cast<QTableWidget*>(control)) {
            values.insert(field.key, listHexText(table, field.subFields));
            values.insert(QStringLiteral("handle_count"), table->rowCount());
        }
    }
}

void CFormGrid::setFieldValueInGlayout(LogManager* logger, const QString& caller,
                                       const UplinkFieldMap& fields) const
{
    for (const Pair& pair : pairs()) {
        const UiField& field = *pair.field;
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
            if (kind == QLatin1String("addr")) {
                edit->setText(bytesLastToFirst(bytes, ':'));
            } else if (kind == QLatin1String("int")) {
                edit->setText(QString::number(number));
            } else if (kind == QLatin1String("int8")) {
                edit->setText(QString::number(static_cast<qint8>(number)));
            } else if (kind == QLatin1String("int16double")) {
                const double shown = static_cast<qint16>(number) * field.singleStep.toDouble();
                edit->setText(QString::number(shown, 'f', field.precision.toInt()));
            }
        } else if (auto* combo = qobject_cast<QComboBox*>(control)) {
            combo->setCurrentIndex(static_cast<int>(number));
        } else if (auto* label = qobject_cast<QLabel*>(control)) {
            label->setText(QString::number(number));
        } else if (auto* view = qobject_cast<QTableView*>(control)) {
            if (auto* model = qobject_cast<UplinkBitTableModel*>(view->model()))
                model->setValue(number);
        }
    }
}

QTableWidget* CFormGrid::listTable() const
{
    for (const Pair& pair : pairs()) {
        if (auto* table = qobject_cast<QTableWidget*>(pair.control->widget()))
            return table;
    }
    return nullptr;
}

void CFormGrid::setEditorTexts(const QStringList& texts) const
{
    int next = 0;
    for (const Pair& pair : pairs()) {
        if (next >= texts.size())
            return;
        QWidget* control = pair.control->widget();
        if (auto* edit = qobject_cast<CValidateLineEdit*>(control))
            edit->setText(texts.at(next++));
        else if (auto* text = qobject_cast<CValidateTextEdit*>(control))
            text->setPlainText(texts.at(next++));
    }
}

QString CFormGrid::listHexText(const QTableWidget* table, const QVector<UiField>& subFields)
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
            const QByteArray data = QByteArray::fromHex(cell(value).toLatin1());
            appendLittleEndian16(wire, static_cast<quint64>(data.size()));
            wire.append(data);
        }
    }
    return bytesLastToFirst(wire);
}
