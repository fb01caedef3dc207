#pragma once

#include <QByteArray>
#include <QMap>
#include <QPair>
#include <QModelIndex>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVector>
#include <QWidget>

#include "gap/devicestablemodel.h"
#include "schema/ccommand.h"
#include "schema/uplinkdispatch.h"

class CCigCisWidget;
class DeviceEntryModel;
class DeviceListModel;
class DevicePeriodicListModel;
class DeviceRpaListModel;
class CLayerWidget;
class CMsg;
class LogManager;
class QPlainTextEdit;
class QToolButton;
class QTreeWidget;
class SearchBox;

namespace Ui {
class CConnectionWidget;
}

// The master side of one dongle: scanning into the device table, the advertising data of the
// pressed row, and connecting to it, directly or through the white list; the lists the dongle
// keeps about other devices, and the periodic advertisers it is synchronised to.
class CConnectionWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CConnectionWidget)

public:
    CConnectionWidget(CMsg* msg, LogManager* logger, FieldValueMap* config,
                      const QString* dongleName, QWidget* parent = nullptr);
    ~CConnectionWidget() override;

    void reset();
    bool isScanning() const { return scanning; }
    int connectionCount() const { return m_connectionCount; }
    bool isAutoConnecting() const;
    const QByteArray& masterCondixes() const { return m_masterCondixes; }
    // The CIG/CIS page exists; its tab's owner clears this when it removes the page.
    bool isCigCisOpen() const { return cigCisOpen; }
    void setCigCisOpen(bool open) { cigCisOpen = open; }
    DevicesTableModel* model() const { return m_model; }
    // The model of a list of the Device List panel, by the index of deviceListType.
    DeviceEntryModel* deviceListModel(int index) const;
    // A periodic sync stands or is being made.
    bool isSyncing() const { return syncViews.size() > 1; }
    // The text view of a sync index, or of 0xFF, the one shown while no sync stands.
    QPlainTextEdit* syncView(quint8 index) const { return syncViews.value(index).second; }
    void showAdvertisingTree(QTreeWidget* tree, const QByteArray& data);

signals:
    void connectSuccess(uint8_t role, QString addr, CLayerWidget* dialog);
    void disConnectRequest(uint8_t condix);
    void sig_masterCondixChanged();
    void cigcisSuccess(CCigCisWidget* dialog);
    void toCIGCISWidget();
    void masterBIGSucceed(uint16_t syncValue);

public slots:
    void onRcvMsg(const QByteArray& rcvMsg);
    void onTableView_devicesClicked(const QModelIndex& index);
    void on_buttonScan_clicked();
    void on_buttonConnect_clicked();
    void on_buttonAutoConnect_clicked();
    void on_buttonSearch_clicked();
    void on_openAutoConnect(bool autoConnect);
    void on_masterCondixChanged();
    void on_buttonCIGCIS_clicked();
    void on_searchNext(SearchBox* sb);
    void on_searchPrevious(SearchBox* sb);
    void on_buttonAddToWhiteList_clicked();
    void on_deviceListType_currentIndexChanged(int index);
    void on_deviceListAdd_clicked();
    void on_deviceListDelete_clicked();
    void on_deviceListClear_clicked();
    void on_deviceListRefresh_clicked();
    void on_devicePrivacyModeUpdate_clicked();
    void on_buttonSync_clicked();
    void on_m_tbStopSync_clicked();
    void on_comboBox_peerAddr_currentIndexChanged(int index);
    void onPeriodicAdvDataClear();
    void onPeriodicAdvDataSave();
    void on_buttonMasterBIG_clicked();

private:
    void fillProcTable();
    void fillAdTypeNames();
    void refreshCommandFields();
    // Failures are logged; the page stays as it was so that the user may try again.
    bool send(const QString& name, const FieldValueMap& fields, const FieldValueMap& extra = FieldValueMap());
    bool parseAndLog(const QByteArray& frame, UplinkFieldMap& fields);
    bool readStatus(const UplinkFieldMap& fields, int line, const char* function, quint8& status);
    void showRawData(const QByteArray& adv, const QByteArray& rsp);
    void setButton(QToolButton* button, const QString& text, const QString& icon,
                   const QString& toolTip = QString());
    void setScanButtonAtRest(bool atRest);
    void setAutoConnectAtRest();
    void releaseCurrentRow();
    void searchFrom(SearchBox* sb, bool forward);

    void responseProc(const QByteArray& frame);
    void startScanResultProc(const QByteArray& frame);
    void scanStateProc(const QByteArray& frame, bool atRest, const char* function);
    void startScanProc(const QByteArray& frame);
    void stopScanProc(const QByteArray& frame);
    void connectResponseProc(const QByteArray& frame);
    void connectProc(const QByteArray& frame);
    void disconnectProc(const QByteArray& frame);
    void autoConnectTimeoutProc(const QByteArray& frame);
    void cancelConnectProc(const QByteArray& frame);

    void showDeviceList(int index);
    // The SDK log of a list command's ack; true when it is whole and says yes.
    bool listCommandAccepted(const QByteArray& frame, const char* function);
    void addWhitelistProc(const QByteArray& frame);
    void addPeriodicAdvlistProc(const QByteArray& frame);
    void deleteWhitelistProc(const QByteArray& frame);
    void deleteBondlistProc(const QByteArray& frame);
    void deletePeriodicAdvlistProc(const QByteArray& frame);
    void clearWhitelistProc(const QByteArray& frame);
    void clearBondlistProc(const QByteArray& frame);
    void clearPeriodicAdvlistProc(const QByteArray& frame);
    void operateWhitelistProc(const QByteArray& frame);
    void OperateBondlistProc(const QByteArray& frame);
    void whitelistContentProc(const QByteArray& frame);
    void bondlistContentProc(const QByteArray& frame);
    void periodicAdvlistContentProc(const QByteArray& frame);
    void rpalistContentProc(const QByteArray& frame);
    void listContentProc(const QByteArray& frame, DeviceEntryModel* model, const char* wrong);
    void privacyModeProc(const QByteArray& frame);

    void resetSyncViews();
    void setSyncButtonAtRest();
    // Deletes the view of a sync index and drops its entry and its item; false when it had none.
    bool removeSync(quint8 index);
    void createSyncStartSDKProc(const QByteArray& frame);
    void createSyncStartProc(const QByteArray& frame);
    void createSyncStopProc(const QByteArray& frame);
    void syncPassiveStopProc(const QByteArray& frame);
    void syncEnded(const QByteArray& frame, bool byStop, const char* function);
    void periodicReportProc(const QByteArray& frame, const UplinkFieldMap& fields);
    void flushPeriodicReports();

    Ui::CConnectionWidget* ui;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    FieldValueMap* m_config = nullptr;
    const QString* m_dongleName = nullptr;
    QVector<DeviceRow> deviceRows;
    DevicesTableModel* m_model = nullptr;
    FieldValueMap commandFields;
    bool scanning = false;
    int m_connectionCount = 0;
    int syncListMode = 0;
    bool autoConnectMode = false;
    QByteArray autoCondix;
    QByteArray m_masterCondixes;
    bool cigCisOpen = false;
    DeviceRow pendingPeer;
    DeviceListModel* m_whiteListModel = nullptr;
    DeviceListModel* m_bondListModel = nullptr;
    DevicePeriodicListModel* m_periodicListModel = nullptr;
    DeviceRpaListModel* m_rpaListModel = nullptr;
    // The entry a list command now in flight is about.
    UplinkFieldMap pendingDevice;
    // By sync index: the sync handle and the view of the train's data.
    QMap<quint8, QPair<quint16, QPlainTextEdit*>> syncViews;
    quint8 pendingSyncIndex = 0;
    // Reports wait here a moment, so that a fast train updates its view a few times a second
    // rather than once per frame.
    QMap<quint8, QStringList> m_pendingReports;
    QTimer m_reportFlush;
    QMap<quint8, QString> adTypeNames;
    UplinkTable<CConnectionWidget> procTable;
    SearchBox* m_searchBox = nullptr;
};
