#pragma once

#include <QComboBox>
#include <QMap>
#include <QPushButton>
#include <QString>
#include <QToolButton>

#include "iso/ccigciswidget.h"
#include "iso/cisdatatablemodel.h"
#include "iso/cisoparameterdialog.h"
#include "schema/cmsgfield.h"
#include "whenmodal.h"

// The steps a user takes on the isochronous pages, for tests and benchmarks; they wait for nothing
// but the dialogs they answer.
namespace cigcis {

inline void click(QWidget* page, const char* button)
{
    page->findChild<QToolButton*>(button)->click();
}

// Adds a record of an isochronous page (a group, a stream, a BIG, a BIS) through its dialog,
// with these values over the form's defaults.
inline void addThroughDialog(QWidget* page, const char* button, const QMap<QString, QString>& values = {})
{
    whenModal([values](QWidget* dialog) {
        if (CmsgField* form = static_cast<CIsoParameterDialog*>(dialog)->form())
            form->setEditorTexts(values);
        dialog->findChild<QPushButton*>("pushButtonOK")->click();
    });
    click(page, button);
}

// A new group of `streams` streams, sent to the dongle.
inline void defineAndSetGroup(CCigCisWidget* page, int streams, const QMap<QString, QString>& group,
                              const QMap<QString, QString>& stream)
{
    addThroughDialog(page, "toolButton_AddCIG", group);
    for (int i = 0; i < streams; ++i)
        addThroughDialog(page, "toolButton_AddCIS", stream);
    click(page, "toolButton_setCIG");
}

// Ticks every stream of the group shown and creates them over the first central link offered.
inline void createAll(CCigCisWidget* page)
{
    CisDataTableModel* streams = page->cisModel();
    for (int row = 0; row < streams->rowCount(); ++row)
        streams->setData(streams->index(row, 0), Qt::Checked, Qt::CheckStateRole);
    whenModal([](QWidget* dialog) { dialog->findChild<QPushButton*>("pushButtonOK")->click(); });
    click(page, "toolButton_createCIS");
}

inline bool allConnected(const CCigCisWidget* page)
{
    const CisDataTableModel* streams = page->cisModel();
    for (int row = 0; row < streams->rowCount(); ++row)
        if (streams->at(row).connected != 1)
            return false;
    return streams->rowCount() > 0;
}

// Turns both data paths of a stream's page to the dongle's own and sends them.
inline void openDataPaths(QWidget* stream)
{
    stream->findChild<QComboBox*>("comboBox_input")->setCurrentText("TVN");
    stream->findChild<QComboBox*>("comboBox_output")->setCurrentText("TVN");
    stream->findChild<QPushButton*>("pushButton_set")->click();
}

} // namespace cigcis
