#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QStringList>
#include <QtTest>

#include "adv/cadvbasewidget.h"
#include "adv/cadvdatawidget.h"
#include "whenmodal.h"

// Adds a row to a list of the editor as the user does: the type picked, the value typed.
inline void addAdRow(CAdvDataWidget* editor, const QString& title, const QString& value, bool scanResponse = false)
{
    editor->findChild<QComboBox*>(QStringLiteral("ADtypeCombox"))->setCurrentText(title);
    auto* edit = editor->findChild<QLineEdit*>(QStringLiteral("valueLineEdit"));
    edit->clear();
    QTest::keyClicks(edit, value);
    editor->findChild<QPushButton*>(scanResponse ? QStringLiteral("addResponceData")
                                                 : QStringLiteral("addDataButton"))
        ->click();
}

// A custom AD structure of `size` bytes in all: its length byte, 0xFF, then filler.
inline QString customOfSize(int size)
{
    QString text = QStringLiteral("%1:FF").arg(size - 1, 2, 16, QLatin1Char('0'));
    for (int i = 2; i < size; ++i)
        text += QStringLiteral(":A5");
    return text;
}

// Sets a page as the user would, by settings "objectName=value": a combo's index, a box's
// 1 or 0, an editor's text. "adv=N" and "rsp=N" add a custom structure of N bytes to the
// advertising data or the scan response, "adv:TYPE=VALUE" and "rsp:TYPE=VALUE" a row of that
// type, "padv=TEXT" sets the periodic data.
inline void applySettings(CAdvBaseWidget* page, const QStringList& settings)
{
    for (const QString& setting : settings) {
        const QString name = setting.section('=', 0, 0);
        const QString value = setting.section('=', 1);
        if (name.startsWith(QLatin1String("adv:")) || name.startsWith(QLatin1String("rsp:"))) {
            addAdRow(page->advDataWidget(), name.mid(4), value, name.startsWith(QLatin1String("rsp")));
        } else if (name == QLatin1String("adv") || name == QLatin1String("rsp")) {
            addAdRow(page->advDataWidget(), QStringLiteral("Custom AD type"), customOfSize(value.toInt()),
                     name == QLatin1String("rsp"));
        } else if (name == QLatin1String("padv")) {
            page->findChild<QLineEdit*>(QStringLiteral("le_periodicadvdatda"))->setText(value);
        } else if (auto* combo = page->findChild<QComboBox*>(name)) {
            combo->setCurrentIndex(value.toInt());
        } else if (auto* box = page->findChild<QCheckBox*>(name)) {
            box->setChecked(value == QLatin1String("1"));
        } else if (auto* edit = page->findChild<QLineEdit*>(name)) {
            edit->setText(value);
        } else {
            QTest::qFail(qPrintable(QStringLiteral("no control ") + name), __FILE__, __LINE__);
        }
    }
}
