#include "cstyledcombobox.h"

#include <QStyledItemDelegate>

CStyledComboBox::CStyledComboBox(QWidget* parent)
    : QComboBox(parent)
{
    setItemDelegate(new QStyledItemDelegate(this));
}

CStyledComboBox::~CStyledComboBox() = default;
