#include "clineedit.h"

#include <QMouseEvent>

CLineEdit::CLineEdit(QWidget* parent)
    : QLineEdit(parent)
{
}

CLineEdit::~CLineEdit() = default;

void CLineEdit::mousePressEvent(QMouseEvent* event)
{
    QLineEdit::mousePressEvent(event);
    emit clicked();
}
