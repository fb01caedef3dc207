#pragma once

#include <QGridLayout>
#include <QLabel>
#include <QLayoutItem>
#include <QLineEdit>
#include <QString>
#include <QStringList>
#include <QTest>
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

// The form of that command among a page's forms.
inline CCommandUiWidget* formNamed(const QList<CCommandUiWidget*>& forms, const QString& name)
{
    for (CCommandUiWidget* form : forms)
        if (form->name() == name)
            return form;
    return nullptr;
}

// Opens the form if it is folded and types "TITLE=TEXT" into its editors as a user does.
inline void typeIntoForm(CCommandUiWidget* form, const QStringList& typed)
{
    if (!form->isExpanded())
        QTest::mouseClick(form->findChild<QWidget*>("sigWidget"), Qt::LeftButton);
    for (const QString& entry : typed) {
        auto* edit = qobject_cast<QLineEdit*>(formControl(*form, entry.section('=', 0, 0)));
        QVERIFY2(edit, qPrintable(entry));
        edit->setFocus();
        edit->selectAll();
        QTest::keyClicks(edit, entry.section('=', 1));
    }
}
