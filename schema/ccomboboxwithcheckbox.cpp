#include "ccomboboxwithcheckbox.h"

#include <QAbstractItemView>
#include <QCheckBox>
#include <QListWidget>
#include <QStringList>

#include "schema/clineedit.h"

CComboBoxWithCheckBox::CComboBoxWithCheckBox(QMap<uint, QString> valueToCaption, QWidget* parent)
    : QComboBox(parent)
    , m_valueToCaption(std::move(valueToCaption))
    , m_listWidget(new QListWidget(this))
    , m_lineEdit(new CLineEdit(this))
{
    for (auto it = m_valueToCaption.cbegin(); it != m_valueToCaption.cend(); ++it) {
        auto* item = new QListWidgetItem(m_listWidget);
        const QString& caption = it.value();
        auto* box = new QCheckBox(caption.size() > CaptionLimit
                                      ? caption.left(CaptionLimit) + QStringLiteral("...")
                                      : caption,
                                  m_listWidget);
        box->setToolTip(caption);
        m_listWidget->setItemWidget(item, box);
        connect(box, &QCheckBox::clicked, this, &CComboBoxWithCheckBox::onCheckBoxClicked);
    }
    setModel(m_listWidget->model());
    setView(m_listWidget);
    setLineEdit(m_lineEdit);
    m_lineEdit->setReadOnly(true);
    connect(m_lineEdit, &QLineEdit::textChanged, this, &CComboBoxWithCheckBox::onTextChanged);
    connect(m_lineEdit, &CLineEdit::clicked, this, &CComboBoxWithCheckBox::onLineEditClicked);
}

CComboBoxWithCheckBox::~CComboBoxWithCheckBox() = default;

QCheckBox* CComboBoxWithCheckBox::boxAt(int row) const
{
    return qobject_cast<QCheckBox*>(m_listWidget->itemWidget(m_listWidget->item(row)));
}

void CComboBoxWithCheckBox::showText(const QString& text)
{
    // Stored first: the line's textChanged puts back whatever differs from it.
    m_text = text;
    m_lineEdit->setText(text);
    m_lineEdit->setToolTip(text);
    m_lineEdit->setCursorPosition(0);
}

void CComboBoxWithCheckBox::setValue(uint value)
{
    m_value = value;
    QStringList captions;
    int row = 0;
    for (auto it = m_valueToCaption.cbegin(); it != m_valueToCaption.cend(); ++it, ++row) {
        const bool ticked = (m_value & it.key()) != 0;
        boxAt(row)->setChecked(ticked);
        if (ticked)
            captions << it.value();
    }
    showText(captions.join(QStringLiteral(" | ")));
}

void CComboBoxWithCheckBox::onCheckBoxClicked()
{
    m_value = 0;
    QStringList captions;
    int row = 0;
    for (auto it = m_valueToCaption.cbegin(); it != m_valueToCaption.cend(); ++it, ++row) {
        if (boxAt(row)->isChecked()) {
            m_value |= it.key();
            captions << it.value();
        }
    }
    showText(captions.join(QStringLiteral(" | ")));
    emit comboxWithCheckBoxValueChanged(static_cast<int>(m_value));
}

void CComboBoxWithCheckBox::onTextChanged(QString text)
{
    if (text != m_text)
        m_lineEdit->setText(m_text);
}

void CComboBoxWithCheckBox::onLineEditClicked()
{
    showPopup();
}

void CComboBoxWithCheckBox::focusOutEvent(QFocusEvent* event)
{
    // Ticking a box in the popup takes the focus; that must not close anything.
    if (m_listWidget->isVisible())
        return;
    QComboBox::focusOutEvent(event);
}
