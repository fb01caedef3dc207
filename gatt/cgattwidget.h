#pragma once

#include <QByteArray>
#include <QList>
#include <QModelIndex>
#include <QPointer>
#include <QString>
#include <QVector>
#include <QWidget>

#include "gatt/gattattribute.h"
#include "schema/ccommand.h"
#include "schema/uplinkdispatch.h"

class CGattCmdDlg;
class CMsg;
class csmdilog;
class GattTableModel;
class LogManager;
class TreeModel;

namespace Ui {
class CGattWidget;
}

// The GATT tab of one connection's page: discovers the peer's database into the attribute table,
// shows it as a tree or as flat rows, reads and writes values, switches notifications and
// indications on or off and exports the table. Every panel of the dongle hears every GATT uplink
// and keeps its own condix.
class CGattWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CGattWidget)

public:
    // The dongle's name is read at each use, so a renamed tab is named rightly.
    CGattWidget(uint8_t condix, CMsg* msg, LogManager* logger, const QString* dongleName, QWidget* parent = nullptr);
    ~CGattWidget() override;

    const QVector<GattAttribute>& attributes() const { return attributeTable; }
    TreeModel* tree() const { return treeModel; }
    GattTableModel* table() const { return tableModel; }
    int pending() const { return pendingCount; }
    CGattCmdDlg* commandTab() const { return m_commandTab; }

signals:
    void sig_showDongleTab(QString dongleName);

public slots:
    void on_toolButton_dicoverAllAttr_clicked();
    void on_toolButton_exchangeMTU_clicked();
    void on_toolButton_clear_clicked();
    void on_toolButton_pair_clicked();
    void on_toolButton_enableNotifyAndIndicate_clicked();
    void on_toolButton_disableNotifyAndIndicate_clicked();
    void on_toolButton_readAllChar_clicked();
    void on_toolButton_export_clicked();
    void on_toolButton_expandAll_clicked();
    void on_toolButton_collapseAll_clicked();
    void on_toolButton_getLnk_clicked();
    void on_pb_read_clicked();
    void on_pb_write_clicked();
    void on_treeView_pressed(const QModelIndex& index);
    void on_comboBox_mode_currentIndexChanged(int index);
    void onSendDicoverCmd();
    void onRcvMsg(const QByteArray& rcvMsg);
    void on_pairEnable(bool pairEnable);
    void on_cmsdialogPair(QString number, uint8_t accpet);

protected:
    // The file chosen for the export; empty when the dialog was cancelled.
    virtual QString askExportPath();

private:
    void fillProcTable();
    bool send(const QString& name, const FieldValueMap& fields);
    void setBatchControlsEnabled(bool enabled);
    void clearAttributes();
    // Writes (or, with readBack, reads) the client configuration of every characteristic that
    // notifies or indicates; 0, or -1 after a logged fault of the tree.
    int walkNotifications(bool enable, bool readBack);
    // Parses a frame of this panel's link and logs it; false for another link or a bad frame.
    bool parseOwn(const QByteArray& frame, UplinkFieldMap& fields);
    // parseOwn, then the handle under that key; one that can't be read is logged.
    bool parseWithHandle(const QByteArray& frame, const char* handleKey, UplinkFieldMap& fields, quint16& handle);
    void store(quint16 handle, const GattAttribute& attribute);
    // A characteristic's declaration, and a placeholder in the slot after it for its value.
    void storeCharacteristic(quint16 handle, const GattAttribute& attribute);
    QString dongleName() const { return m_dongleName ? *m_dongleName : QString(); }
    void showValue(quint16 handle, const QByteArray& value);
    void setViewColumnWidths();
    // Expanding the tree is one layout of the whole view: many arrivals in one pass share one.
    void expandSoon();

    void ackProc(const QByteArray& frame);
    void lastAckProc(const QByteArray& frame);
    void ExchangeGATTMTUProc(const QByteArray& frame);
    void serviceProc(const QByteArray& frame);
    void includeProc(const QByteArray& frame);
    void characteristicProc(const QByteArray& frame);
    void descriptorProc(const QByteArray& frame);
    void discoverEndProc(const QByteArray& frame);
    void serviceListProc(const QByteArray& frame);
    void includeListProc(const QByteArray& frame);
    void characteristicListProc(const QByteArray& frame);
    void descriptorListProc(const QByteArray& frame);
    void readListProc(const QByteArray& frame);
    void WriteProc(const QByteArray& frame);
    void notificationProc(const QByteArray& frame);
    void getLnkProc(const QByteArray& frame);
    void smMsgProc(const QByteArray& frame);
    void startingPairProc(const QByteArray& frame);
    // Asks the pairing question of a dialog, modal; its answer lands in on_cmsdialogPair. The
    // dialog outlives its run, so that pairDialog tells whether a failure closed it meanwhile; the
    // caller deletes it once the answer went out.
    QPointer<csmdilog> runPairDialog(const QString& title, const QString& heading, const QString& passkey, bool editable);
    // "Sending Confirm Information", built here: no schema row holds its body.
    void sendConfirm(const QByteArray& body);
    // The records of a list uplink, each cut by its own header; empty after a logged refusal
    // (`ok` false) or for another link.
    QList<QByteArray> listRecords(const QByteArray& frame, int headerBytes, int lengthAt, int lengthBytes, bool* ok);

    Ui::CGattWidget* ui;
    uint8_t condix = 0;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    const QString* m_dongleName = nullptr;
    QVector<GattAttribute> attributeTable;
    TreeModel* treeModel = nullptr;
    GattTableModel* tableModel = nullptr;
    int pendingCount = 0;
    bool sdkResultEnabled = false;
    UplinkTable<CGattWidget> procTable;
    bool m_expandPending = false;
    CGattCmdDlg* m_commandTab = nullptr;
    // The pairing question that is open, until its answer went out or the pairing failed.
    QPointer<csmdilog> pairDialog;
    quint32 passkeyNumber = 0;
    uint8_t passkeyAccept = 0;
    int confirmMode = 1;
};
