#include "csetting.h"

#include <QHBoxLayout>
#include <QLabel>

CSetting::CSetting(const QString& key, const QString& title, CSetting* parent)
    : QWidget(parent)
    , m_key(key)
    , m_title(title)
    , m_parent(parent)
{
    if (parent)
        parent->addChild(this);
}

CSetting::~CSetting() = default;

QVariant CSetting::defaultValue() const
{
    return m_defaultValue;
}

bool CSetting::isValid() const
{
    return true;
}

void CSetting::setReadOnly(bool)
{
}

QVariant CSetting::value() const
{
    return m_value;
}

void CSetting::setValue(const QVariant& value)
{
    m_value = value;
}

void CSetting::addToLayout(QLayout*)
{
}

void CSetting::addChild(CSetting*)
{
}

void CSetting::removeChild(CSetting*)
{
}

CSetting* CSetting::childAt(int) const
{
    return nullptr;
}

int CSetting::childCount() const
{
    return 0;
}

QHBoxLayout* CSetting::makeTitledRow()
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    auto* label = new QLabel(m_title, this);
    // One width for every title, so that the controls of a page line up.
    label->setFixedWidth(340);
    row->addWidget(label);
    return row;
}
