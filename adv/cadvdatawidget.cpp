#include "cadvdatawidget.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMap>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>

#include "adv/datatablemodel.h"
#include "app/flat/ccustomtableview.h"
#include "app/flat/cflatmessage.h"
#include "schema/cstyledcombobox.h"
#include "schema/cvalidatelineedit.h"

namespace {

const char* const kErrorTitle = "ERROR";
const char* const kUuidPattern = "[0-9a-fA-F:,]*";
const char* const kCustomType = "Custom AD type";

// Two hex digits at a time from the start; a last lone digit is a byte of its own.
QByteArray pairsInOrder(const QString& hex)
{
    QByteArray bytes;
    for (int i = 0; i < hex.size(); i += 2)
        bytes.append(char(hex.midRef(i, 2).toUInt(nullptr, 16)));
    return bytes;
}

// The same pairs, last first.
QString pairsReversed(const QString& hex)
{
    QString out;
    for (int i = 0; i < hex.size(); i += 2)
        out.prepend(hex.mid(i, 2));
    return out;
}

QToolButton* makeListButton(const char* name, const QString& text, const char* icon, const QString& tip,
                            QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setObjectName(QLatin1String(name));
    button->setText(text);
    button->setToolTip(tip);
    button->setIcon(QIcon(QLatin1String(icon)));
    button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button->setAutoRaise(true);
    return button;
}

} // namespace

const QByteArray CAdvDataWidget::ErrorMarker = QByteArrayLiteral("FF");

CAdvDataWidget::CAdvDataWidget(QWidget* parent)
    : QWidget(parent)
    , m_types(CCfgFileParse::instance()->m_advDataFields.value(QStringLiteral("advertising_data")))
{
    m_advModel = new dataTableModel(m_types, this);
    m_resModel = new dataTableModel(m_types, this);

    auto* frame = new QGroupBox(QStringLiteral("Advertising Data Configuration"), this);
    frame->setObjectName(QStringLiteral("advDataConfiguration"));

    ADtypeCombox = new CStyledComboBox(frame);
    ADtypeCombox->setObjectName(QStringLiteral("ADtypeCombox"));
    for (const AdvDataField& type : qAsConst(m_types))
        ADtypeCombox->addItem(type.title);
    ADtypeCombox->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    valueLineEdit = new CValidateLineEdit(frame);
    valueLineEdit->setObjectName(QStringLiteral("valueLineEdit"));
    addDataButton = new QPushButton(QStringLiteral("Add to Advertising Data"), frame);
    addDataButton->setObjectName(QStringLiteral("addDataButton"));
    addResponceData = new QPushButton(QStringLiteral("Add to Scan Response"), frame);
    addResponceData->setObjectName(QStringLiteral("addResponceData"));
    // The captions need room to breathe in the flat style.
    for (QPushButton* button : {addDataButton, addResponceData})
        button->setMinimumSize(button->sizeHint() + QSize(16, 4));

    auto* input = new QHBoxLayout;
    input->addWidget(new QLabel(QStringLiteral("AD Type:"), frame));
    input->addWidget(ADtypeCombox);
    input->addSpacing(8);
    input->addWidget(new QLabel(QStringLiteral("Value:"), frame));
    input->addWidget(valueLineEdit, 1);
    input->addWidget(addDataButton);
    input->addWidget(addResponceData);

    auto* lists = new QHBoxLayout;
    lists->addWidget(makeListPanel(QStringLiteral("Advertising Data List"), tableView_advdata, m_advModel,
                                   "btnDeleteAdvData", QStringLiteral("Delete the row in advertising data tableview"),
                                   "btnClearAdvData", QStringLiteral("Clear the advertising data in the tableView")));
    lists->addWidget(makeListPanel(QStringLiteral("Scan Response Data List"), tableView_resdata, m_resModel,
                                   "btnDeleteResData", QStringLiteral("Delete the row in response data tableview"),
                                   "btnClearResData",
                                   QStringLiteral("Clear the advertising response data in the tableview")));
    tableView_advdata->setObjectName(QStringLiteral("tableView_advdata"));
    tableView_resdata->setObjectName(QStringLiteral("tableView_resdata"));

    peradvdataframe = new QGroupBox(QStringLiteral("Periodic Advertising Data"), frame);
    peradvdataframe->setObjectName(QStringLiteral("peradvdataframe"));
    le_periodicadvdatda = new CValidateLineEdit(peradvdataframe);
    le_periodicadvdatda->setObjectName(QStringLiteral("le_periodicadvdatda"));
    le_periodicadvdatda->setLittleEndType(QStringLiteral("0"), QLatin1String(CValidateLineEdit::kColonHexPattern),
                                          QString());
    auto* periodic = new QHBoxLayout(peradvdataframe);
    periodic->addWidget(new QLabel(QStringLiteral("PAdv Data:"), peradvdataframe));
    periodic->addWidget(le_periodicadvdatda, 1);
    peradvdataframe->hide();

    auto* body = new QVBoxLayout(frame);
    body->addLayout(input);
    body->addLayout(lists, 1);
    body->addWidget(peradvdataframe);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(frame);

    connect(ADtypeCombox, &QComboBox::currentTextChanged, this, &CAdvDataWidget::adTypeChanged);
    connect(addDataButton, &QPushButton::clicked, this, &CAdvDataWidget::on_addDataButton_clicked);
    connect(addResponceData, &QPushButton::clicked, this, &CAdvDataWidget::on_addResponceData_clicked);
    connect(findChild<QToolButton*>(QStringLiteral("btnDeleteAdvData")), &QToolButton::clicked, this,
            &CAdvDataWidget::on_btnDeleteAdvData_clicked);
    connect(findChild<QToolButton*>(QStringLiteral("btnClearAdvData")), &QToolButton::clicked, this,
            &CAdvDataWidget::on_btnClearAdvData_clicked);
    connect(findChild<QToolButton*>(QStringLiteral("btnDeleteResData")), &QToolButton::clicked, this,
            &CAdvDataWidget::on_btnDeleteResData_clicked);
    connect(findChild<QToolButton*>(QStringLiteral("btnClearResData")), &QToolButton::clicked, this,
            &CAdvDataWidget::on_btnClearResData_clicked);

    adTypeChanged(ADtypeCombox->currentText());
}

CAdvDataWidget::~CAdvDataWidget() = default;

QWidget* CAdvDataWidget::makeListPanel(const QString& title, CCustomTableView*& view, dataTableModel* model,
                                       const char* deleteName, const QString& deleteTip,
                                       const char* clearName, const QString& clearTip)
{
    auto* panel = new QGroupBox(title, this);
    view = new CCustomTableView(panel);
    view->setModel(model);
    view->setSelectionBehavior(QAbstractItemView::SelectRows);
    view->setSelectionMode(QAbstractItemView::SingleSelection);
    view->verticalHeader()->setDefaultSectionSize(24);
    view->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    view->horizontalHeader()->setStretchLastSection(true);
    // The header and two rows: the page lends its height to the fields when they need it.
    view->setMinimumHeight(76);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(makeListButton(deleteName, QStringLiteral("Delete"), ":/icons/Close", deleteTip, panel));
    buttons->addWidget(makeListButton(clearName, QStringLiteral("Clear"), ":/icons/clear", clearTip, panel));

    auto* layout = new QVBoxLayout(panel);
    layout->addWidget(view, 1);
    layout->addLayout(buttons);
    return panel;
}

const AdvDataField* CAdvDataWidget::findType(const QString& title) const
{
    for (const AdvDataField& type : m_types) {
        if (type.title == title)
            return &type;
    }
    return nullptr;
}

void CAdvDataWidget::adTypeChanged(QString stradtype)
{
    const AdvDataField* type = findType(stradtype);
    if (!type)
        return;
    const QString pattern = QLatin1String(kUuidPattern);
    if (type->type == QLatin1String("littleEnd")) {
        // Length 0 is a custom type's: whole structures of any size.
        const QString length = type->length == 0 ? QStringLiteral("0") : QString::number(type->length * 3 - 1);
        valueLineEdit->setLittleEndType(length, QLatin1String(CValidateLineEdit::kColonHexPattern), QString());
    } else if (type->type == QLatin1String("16bit")) {
        valueLineEdit->setAdvDataType(QStringLiteral("5"), pattern, QStringLiteral("00:00"));
        valueLineEdit->setMaxLength(5);
    } else if (type->type == QLatin1String("32bit")) {
        valueLineEdit->setAdvDataType(QStringLiteral("11"), pattern, QStringLiteral("00:00:00:00"));
        valueLineEdit->setMaxLength(11);
    } else if (type->type == QLatin1String("128bit")) {
        valueLineEdit->setAdvDataType(QStringLiteral("47"), pattern,
                                      QStringLiteral("00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:00"));
        valueLineEdit->setMaxLength(47);
    } else if (type->type == QLatin1String("string")) {
        valueLineEdit->setStringType(QStringLiteral("255"), QString());
    }
}

void CAdvDataWidget::on_addDataButton_clicked()
{
    addRow(m_advModel, QStringLiteral("The input advertising data is empty."));
}

void CAdvDataWidget::on_addResponceData_clicked()
{
    addRow(m_resModel, QStringLiteral("The input advertising response data is empty."));
}

void CAdvDataWidget::addRow(dataTableModel* model, const QString& emptyText)
{
    const QString title = ADtypeCombox->currentText();
    const QString value = valueLineEdit->value();
    const AdvDataField* type = findType(title);
    if (!type)
        return;

    QString text;
    if (type->type == QLatin1String("string")) {
        for (int i = value.size() - 2; i >= 0; i -= 2)
            text += QChar(value.midRef(i, 2).toUInt(nullptr, 16));
    } else if (type->type == QLatin1String("littleEnd")) {
        text = pairsReversed(value);
    } else {
        // Meant to catch a UUID given twice in one list of "0x" numbers. The editor admits no
        // "x", so a typed list stays one entry and passes.
        QMap<QString, int> seen;
        for (const QString& uuid : value.mid(2).split(QStringLiteral(",0x"))) {
            if (++seen[uuid] > 1) {
                CFlatMessage::information(this, QStringLiteral("Advertising Data Configuration Error"),
                                          QStringLiteral("Cannot contain dupliucate UUID."));
                return;
            }
        }
        text = value;
    }

    if (text.isEmpty()) {
        CFlatMessage::information(this, QLatin1String(kErrorTitle), emptyText);
        return;
    }
    if (title != QLatin1String(kCustomType) && model->containsTitle(title)) {
        CFlatMessage::information(this, QLatin1String(kErrorTitle), QStringLiteral("This ID Type has been added."));
        return;
    }
    model->appendRow(title, text);
}

QByteArray CAdvDataWidget::advertisingData() const
{
    return build(m_advModel);
}

QByteArray CAdvDataWidget::scanResponseData() const
{
    return build(m_resModel);
}

// Each row becomes one AD structure: a length byte counting the type byte and the data, the
// type, the data. The length is not checked here: the pages check the whole payload.
QByteArray CAdvDataWidget::build(const dataTableModel* model) const
{
    QByteArray out;
    for (const dataTableModel::Row& row : model->rows()) {
        const AdvDataField* type = findType(row.first);
        if (!type)
            continue;
        const char adType = char(type->value.mid(2).toUInt(nullptr, 16));
        QByteArray data;
        if (type->type == QLatin1String("string")) {
            data = row.second.toLatin1();
        } else if (type->type == QLatin1String("littleEnd")) {
            if (type->value.isEmpty()) {
                // A custom row is a whole structure already, length and type included.
                out += pairsInOrder(row.second);
                continue;
            }
            data = pairsInOrder(row.second);
        } else {
            // UUIDs are typed most significant byte first and go on the air least first.
            for (QString part : row.second.split(QLatin1Char(','))) {
                part.remove(QLatin1Char(':'));
                if (part.size() % 2 != 0)
                    part.prepend(QLatin1Char('0'));
                for (int i = part.size() - 2; i >= 0; i -= 2)
                    data.append(char(part.midRef(i, 2).toUInt(nullptr, 16)));
            }
        }
        out += char(1 + data.size());
        out += adType;
        out += data;
    }
    return out;
}

QByteArray CAdvDataWidget::periodicData() const
{
    // Read as the text stands, unrepaired: a value of half a byte is refused, not padded.
    QString digits = le_periodicadvdatda->text();
    digits.remove(QLatin1Char(':'));
    if (digits.size() % 2 != 0)
        return ErrorMarker;
    return QByteArray::fromHex(digits.toLatin1());
}

void CAdvDataWidget::setPeriodicDataVisible(bool visible)
{
    peradvdataframe->setVisible(visible);
}

void CAdvDataWidget::deleteCurrentRow(CCustomTableView* view, dataTableModel* model)
{
    const QModelIndex current = view->currentIndex();
    if (current.isValid())
        model->removeRowAt(current.row());
}

void CAdvDataWidget::on_btnDeleteAdvData_clicked()
{
    deleteCurrentRow(tableView_advdata, m_advModel);
}

void CAdvDataWidget::on_btnClearAdvData_clicked()
{
    m_advModel->clear();
}

void CAdvDataWidget::on_btnDeleteResData_clicked()
{
    deleteCurrentRow(tableView_resdata, m_resModel);
}

void CAdvDataWidget::on_btnClearResData_clicked()
{
    m_resModel->clear();
}
