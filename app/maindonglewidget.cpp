#include "maindonglewidget.h"
#include "ui_maindonglewidget.h"

#include <QFileDialog>
#include <QPoint>
#include <QSettings>
#include <QTabBar>
#include <QTextBrowser>
#include <QToolButton>
#include <QVBoxLayout>

#include "adv/advertisingwidget.h"
#include "app/cselectdongledlg.h"
#include "app/flat/caboutdialog.h"
#include "app/flat/cflatmessage.h"
#include "firmware/cdownloadfirmware.h"
#include "gap/cconnectionwidget.h"
#include "gap/crfcalibrationdialog.h"
#include "gap/getinfodlg.h"
#include "gap/resolveaddressdialog.h"
#include "gap/clayerwidget.h"
#include "gatt/cgattwidget.h"
#include "iso/ccigciswidget.h"
#include "iso/masterbigwidget.h"
#include "iso/receivecisslavepara.h"
#include "iso/slavebigwidget.h"
#include "iso/slaveciswidget.h"
#include "l2cap/cregisterpsmdialog.h"
#include "link/cheartbeat.h"
#include "link/cmsg.h"
#include "log/clogwidget.h"
#include "log/logger.h"
#include "log/logmanager.h"
#include "rftest/cidtwidget.h"
#include "rftest/clcpwidget.h"
#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"
#include "schema/cutil.h"
#include "settings/cprofiletablemodel.h"
#include "settings/csettingdialog.h"

namespace {

const char* const kSourceFile = ".\\maindonglewidget";
const char* const kSettingsFile = ":/config/resources/conf/sample_config_5_0.xml";
// The dongle restarts on its new firmware, then its port is closed and listed again, then opened.
constexpr int kReconnectStageMs = 2000;
const char* const kCloseButtonStyle =
    "QToolButton{background-color:none;border: none;}QToolButton:hover{background-color:#ceebff; border: none;}";

// Queries that fill the settings map after every reset of the dongle, in the order they go out.
const char* const kStartupQueries[] = {
    "Device Type Get",
    "Device BD_Address Get",
    "Device Name Get",
    "Appearance Get",
    "Peripheral Preferred Connection Parameters Get",
    "Get Profile ID",
    "Get Whitelist",
};

// Commands that carry the static configuration to the dongle, in the order they go out.
const char* const kStaticCommands[] = {
    "L2CAP Parameters Settings",
    "Data Length Set",
    "Privacy Set",
    "Identity Address Set",
    "Device Name Set",
    "Appearance Set",
    "Peripheral Preferred Connection Parameters Set",
    "Local Irk Set",
    "Preferred PHY Set",
    "RF Path Compensation Set",
    "Set Profile ID",
    "Set Security Pair Enable",
};

} // namespace

MainDongleWidget::MainDongleWidget(QWidget* parent, const QString& name)
    : QWidget(parent)
    , ui(new Ui::MainDongleWidget)
    , m_dongleName(name)
{
    ui->setupUi(this);
    m_logger = new LogManager(m_dongleName);
    m_msg = new CMsg(m_logger);
    m_config = new QMap<QString, QVariant>;
    m_download = new cDownLoadFirmWare(m_msg, m_logger);
    connect(m_download, &cDownLoadFirmWare::sig_heartBeatRestart, this, &MainDongleWidget::on_downLoad_finished);
    connect(m_download, &cDownLoadFirmWare::sig_downloadFailed, this, &MainDongleWidget::on_downLoad_failed);
    connect(m_download, &cDownLoadFirmWare::sig_progress, this, &MainDongleWidget::showDownloadProgress);
    m_heartBeat = new CHeartBeat(m_msg, m_logger, 1000);
    connect(m_heartBeat, &CHeartBeat::dead, this, &MainDongleWidget::on_deviceDead);

    // Defaults seed the map once; values kept in config.ini replace them when the tab loads.
    {
        CSettingDialog settings(m_logger, m_config);
        if (!settings.parseConfigFile(kSettingsFile))
            return;
        settings.seedConfig();
    }

    ui->splitter->setStretchFactor(0, 7);
    ui->splitter->setStretchFactor(1, 3);
    ui->tabWidget->setCurrentIndex(0);
    onConnectionStatusChanged(false);

    connect(m_msg, &CMsg::sig_rcvCommonMsg, this, &MainDongleWidget::onRcvMsg);
    connect(m_msg, &CMsg::sig_rcvL2capMsg, this, &MainDongleWidget::onRcvMsg);
    connect(m_msg, &CMsg::sig_rcvGapMsg, this, &MainDongleWidget::onRcvMsg);
    connect(m_msg, &CMsg::sig_rcvSmMsg, this, &MainDongleWidget::onRcvMsg);
    connect(m_msg, &CMsg::sig_rcvRfuMsg, this, &MainDongleWidget::onRcvMsg);
    connect(m_msg, &CMsg::sig_rcvDongleLog, this, &MainDongleWidget::onRcvDongleLog);
    connect(ui->tabWidget, &QTabWidget::currentChanged, this, &MainDongleWidget::onTabWidgetCurrentChanged);

    fillProcTable();
}

MainDongleWidget::~MainDongleWidget()
{
    // The port goes before the logger: closing it may still report through the log.
    delete m_heartBeat;
    delete m_download;
    delete m_msg;
    delete m_logger;
    delete m_config;
    delete ui;
}

void MainDongleWidget::fillProcTable()
{
    procTable = {
        {"BB@00@01", &MainDongleWidget::sdkProc},
        {"CC@00@02", &MainDongleWidget::resetCompleteProc},
        {"DD@00@03", &MainDongleWidget::deviceTypeProc},
        {"BB@01@41", &MainDongleWidget::lastSdkProc},
        {"BB@01@45", &MainDongleWidget::lastSdkProc},
        {"BB@01@47", &MainDongleWidget::sdkProc},
        {"DD@01@48", &MainDongleWidget::identityAddressProc},
        {"BB@01@59", &MainDongleWidget::lastSdkProc},
        {"BB@01@5B", &MainDongleWidget::sdkProc},
        {"DD@01@5C", &MainDongleWidget::deviceNameProc},
        {"BB@01@5D", &MainDongleWidget::lastSdkProc},
        {"BB@01@5F", &MainDongleWidget::sdkProc},
        {"DD@01@60", &MainDongleWidget::appearanceProc},
        {"BB@01@61", &MainDongleWidget::lastSdkProc},
        {"BB@01@63", &MainDongleWidget::sdkProc},
        {"DD@01@64", &MainDongleWidget::preferredParametersProc},
        {"BB@01@65", &MainDongleWidget::lastSdkProc},
        {"BB@01@67", &MainDongleWidget::lastSdkProc},
        {"BB@01@69", &MainDongleWidget::sdkProc},
        {"DD@01@6A", &MainDongleWidget::channelMapSetProc},
        {"BB@01@6B", &MainDongleWidget::lastSdkProc},
        {"BB@01@6D", &MainDongleWidget::lastSdkProc},
        {"BB@02@01", &MainDongleWidget::lastSdkProc},
        {"BB@02@09", &MainDongleWidget::lastSdkProc},
        {"BB@04@11", &MainDongleWidget::lastSdkProc},
        {"BB@05@01", &MainDongleWidget::sdkProc},
        {"DD@05@02", &MainDongleWidget::profileListProc},
        {"BB@05@03", &MainDongleWidget::sdkProc},
        {"DD@05@04", &MainDongleWidget::profileSetProc},
        {"BB@06@05", &MainDongleWidget::sdkProc},
        {"BB@06@06", &MainDongleWidget::sdkProc},
        {"DD@06@10", &MainDongleWidget::incomingCisProc},
        {"DD@06@03", &MainDongleWidget::slaveCisProc},
    };
}

void MainDongleWidget::buildPages()
{
    if (m_pagesBuilt)
        return;
    ui->splitter->setStretchFactor(0, 7);
    ui->splitter->setStretchFactor(1, 3);
    ui->tabWidget->setCurrentIndex(0);
    onConnectionStatusChanged(false);

    m_connectionWidget = new CConnectionWidget(m_msg, m_logger, m_config, &m_dongleName, this);
    m_advertisingWidget = new advertisingWidget(m_msg, m_logger, m_config, this);
    m_registerPsmDialog = new CRegisterPSMDialog(m_msg, m_logger, this);
    m_toolLogWidget = new CLogWidget(m_msg, m_logger, 0);
    m_toolLogWidget->setTitle("Tool Log");
    m_dongleLogWidget = new CLogWidget(m_msg, m_logger, 1);
    m_dongleLogWidget->setTitle("Dongle Log");
    m_logger->addLogger(new TextBrowserLogger("main_logger", m_toolLogWidget->textBrowser()));
    m_logger->setMainLogger("main_logger");
    m_logger->addDongleLogger(
        new TextBrowserLogger("dongle_text_browser_logger", m_dongleLogWidget->textBrowser()));
    ui->tabMaster->layout()->addWidget(m_connectionWidget);
    ui->tabSlave->layout()->addWidget(m_advertisingWidget);
    connect(m_connectionWidget, &CConnectionWidget::connectSuccess, this, &MainDongleWidget::on_connectSuccess);
    connect(this, &MainDongleWidget::sig_OpenLCP, this, &MainDongleWidget::onOpenLCP);
    connect(this, &MainDongleWidget::sig_OpenIDT, this, &MainDongleWidget::onOpenIDT);
    connect(m_connectionWidget, &CConnectionWidget::disConnectRequest, this,
            &MainDongleWidget::on_disConnectRequest);
    connect(m_connectionWidget, &CConnectionWidget::cigcisSuccess, this, &MainDongleWidget::on_cigcisSuccess);
    connect(m_connectionWidget, &CConnectionWidget::toCIGCISWidget, this, &MainDongleWidget::on_toCIGCISWidget);
    connect(m_connectionWidget, &CConnectionWidget::masterBIGSucceed, this, &MainDongleWidget::on_masterBIGSucceed);
    connect(m_advertisingWidget, &advertisingWidget::sig_slaveBIGSucceed, this, &MainDongleWidget::on_slaveBIGSucceed);
    connect(m_msg, &CMsg::sig_rcvCommonMsg, m_connectionWidget, &CConnectionWidget::onRcvMsg);
    connect(m_msg, &CMsg::sig_rcvGapMsg, m_connectionWidget, &CConnectionWidget::onRcvMsg);
    connect(m_msg, &CMsg::sig_rcvGapMsg, m_advertisingWidget, &advertisingWidget::onRcvMsg);

    ui->tabToolLog->layout()->addWidget(m_toolLogWidget);
    ui->tabDongleLog->layout()->addWidget(m_dongleLogWidget);
    // Stretch factors share only the space left over by size hints: start at 7:3 outright.
    ui->splitter->setSizes({7000, 3000});
    m_pagesBuilt = true;
}

void MainDongleWidget::prepareDelete()
{
    if (m_lcpOpen)
        onCloseLCP();
    if (m_idtOpen)
        onCloseIDT();
    if (m_msg->isOpen())
        m_msg->closePort();
    m_heartBeat->stop();
}

void MainDongleWidget::loadConfig(QSettings& settings, const QString& group)
{
    settings.beginGroup(group);
    const QStringList keys = settings.childKeys();
    for (const QString& key : keys) {
        QVariant value = settings.value(key);
        // Unsigned settings are kept as QPoint(x, 0) in the file so that they keep their type.
        if (value.type() == QVariant::Point)
            value = QVariant(uint(value.toPoint().x()));
        m_config->insert(key, value);
    }
    settings.endGroup();
}

void MainDongleWidget::notifySerialPortArrived(const QString& portName)
{
    emit sig_SerialPortArrived(portName);
}

void MainDongleWidget::notifySerialPortRemoved(const QString& portName)
{
    emit showThisDongleTab(m_dongleName);
    emit sig_SerialPortRemoved(portName);
}

void MainDongleWidget::on_configDongleName(const QString& dongleName)
{
    m_dongleName = dongleName;
    emit updateDongleName(this, dongleName);
}

CSelectDongleDialog* MainDongleWidget::selectDialog()
{
    if (!m_selectDialog) {
        m_selectDialog = new CSelectDongleDialog(m_msg, m_logger, this);
        connect(m_selectDialog, &CSelectDongleDialog::sig_connectionStatusChanged, this,
                &MainDongleWidget::onConnectionStatusChanged);
    }
    return m_selectDialog;
}

void MainDongleWidget::on_toolButton_selectDongle_clicked()
{
    selectDialog()->exec();
}

void MainDongleWidget::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

void MainDongleWidget::onRcvDongleLog(const QByteArray& rcvMsg)
{
    m_logger->logDongle(QString::fromUtf8(rcvMsg.mid(5)));
}

void MainDongleWidget::onConnectionStatusChanged(bool connectionStatus)
{
    m_connected = connectionStatus;
    setToolsEnabled(connectionStatus);
    if (!connectionStatus) {
        m_heartBeat->stop();
        resetModePages();
        return;
    }
    m_heartBeat->restart();
    if (!CCommand::sendMsg(m_msg, m_logger, "Reset", {}, {}))
        CCommand::logSendFailed(m_logger, "Reset");
}

// The port stays open and the heartbeat stopped: the user recovers with Reset or a reconnect.
void MainDongleWidget::on_deviceDead()
{
    emit showThisDongleTab(m_dongleName);
    CFlatMessage::information(this, m_dongleName + ": Firmware Error",
                              "Some Error happened on Firmware!\r\nPlease Press Reset Button on the Dongle.");
    m_logger->log("Firmware Error", 4);
}

void MainDongleWidget::setToolsEnabled(bool enabled)
{
    const auto buttons = ui->toolBar->findChildren<QToolButton*>();
    for (QToolButton* button : buttons) {
        if (button != ui->toolButton_selectDongle)
            button->setEnabled(enabled);
    }
    ui->tabWidget->setEnabled(enabled);
    ui->tabWidget_log->setEnabled(enabled);
}

void MainDongleWidget::on_toolButton_configureSettings_clicked()
{
    CSettingDialog dialog(m_logger, m_config, this);
    connect(&dialog, &CSettingDialog::staticSettingsUpdated, this, &MainDongleWidget::on_staticConfigSet);
    connect(&dialog, &CSettingDialog::dynamicSettingsUpdated, this,
            &MainDongleWidget::on_DynamicConfigApply);
    connect(&dialog, &CSettingDialog::sig_isPairEnable, this, &MainDongleWidget::on_isPairEnable);
    if (m_connectionWidget)
        connect(&dialog, &CSettingDialog::sig_openAutomaticConnect, m_connectionWidget,
                &CConnectionWidget::on_openAutoConnect);
    dialog.setAirActionCheck([this] { return isAirActionOn(); });
    if (!dialog.parseConfigFile(kSettingsFile))
        return;
    dialog.fillControls();
    dialog.exec();
}

void MainDongleWidget::on_toolButton_registerPSM_clicked()
{
    if (m_registerPsmDialog)
        m_registerPsmDialog->exec();
}

void MainDongleWidget::on_toolButton_about_clicked()
{
    CAboutDialog about(this);
    about.exec();
}

void MainDongleWidget::on_toolButton_getInfo_clicked()
{
    GetInfoDlg dialog(m_msg, m_logger, this);
    dialog.startQuery();
    dialog.exec();
}

void MainDongleWidget::on_toolButton_RfCalibraion_clicked()
{
    if (!m_rfCalibrationDialog)
        m_rfCalibrationDialog = new CRfCalibrationDialog(m_msg, m_logger, this);
    m_rfCalibrationDialog->exec();
}

void MainDongleWidget::on_toolButton_address_clicked()
{
    ResolveAddressDialog dialog(m_msg, m_logger, this);
    dialog.exec();
}

void MainDongleWidget::on_toolButton_reset_clicked()
{
    if (!CCommand::sendMsg(m_msg, m_logger, "Reset", {}, {}))
        CCommand::logSendFailed(m_logger, "Reset");
}

void MainDongleWidget::on_toolButton_download_clicked()
{
    // Only the two chip families whose boot loader the tool knows can take new firmware.
    if (m_deviceType != 0 && m_deviceType != 1) {
        m_logger->log("this firmware do not support downloading.", 4);
        return;
    }
    m_downloadStarted = true;
    const QString path = QFileDialog::getOpenFileName(this, QString(), QString(), QStringLiteral("*.*"));
    if (path.isEmpty())
        return;
    if (m_download->checkFirmwareFile(path) != 0) {
        m_logger->log("selected firmware wrong!", 4);
        return;
    }
    setToolsEnabled(false);
    ui->toolButton_selectDongle->setEnabled(false);
    m_heartBeat->stop();
    m_download->setDeviceType(m_deviceType);
    m_download->start(path);
}

void MainDongleWidget::showDownloadProgress(quint32 sentBytes, quint32 imageSize)
{
    const bool bootImage = m_download->currentFile().startsWith(QLatin1Char(':'));
    ui->progressBar_download->setFormat((bootImage ? QStringLiteral("Boot image: ") : QStringLiteral("Firmware: "))
                                        + QStringLiteral("%p% of %m bytes"));
    ui->progressBar_download->setRange(0, int(imageSize));
    ui->progressBar_download->setValue(int(sentBytes));
    ui->progressBar_download->setVisible(true);
}

void MainDongleWidget::on_downLoad_finished()
{
    m_portName = m_msg->portName();
    m_reconnectTimer.start(kReconnectStageMs);
    connect(&m_reconnectTimer, &QTimer::timeout, this, &MainDongleWidget::on_reConnect, Qt::UniqueConnection);
    m_reconnectStage = false;
}

void MainDongleWidget::on_reConnect()
{
    if (!m_reconnectStage) {
        selectDialog()->closePort();
        selectDialog()->on_pb_Refresh_clicked();
        m_reconnectStage = true;
        return;
    }
    selectDialog()->reconnect(m_portName);
    disconnect(&m_reconnectTimer, &QTimer::timeout, this, &MainDongleWidget::on_reConnect);
    m_reconnectTimer.stop();
    m_downloadStarted = false;
    m_heartBeat->restart();
    setToolsEnabled(true);
    ui->toolButton_selectDongle->setEnabled(true);
    ui->progressBar_download->setVisible(false);
    m_reconnectStage = false;
}

void MainDongleWidget::on_downLoad_failed()
{
    m_portName = m_msg->portName();
    selectDialog()->closePort();
    selectDialog()->on_pb_Refresh_clicked();
    ui->toolButton_selectDongle->setEnabled(true);
    ui->progressBar_download->setVisible(false);
}

void MainDongleWidget::sdkProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
}

void MainDongleWidget::lastSdkProc(const QByteArray& frame)
{
    CCommand::lastSDKProc(m_logger, frame);
}

void MainDongleWidget::resetCompleteProc(const QByteArray& frame)
{
    CCommand::lastCompleteProc(m_logger, frame);
    if (frame.size() < 6 || frame.at(5) != 0)
        return;
    // Connections and streams did not survive the reset: their pages go.
    for (int index = ui->tabWidget->count() - 1; index >= 0; --index) {
        QWidget* page = ui->tabWidget->widget(index);
        if (qobject_cast<CCigCisWidget*>(page))
            removeMasterPageTab(index);
        else if (qobject_cast<CLayerWidget*>(page) || qobject_cast<SlaveCISWidget*>(page)
                 || qobject_cast<CBigPage*>(page))
            removePageTab(index);
    }
    resetModePages();
    ui->tabWidget->setCurrentIndex(0);
    if (m_connectionWidget)
        m_connectionWidget->reset();
    if (m_advertisingWidget)
        m_advertisingWidget->reset();
    if (m_registerPsmDialog)
        m_registerPsmDialog->reset();
    if (!m_downloadStarted)
        m_heartBeat->restart();
    sendStartupSequence();
}

// The test modes ended with the dongle's reset or loss; their pages stay, ready to start again.
void MainDongleWidget::resetModePages()
{
    if (m_lcpOpen && m_lcpPage) {
        m_logger->log("Reset LCP Dlg", 1);
        m_lcpPage->reset();
    }
    if (m_idtOpen && m_idtPage) {
        m_logger->log("Reset IDT Dlg", 1);
        m_idtPage->reset();
    }
}

void MainDongleWidget::sendStartupSequence()
{
    m_deviceType = -1;
    for (const char* name : kStartupQueries) {
        if (!CCommand::sendMsg(m_msg, m_logger, name, {}, {}))
            CCommand::logSendFailed(m_logger, name);
        // The address answer that follows this query is the dongle's own identity.
        if (qstrcmp(name, "Device BD_Address Get") == 0)
            m_expectBdAddress = true;
    }
}

void MainDongleWidget::deviceTypeProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    const QByteArray type = fields.value("type");
    if (!type.isEmpty())
        m_deviceType = quint8(type.at(0));
}

void MainDongleWidget::identityAddressProc(const QByteArray& frame)
{
    if (!m_expectBdAddress)
        return;
    m_expectBdAddress = false;
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);

    const QByteArray address = CUtil::reversed(fields.value("identity_addr"));
    m_config->insert("identity_addr", QString::fromLatin1(address.toHex().toUpper()));

    const QByteArray type = fields.value("identity_addr_type");
    if (type.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__,
                                   "MainDongleWidget::identityAddressProc", 4);
        return;
    }
    // Unsigned, like the setting it overrides, so that config.ini keeps its type.
    m_config->insert("identity_addr_type", uint(quint8(type.at(0))));
}

void MainDongleWidget::deviceNameProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);

    const QString id = CCommand::uplinkId(frame);
    const QByteArray payload = frame.mid(5);
    if (payload.isEmpty()) {
        m_logger->log("Uplink Command: " + id + " is wrong.", 4);
        return;
    }
    if (quint8(payload.at(0)) + 1 != payload.size()) {
        m_logger->log("uplink msg: " + id + " is wrong.", 4);
        return;
    }
    m_config->insert("device_name", QString::fromLatin1(CUtil::reversed(payload.mid(1)).toHex()));
}

void MainDongleWidget::appearanceProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    quint64 appearance = 0;
    CUtil::arrayToValue(0, fields.value("appearance"), appearance);
    m_config->insert("appearance", QString::number(appearance, 16));
}

void MainDongleWidget::preferredParametersProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    for (auto field = fields.cbegin(); field != fields.cend(); ++field) {
        quint64 value = 0;
        CUtil::arrayToValue(0, field.value(), value);
        m_config->insert(field.key(), QStringLiteral("%1").arg(value, 4, 16, QLatin1Char('0')));
    }
}

void MainDongleWidget::profileListProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);

    // Each item gets a selection flag in front of its length byte: flag, length, data.
    const QByteArray items = frame.mid(5);
    QByteArray profile;
    for (int at = 0; at < items.size();) {
        const int length = quint8(items.at(at));
        profile.append('\0');
        profile.append(items.mid(at, length + 1));
        at += length + 1;
    }
    m_config->insert("profile", profile);
}

void MainDongleWidget::channelMapSetProc(const QByteArray& frame)
{
    statusResultProc(frame, "MainDongleWidget::channelMapSetProc");
}

void MainDongleWidget::profileSetProc(const QByteArray& frame)
{
    statusResultProc(frame, "MainDongleWidget::profileSetProc");
}

void MainDongleWidget::statusResultProc(const QByteArray& frame, const char* function)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    const QByteArray status = fields.value("status");
    if (status.size() != 1) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__, function, 4);
        return;
    }
    if (status.at(0) != 0)
        CCommand::logUplinkResult(m_logger, frame, quint8(status.at(0)));
}

void MainDongleWidget::on_staticConfigSet()
{
    FieldValueMap fields = *m_config;

    // Only the profiles whose selection flag is set go to the dongle, one id byte each.
    QByteArray selected;
    for (const CProfileTableModel::Row& row : CProfileTableModel::parseRows(fields.value("profile").toByteArray())) {
        if (row.checkState == Qt::Checked)
            selected.append(char(row.id));
    }
    fields.insert("profile", selected);

    for (const char* name : kStaticCommands) {
        if (qstrcmp(name, "Device Name Set") == 0) {
            sendDeviceName();
            continue;
        }
        if (!CCommand::sendMsg(m_msg, m_logger, name, fields, {}))
            CCommand::logSendFailed(m_logger, name);
    }
}

// The name has a variable length, which the command rows can't express: the frame is built here.
void MainDongleWidget::sendDeviceName()
{
    const QString commandName = "Device Name Set";
    const QStringList id =
        CCfgFileParse::instance()->m_downlinkNameToId.value(commandName).split('@');
    bool moduleOk = false;
    bool opcodeOk = false;
    const int module = id.value(0).toInt(&moduleOk, 16);
    const int opcode = id.value(1).toInt(&opcodeOk, 16);

    QByteArray name;
    const FieldValueMap value{{"device_name", m_config->value("device_name").toString()}};
    const bool nameOk = CCommand::appendFieldValue(m_logger, value, CmdField{"device_name", 0, 0, {}}, name);
    if (!moduleOk || !opcodeOk || !nameOk || name.size() > 0xFF) {
        m_logger->log("Downlink Command: " + commandName + " send failed.", 4);
        return;
    }

    const QByteArray body = char(name.size()) + name;
    QByteArray frame;
    frame.append(char(0xAA)).append(char(module)).append(char(opcode));
    frame.append(CUtil::valueToArray(0, quint64(body.size()), 2)).append(body);
    if (m_msg->sendMsg(frame) != 0) {
        m_logger->log("Downlink Command: " + commandName + " send failed.", 4);
        return;
    }
    m_logger->log("Downlink Command Name: " + commandName + "\r\n" + "Raw Data: "
                      + QString::fromLatin1(frame.toHex()) + "\r\n" + "Field Data: ",
                  2);
}

void MainDongleWidget::on_DynamicConfigApply()
{
    if (!CCommand::sendMsg(m_msg, m_logger, "Set Security Parameter", *m_config, {}))
        CCommand::logSendFailed(m_logger, "Set Security Parameter");
}

void MainDongleWidget::on_isPairEnable(bool pairEnable)
{
    emit sig_pairEnable(pairEnable);
}

// Nothing sends through the controller: pages talk to the codec themselves.
void MainDongleWidget::on_sendCommand()
{
}

// Settings can't change under a link, a periodic sync, a scan or an automatic connection in
// progress. Five conditions, in this order: connections, periodic syncs standing or being made,
// scanning, a running advertising set, auto connect.
bool MainDongleWidget::isAirActionOn() const
{
    if (!m_connectionWidget)
        return false;
    return m_connectionWidget->connectionCount() > 0 || m_connectionWidget->isSyncing()
           || m_connectionWidget->isScanning()
           || m_advertisingWidget->hasRunningSet() || m_connectionWidget->isAutoConnecting();
}

QTabWidget* MainDongleWidget::pageTabs() const
{
    return ui->tabWidget;
}

int MainDongleWidget::slaveTabIndex() const
{
    for (int index = 0; index < ui->tabWidget->count(); ++index) {
        if (ui->tabWidget->tabText(index).compare(QLatin1String("Slave"), Qt::CaseInsensitive) == 0)
            return index;
    }
    return -1;
}

void MainDongleWidget::on_connectSuccess(uint8_t role, QString addr, CLayerWidget* dialog)
{
    // Master links stand before "Slave", where that tab stood; links where the dongle is the
    // peripheral go at the end.
    const int slave = slaveTabIndex();
    const int place = role == 0 ? qMax(slave, 0) : ui->tabWidget->count();
    const int index = ui->tabWidget->insertTab(place, dialog, "Peer Address: " + addr);
    if (index < 0) {
        m_logger->log("Create connect tab failed. ", 4);
        return;
    }
    ui->tabWidget->setCurrentIndex(index);

    connect(addCloseButton(index, "Disconnect"), &QToolButton::clicked, dialog, &CLayerWidget::disconnect);
    connect(this, &MainDongleWidget::sig_pairEnable, dialog->gattPage(), &CGattWidget::on_pairEnable);
    connect(dialog, &CLayerWidget::sig_showDongleTab, this, &MainDongleWidget::showThisDongleTab);
}

void MainDongleWidget::on_disConnectRequest(uint8_t condix)
{
    for (int index = 0; index < ui->tabWidget->count(); ++index) {
        auto* layer = qobject_cast<CLayerWidget*>(ui->tabWidget->widget(index));
        if (!layer || layer->condix() != condix)
            continue;
        const uint8_t role = layer->role();
        removePageTab(index);
        if (role == 0)
            ui->tabWidget->setCurrentIndex(0);
        else
            ui->tabWidget->setCurrentIndex(slaveTabIndex());
        return;
    }
}

void MainDongleWidget::on_cigcisSuccess(CCigCisWidget* dialog)
{
    const int index = ui->tabWidget->insertTab(qMax(slaveTabIndex(), 0), dialog, "Master CIG and CIS");
    if (index < 0) {
        m_logger->log("Create CIG and CIS tab failed. ", 4);
        return;
    }
    // The user asked for the page: it comes to the front, as a new connection's does.
    ui->tabWidget->setCurrentIndex(index);
    connect(addCloseButton(index, "Disconnect"), &QToolButton::clicked, this,
            &MainDongleWidget::onCloseTabButtonClicked);
}

void MainDongleWidget::on_toCIGCISWidget()
{
    for (int index = 0; index < ui->tabWidget->count(); ++index) {
        if (qobject_cast<CCigCisWidget*>(ui->tabWidget->widget(index))) {
            ui->tabWidget->setCurrentIndex(index);
            return;
        }
    }
}

template <class Page>
int MainDongleWidget::tabOf() const
{
    for (int index = 0; index < ui->tabWidget->count(); ++index) {
        if (qobject_cast<Page*>(ui->tabWidget->widget(index)))
            return index;
    }
    return -1;
}

template <class Page>
Page* MainDongleWidget::showBigPage(const QString& title, int place)
{
    int index = tabOf<Page>();
    if (index >= 0) {
        ui->tabWidget->setCurrentIndex(index);
        return static_cast<Page*>(ui->tabWidget->widget(index));
    }
    auto* page = new Page(m_msg, m_logger, m_config);
    index = ui->tabWidget->insertTab(place, page, title);
    if (index < 0) {
        m_logger->log("Create BIG and BIS tab failed. ", 4);
        delete page;
        return nullptr;
    }
    ui->tabWidget->setCurrentIndex(index);
    connect(addCloseButton(index, "Disconnect"), &QToolButton::clicked, this,
            &MainDongleWidget::onCloseTabButtonClicked);
    return page;
}

void MainDongleWidget::on_masterBIGSucceed(uint16_t syncValue)
{
    if (auto* page = showBigPage<MasterBIGWidget>("BIG And BIS  ", qMax(slaveTabIndex(), 0)))
        page->setSyncValue(syncValue);
}

void MainDongleWidget::on_slaveBIGSucceed(uint8_t advIndex)
{
    if (auto* page = showBigPage<SlaveBIGWidget>("BIG  ", ui->tabWidget->count()))
        page->setAdvIndex(QString::number(advIndex));
}

void MainDongleWidget::incomingCisProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    m_incomingCisHandle = 0;
    CUtil::arrayToValue(0, fields.value("cis_connection_handle"), m_incomingCisHandle);
    emit showThisDongleTab(m_dongleName);
    ReceiveCISSlavePara dialog(m_msg, m_logger, fields, this);
    dialog.exec();
}

void MainDongleWidget::slaveCisProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    quint64 handle = 0;
    CUtil::arrayToValue(0, fields.value("cis_connection_handle"), handle);
    // Streams the dongle created as central are the CIG/CIS page's.
    if (handle != m_incomingCisHandle)
        return;
    quint64 status = 0;
    CUtil::arrayToValue(0, fields.value("status"), status);
    if (status != 0) {
        CCommand::logCompleteResult(m_logger, frame, int(status));
        return;
    }
    auto* page = new SlaveCISWidget(m_msg, m_logger, m_config, fields);
    connect(page, &SlaveCISWidget::disConnectSlaveCIS, this, &MainDongleWidget::on_slaveCISDisconnect);
    const int index = ui->tabWidget->addTab(page, "Slave CIG and CIS");
    if (index < 0) {
        m_logger->log("Create CIG and CIS tab failed. ", 4);
        delete page;
        return;
    }
    ui->tabWidget->setCurrentIndex(index);
    connect(addCloseButton(index, "Disconnect"), &QToolButton::clicked, page, &SlaveCISWidget::onSlaveDisconnect);
}

void MainDongleWidget::on_slaveCISDisconnect(uint64_t handle)
{
    for (int index = 0; index < ui->tabWidget->count(); ++index) {
        auto* page = qobject_cast<SlaveCISWidget*>(ui->tabWidget->widget(index));
        if (!page || page->handle() != handle)
            continue;
        disconnect(page, &SlaveCISWidget::disConnectSlaveCIS, this, &MainDongleWidget::on_slaveCISDisconnect);
        removePageTab(index);
        ui->tabWidget->setCurrentIndex(slaveTabIndex());
        return;
    }
}

void MainDongleWidget::onCloseTabButtonClicked()
{
    QTabBar* bar = ui->tabWidget->tabBar();
    for (int index = 0; index < ui->tabWidget->count(); ++index) {
        if (bar->tabButton(index, QTabBar::RightSide) != sender())
            continue;
        auto* cigCis = qobject_cast<CCigCisWidget*>(ui->tabWidget->widget(index));
        if (cigCis && cigCis->hasCig()) {
            CFlatMessage::information(this, "ERROR", "Please remove CIG before close the CIS and CIS table.");
            return;
        }
        auto* big = qobject_cast<CBigPage*>(ui->tabWidget->widget(index));
        if (big && big->hasRunningBig()) {
            CFlatMessage::information(this, "ERROR", "Please terminate BIG before close the BIG and BIS table.");
            return;
        }
        removeMasterPageTab(index);
        return;
    }
    m_logger->log("Close tab failed.", 4);
}

void MainDongleWidget::removeMasterPageTab(int index)
{
    if (qobject_cast<CCigCisWidget*>(ui->tabWidget->widget(index)) && m_connectionWidget)
        m_connectionWidget->setCigCisOpen(false);
    removePageTab(index);
}

QToolButton* MainDongleWidget::addCloseButton(int index, const QString& toolTip)
{
    auto* close = new QToolButton(ui->tabWidget);
    close->setIcon(QIcon(":/icons/Close"));
    close->setToolTip(toolTip);
    close->setStyleSheet(kCloseButtonStyle);
    ui->tabWidget->tabBar()->setTabButton(index, QTabBar::RightSide, close);
    return close;
}

void MainDongleWidget::on_toolButton_lcp_clicked()
{
    m_logger->log("click lcp", 1);
    if (m_lcpOpen)
        return;
    m_lcpOpen = true;
    m_lcpPage = new CLCPwidget(m_msg, m_logger, &m_dongleName);
    emit sig_OpenLCP(QString::asprintf("%-10s", "LCP"), m_lcpPage);
}

void MainDongleWidget::on_toolButton_idt_clicked()
{
    m_logger->log("click IDT", 1);
    if (m_idtOpen)
        return;
    m_idtOpen = true;
    m_idtPage = new CIDTwidget(m_msg, m_logger, &m_dongleName);
    emit sig_OpenIDT(QString::asprintf("%-10s", "IDT"), m_idtPage);
}

void MainDongleWidget::onOpenLCP(const QString& strName, CLCPwidget* pDialog)
{
    openModeTab(strName, pDialog, "close LCP", &MainDongleWidget::onCloseLCP, &CMsg::sig_rcvLCPMsg);
}

void MainDongleWidget::onOpenIDT(const QString& strName, CIDTwidget* pDialog)
{
    openModeTab(strName, pDialog, "close IDT", &MainDongleWidget::onCloseIDT, &CMsg::sig_rcvIDTMsg);
}

void MainDongleWidget::openModeTab(const QString& name, CRfTestWidget* page, const QString& toolTip,
                                   void (MainDongleWidget::*close)(), void (CMsg::*received)(QByteArray))
{
    const int index = ui->tabWidget->addTab(page, name);
    ui->tabWidget->setCurrentIndex(index);
    connect(addCloseButton(index, toolTip), &QToolButton::clicked, this, close);
    connect(page, &CRfTestWidget::sig_showDongleTab, this, &MainDongleWidget::showThisDongleTab);
    connect(m_msg, received, page, &CRfTestWidget::onRcvMsg);
}

void MainDongleWidget::onCloseLCP()
{
    m_logger->log("click close LCP", 1);
    closeModeTab(m_lcpPage, &CMsg::sig_rcvLCPMsg);
    m_lcpPage = nullptr;
    m_lcpOpen = false;
}

void MainDongleWidget::onCloseIDT()
{
    m_logger->log("click close IDT", 1);
    closeModeTab(m_idtPage, &CMsg::sig_rcvIDTMsg);
    m_idtPage = nullptr;
    m_idtOpen = false;
}

// The mode is stopped on the dongle while the page can still send.
void MainDongleWidget::closeModeTab(CRfTestWidget* page, void (CMsg::*received)(QByteArray))
{
    const int index = page ? ui->tabWidget->indexOf(page) : -1;
    if (index >= 0) {
        page->stop();
        disconnect(m_msg, received, page, &CRfTestWidget::onRcvMsg);
        removePageTab(index);
    }
    ui->tabWidget->setCurrentIndex(0);
}

void MainDongleWidget::removePageTab(int index)
{
    QWidget* page = ui->tabWidget->widget(index);
    QWidget* close = ui->tabWidget->tabBar()->tabButton(index, QTabBar::RightSide);
    // The tab bar deletes the tab's button along with the tab.
    ui->tabWidget->removeTab(index);
    page->deleteLater();
    m_logger->log("delete widget", 1);
    if (!close)
        m_logger->log("delete close button failed", 1);
}

void MainDongleWidget::onTabWidgetCurrentChanged(int index)
{
    for (int at = 0; at < ui->tabWidget->count(); ++at) {
        if (auto* layer = qobject_cast<CLayerWidget*>(ui->tabWidget->widget(at)))
            layer->setCurrent(at == index);
        else if (auto* slaveCis = qobject_cast<SlaveCISWidget*>(ui->tabWidget->widget(at)))
            slaveCis->setCurrentTab(at == index);
    }
}
