#pragma once

#include <QApplication>
#include <QFocusEvent>
#include <QTest>
#include <QTreeWidget>

#include "schema/cvalidatelineedit.h"
#include "settings/csetting.h"
#include "settings/csettingdialog.h"

// Shows the page of the catalogue entry with this title, as a click on it does.
inline void showPage(CSettingDialog* dialog, const QString& title)
{
    auto* tree = dialog->findChild<QTreeWidget*>("treeWidget_catalog");
    const QList<QTreeWidgetItem*> items = tree->findItems(title, Qt::MatchExactly | Qt::MatchRecursive);
    QCOMPARE(items.size(), 1);
    tree->setCurrentItem(items.first());
    dialog->onCatalogItemClicked(items.first(), 0);
    QApplication::processEvents(); // the new page is laid out by posted layout requests
}

// Types into a setting's editor as a user does: select all, type, leave the field.
inline void typeInto(CSettingDialog* dialog, const QString& key, const QString& text)
{
    auto* edit = dialog->setting(key)->findChild<CValidateLineEdit*>();
    QVERIFY2(edit, qPrintable(key));
    edit->selectAll();
    QTest::keyClicks(edit, text);
    QFocusEvent focusOut(QEvent::FocusOut, Qt::TabFocusReason);
    QApplication::sendEvent(edit, &focusOut);
}
