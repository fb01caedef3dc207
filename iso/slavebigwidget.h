#pragma once

#include <QByteArray>

#include "iso/slavebigdatatablemodel.h"
#include "iso/cbigpage.h"
#include "schema/uplinkdispatch.h"

class SlaveBIGParaDialog;

// The sending side of a broadcast: BIGs to run on the periodic advertising set that the page
// was opened for, and a sending stream page per BIS of a running BIG.
class SlaveBIGWidget : public CBigPageOf<SlaveBigDataTableModel>
{
    Q_OBJECT
    Q_DISABLE_COPY(SlaveBIGWidget)

public:
    SlaveBIGWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings, QWidget* parent = nullptr);
    ~SlaveBIGWidget() override;

    // The advertising set, in decimal, that BIGs defined from now on run on.
    void setAdvIndex(const QString& index) { advIndex = index; }
    QString advertisingIndex() const { return advIndex; }

    void onRcvMsg(const QByteArray& rcvMsg);
    // From the dialog, connected by pointer.
    void on_rcvBIGPara(slaveBigPara bigData);

public slots:
    void on_toolButton_addBIG_clicked();
    void on_toolButton_editBIG_clicked();
    void on_toolButton_removeBIG_clicked();
    void on_toolButton_terminateBIG_clicked();
    void on_toolButton_createBIG_clicked();

private:
    void fillProcTable();
    void createBigProc(const QByteArray& frame);
    void terminateBigProc(const QByteArray& frame);

    UplinkTable<SlaveBIGWidget> procTable;
    QString advIndex;
    SlaveBIGParaDialog* m_bigParameterDialog = nullptr;
};
