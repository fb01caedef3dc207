#pragma once

#include <QByteArray>
#include <QMap>

#include "iso/bigdatatablemodel.h"
#include "iso/cbigpage.h"
#include "schema/uplinkdispatch.h"

class bigParameterDialog;
class bisParameterDialog;

// The receiving side of a broadcast: BIGs to synchronise to on the periodic train that the page
// was opened with, the BISes to receive of each, and a receiving stream page per synchronised
// BIS.
class MasterBIGWidget : public CBigPageOf<BigDataTableModel>
{
    Q_OBJECT
    Q_DISABLE_COPY(MasterBIGWidget)

public:
    MasterBIGWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings, QWidget* parent = nullptr);
    ~MasterBIGWidget() override;

    // The sync handle of the train that BIGs added from now on are on.
    void setSyncValue(quint16 syncValue) { m_syncValue = syncValue; }
    quint16 syncValue() const { return m_syncValue; }
    // The train of each BIG row, by its id.
    quint16 syncHandleOf(const QString& bigId) const { return syncHandles.value(bigId); }

    void onRcvMsg(const QByteArray& rcvMsg);
    // From the dialogs, connected by pointer.
    void on_rcvBIGPara(bigParameter bigData);
    void on_rcvBISPara(bisParameter bisData);

public slots:
    void on_toolButton_addBIG_clicked();
    void on_toolButton_editBIG_clicked();
    void on_toolButton_removeBIG_clicked();
    void on_toolButton_terminateBIG_clicked();
    void on_toolButton_createBIG_clicked();
    void on_toolButton_addBIS_clicked();
    void on_toolButton_editBIS_clicked();
    void on_toolButton_removeBIS_clicked();

protected:
    void removeBigRecord(int row) override;

private:
    void fillProcTable();
    void bigCreateSyncProc(const QByteArray& frame);
    void bigTerminateSyncProc(const QByteArray& frame);

    UplinkTable<MasterBIGWidget> procTable;
    QMap<QString, quint16> syncHandles;
    quint16 m_syncValue = 0;
    bigParameterDialog* m_bigParameterDialog = nullptr;
    bisParameterDialog* m_bisParameterDialog = nullptr;
};
