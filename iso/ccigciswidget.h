#pragma once

#include <QByteArray>
#include <QMap>
#include <QPersistentModelIndex>
#include <QString>
#include <QVector>

#include "iso/cisostreampage.h"
#include "iso/isoparameters.h"
#include "schema/uplinkdispatch.h"

class CigDataTableModel;
class CisDataTableModel;
class cigParameterDialog;
class cisParameterDialog;
class createCISDialog;

namespace Ui {
class CCigCisWidget;
}

// The central side of connected isochronous streams: the user defines groups and their streams
// in two tables, hands a group to the dongle, creates its streams over the connections in which
// the dongle is central, and works on each established stream in its own page on the right.
class CCigCisWidget : public CIsoStreamPage
{
    Q_OBJECT
    Q_DISABLE_COPY(CCigCisWidget)

public:
    // The connections list is the Master page's own, read at each use.
    CCigCisWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings, const QString* dongleName,
                  const QByteArray* masterCondixes, QWidget* parent = nullptr);
    ~CCigCisWidget() override;

    // A group the user defined stands until the dongle removed it.
    bool hasCig() const;
    CigDataTableModel* cigModel() const { return m_cigModel; }
    CisDataTableModel* cisModel() const { return m_cisModel; }

    void onRcvMsg(const QByteArray& rcvMsg);
    // From the dialogs and the two tables, connected by pointer: slots by these names would be
    // taken for widgets of the form.
    void on_getCigPara(cigParameter cigData);
    void on_getCisPara(cisParameter cisData);
    void on_CISTableView_changed(QModelIndex index);
    void on_manageCIS_changed(QModelIndex index);

public slots:
    void on_toolButton_AddCIG_clicked();
    void on_toolButton_AddCIS_clicked();
    void on_toolButton_setCIG_clicked();
    void on_toolButton_createCIS_clicked();
    void on_toolButton_disconnect_clicked();
    void on_toolButton_editCIG_clicked();
    void on_toolButton_editCIS_clicked();
    void on_toolButton_removeCIG_clicked();
    void on_toolButton_removeCIS_clicked();

private:
    void fillProcTable();
    // The CIG row last pressed, or -1 when there is none any more.
    int currentCigRow() const;
    const cigParameter* currentCig() const;
    // The streams of the current group are the CIS table's rows: they are stored back after
    // every change.
    void storeCisRows();

    void setCigProc(const QByteArray& frame);
    void createCisProc(const QByteArray& frame);
    void disconnectCisProc(const QByteArray& frame);
    void removeCigProc(const QByteArray& frame);

    Ui::CCigCisWidget* ui;
    const QString* m_dongleName = nullptr;
    const QByteArray* masterCondixes = nullptr;
    UplinkTable<CCigCisWidget> procTable;
    CigDataTableModel* m_cigModel = nullptr;
    CisDataTableModel* m_cisModel = nullptr;
    QMap<QString, QVector<cisParameter>> cisByCig;
    QPersistentModelIndex m_cigIndex;
    cigParameterDialog* m_cigParameterDialog = nullptr;
    cisParameterDialog* m_cisParameterDialog = nullptr;
    createCISDialog* m_createCISDialog = nullptr;
};
