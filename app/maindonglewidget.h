#pragma once

#include <QMap>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <QWidget>

#include "schema/uplinkdispatch.h"

class advertisingWidget;
class cDownLoadFirmWare;
class CCigCisWidget;
class CConnectionWidget;
class CHeartBeat;
class CIDTwidget;
class CLayerWidget;
class CLCPwidget;
class MasterBIGWidget;
class SlaveBIGWidget;
class CLogWidget;
class CRegisterPSMDialog;
class CRfCalibrationDialog;
class CRfTestWidget;
class CMsg;
class CSelectDongleDialog;
class LogManager;
class QSettings;
class QTabWidget;
class QToolButton;

namespace Ui {
class MainDongleWidget;
}

// One dongle: one tab of the main window. Owns the dongle's link, log and settings map,
// answers the uplinks that concern the dongle as a whole and runs the start-up sequence
// after every reset.
class MainDongleWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(MainDongleWidget)

public:
    MainDongleWidget(QWidget* parent, const QString& name);
    ~MainDongleWidget() override;

    void buildPages();
    bool pagesBuilt() const { return m_pagesBuilt; }
    void prepareDelete();
    void loadConfig(QSettings& settings, const QString& group);
    QString dongleName() const { return m_dongleName; }
    const QMap<QString, QVariant>& config() const { return *m_config; }
    bool isConnected() const { return m_connected; }
    CMsg* msg() const { return m_msg; }
    LogManager* logger() const { return m_logger; }
    CConnectionWidget* connectionWidget() const { return m_connectionWidget; }
    advertisingWidget* advertisingPage() const { return m_advertisingWidget; }
    CRegisterPSMDialog* registerPsmDialog() const { return m_registerPsmDialog; }
    cDownLoadFirmWare* download() const { return m_download; }
    QTabWidget* pageTabs() const;

    void notifySerialPortArrived(const QString& portName);
    void notifySerialPortRemoved(const QString& portName);

    // The end of a download and the two stages of the reconnect after it. Plain members rather
    // than slots: their names would make the form look for children that do not exist.
    void on_downLoad_finished();
    void on_downLoad_failed();
    void on_reConnect();

signals:
    void sig_SerialPortArrived(QString portName);
    void sig_SerialPortRemoved(QString portName);
    void sig_pairEnable(bool pairEnable);
    void showThisDongleTab(QString dongleName);
    void updateDongleName(MainDongleWidget* widget, QString dongleName);
    void sig_OpenLCP(QString strName, CLCPwidget* pDialog);
    void sig_OpenIDT(QString strName, CIDTwidget* pDialog);

public slots:
    void on_configDongleName(const QString& dongleName);
    void on_toolButton_selectDongle_clicked();
    void onRcvMsg(const QByteArray& rcvMsg);
    void onRcvDongleLog(const QByteArray& rcvMsg);
    void onConnectionStatusChanged(bool connectionStatus);
    void on_staticConfigSet();
    void on_DynamicConfigApply();
    void on_isPairEnable(bool pairEnable);
    void on_sendCommand();
    void on_deviceDead();
    void on_connectSuccess(uint8_t role, QString addr, CLayerWidget* dialog);
    void on_disConnectRequest(uint8_t condix);
    void on_cigcisSuccess(CCigCisWidget* dialog);
    void on_toCIGCISWidget();
    void on_masterBIGSucceed(uint16_t syncValue);
    void on_slaveBIGSucceed(uint8_t advIndex);
    void on_slaveCISDisconnect(uint64_t handle);
    void onCloseTabButtonClicked();
    void onTabWidgetCurrentChanged(int index);
    void onOpenLCP(const QString& strName, CLCPwidget* pDialog);
    void onOpenIDT(const QString& strName, CIDTwidget* pDialog);
    void onCloseLCP();
    void onCloseIDT();

private slots:
    void on_toolButton_configureSettings_clicked();
    void on_toolButton_registerPSM_clicked();
    void on_toolButton_about_clicked();
    void on_toolButton_getInfo_clicked();
    void on_toolButton_RfCalibraion_clicked();
    void on_toolButton_address_clicked();
    void on_toolButton_reset_clicked();
    void on_toolButton_lcp_clicked();
    void on_toolButton_idt_clicked();
    void on_toolButton_download_clicked();

private:
    void fillProcTable();
    void sdkProc(const QByteArray& frame);
    void lastSdkProc(const QByteArray& frame);
    void resetCompleteProc(const QByteArray& frame);
    void deviceTypeProc(const QByteArray& frame);
    void identityAddressProc(const QByteArray& frame);
    void deviceNameProc(const QByteArray& frame);
    void appearanceProc(const QByteArray& frame);
    void preferredParametersProc(const QByteArray& frame);
    void profileListProc(const QByteArray& frame);
    void channelMapSetProc(const QByteArray& frame);
    void profileSetProc(const QByteArray& frame);
    void statusResultProc(const QByteArray& frame, const char* function);
    void incomingCisProc(const QByteArray& frame);
    void slaveCisProc(const QByteArray& frame);
    void sendStartupSequence();
    void sendDeviceName();
    void setToolsEnabled(bool enabled);
    void removePageTab(int index);
    // Removes the tab of a page that the Master page opened, and lets it open another.
    void removeMasterPageTab(int index);
    QToolButton* addCloseButton(int index, const QString& toolTip);
    // The tab of a page of this kind, or -1.
    template <class Page>
    int tabOf() const;
    // Brings a broadcast page to the front, made and placed at `place` the first time.
    template <class Page>
    Page* showBigPage(const QString& title, int place);
    void openModeTab(const QString& name, CRfTestWidget* page, const QString& toolTip,
                     void (MainDongleWidget::*close)(), void (CMsg::*received)(QByteArray));
    void closeModeTab(CRfTestWidget* page, void (CMsg::*received)(QByteArray));
    void resetModePages();
    int slaveTabIndex() const;
    bool isAirActionOn() const;
    CSelectDongleDialog* selectDialog();
    void showDownloadProgress(quint32 sentBytes, quint32 imageSize);

    Ui::MainDongleWidget* ui;
    UplinkTable<MainDongleWidget> procTable;
    // The stream that the dongle was last asked to join as peripheral.
    quint64 m_incomingCisHandle = 0;
    CSelectDongleDialog* m_selectDialog = nullptr;
    CConnectionWidget* m_connectionWidget = nullptr;
    advertisingWidget* m_advertisingWidget = nullptr;
    CRegisterPSMDialog* m_registerPsmDialog = nullptr;
    CRfCalibrationDialog* m_rfCalibrationDialog = nullptr;
    CLCPwidget* m_lcpPage = nullptr;
    CIDTwidget* m_idtPage = nullptr;
    CLogWidget* m_toolLogWidget = nullptr;
    CLogWidget* m_dongleLogWidget = nullptr;
    CHeartBeat* m_heartBeat = nullptr;
    cDownLoadFirmWare* m_download = nullptr;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    QMap<QString, QVariant>* m_config = nullptr;
    QString m_dongleName;
    // The port remembered across a download, and the stage of the reconnect after it.
    QString m_portName;
    QTimer m_reconnectTimer;
    bool m_reconnectStage = false;
    bool m_connected = false;
    bool m_lcpOpen = false;
    bool m_idtOpen = false;
    bool m_downloadStarted = false;
    bool m_pagesBuilt = false;
    bool m_expectBdAddress = false;
    int m_deviceType = -1;
};
