#pragma once

#include <QGridLayout>
#include <QLabel>
#include <QLayoutItem>
#include <QString>
#include <QWidget>

#include "schema/ccommanduiwidget.h"

// The control beside the label with this title in a generated form; the first box of a row of
// check boxes.
inline QWidget* formControl(const CCommandUiWidget& form, const QString& title)
{
    const auto* grid = form.findChild<QGridLayout*>("gridLayout");
    for (int i = 0; i < grid->count(); ++i) {
        const auto* label = qobject_cast<QLabel*>(grid->itemAt(i)->widget());
        int row, column, rows, columns;
        grid->getItemPosition(i, &row, &column, &rows, &columns);
        if (!label || label->text() != title)
            continue;
        QLayoutItem* item = grid->itemAtPosition(row, column + 1);
        return item->widget() ? item->widget() : item->layout()->itemAt(0)->widget();
    }
    return nullptr;
}
