#include "cselectdongledlg.h"

#include <QRegularExpression>
#include <QTimer>
#include <QVBoxLayout>

#include "app/flat/cflatmessage.h"
#include "app/maindonglewidget.h"
#include "link/cmsg.h"
#include "link/portregistry.h"
#include "log/logmanager.h"
#include "schema/ccommand.h"
#include "ui_cselectdongledlg.h"

namespace {

const char* const kSourceFile = ".\\cselectdongledlg";
const char* const kRootText = "Supported Targets";

} // namespace

CSelectDongleDialog::CSelectDongleDialog(CMsg* msg, LogManager* logger, QWidget* parent)
    : CFlatDialog(QStringLiteral("Select BLE Dongle Target"), parent)
    , ui(new Ui::CSelectDongleDialog)
    , m_msg(msg)
    , m_logger(logger)
{
    auto* body = new QWidget(contentFrame());
    ui->setupUi(body);
    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(body);
    ui->progressBar->hide();

    // Port events come queued, so that they never interrupt one of this dialog's slots.
    if (auto* dongle = qobject_cast<MainDongleWidget*>(parent)) {
        connect(dongle, &MainDongleWidget::sig_SerialPortArrived, this,
                &CSelectDongleDialog::on_SerialPortArrived, Qt::QueuedConnection);
        connect(dongle, &MainDongleWidget::sig_SerialPortRemoved, this,
                &CSelectDongleDialog::on_SerialPortRemoved, Qt::QueuedConnection);
    }
    connect(ui->deviceTree, &QTreeWidget::itemSelectionChanged, this,
            &CSelectDongleDialog::on_DeviceTreeSelectionChanged);
    connect(ui->pb_Refresh, &QPushButton::clicked, this, &CSelectDongleDialog::on_pb_Refresh_clicked);
    connect(ui->PB_Connect, &QPushButton::clicked, this, &CSelectDongleDialog::on_PB_Connect_clicked);
    connect(ui->PB_Close, &QPushButton::clicked, this, &CSelectDongleDialog::on_PB_Close_clicked);

    m_rootItem = new QTreeWidgetItem(ui->deviceTree, {QString::fromLatin1(kRootText)});
    m_rootItem->setExpanded(true);
    m_allPorts = PortRegistry::availablePorts();
    QTimer::singleShot(2000, this, &CSelectDongleDialog::on_pb_Refresh_clicked);
}

CSelectDongleDialog::~CSelectDongleDialog()
{
    if (m_refreshThread)
        m_refreshThread->wait();
    delete ui;
}

void CSelectDongleDialog::internalError(const char* function, int line)
{
    CCommand::logInternalError(m_logger, kSourceFile, line, QString::fromLatin1(function));
}

void CSelectDongleDialog::on_pb_Refresh_clicked()
{
    if (m_msg->isOpen()) {
        m_logger->log("CSelectDongleDialog::on_pb_Refresh_pressed: the serial port has been opened.", 1);
        return;
    }
    m_dongles.clear();
    m_refreshPorts = m_allPorts;
    if (m_refreshThread) {
        internalError("CSelectDongleDialog::on_pb_Refresh_clicked", __LINE__);
        return;
    }
    m_refreshThread = new RefreshDongleThread(this);
    m_refreshThread->setPorts(m_refreshPorts);
    connect(m_refreshThread, &QThread::finished, this, &CSelectDongleDialog::on_refreshFinish);
    m_refreshThread->start();
    ui->PB_Connect->setEnabled(false);
    ui->pb_Refresh->setEnabled(false);
    ui->deviceTree->setEnabled(false);
    ui->progressBar->show();
}

void CSelectDongleDialog::on_refreshFinish()
{
    if (!m_refreshThread) {
        internalError("CSelectDongleDialog::on_refreshFinish", __LINE__);
        return;
    }
    const QList<DongleEntry> results = m_refreshThread->results();
    for (const DongleEntry& entry : results)
        m_dongles.insert(entry.portName, entry.info);
    delete m_refreshThread;
    m_refreshThread = nullptr;

    ui->PB_Connect->setEnabled(true);
    ui->pb_Refresh->setEnabled(true);
    ui->deviceTree->setEnabled(true);
    ui->progressBar->hide();
    rebuildTree();
    if (m_rootItem->childCount() > 0) {
        ui->deviceTree->setFocus();
        ui->deviceTree->setCurrentItem(m_rootItem->child(0));
    }
    on_DeviceTreeSelectionChanged();
}

void CSelectDongleDialog::rebuildTree()
{
    const QTreeWidgetItem* current = ui->deviceTree->currentItem();
    const QString selectedText = current ? current->text(0) : QString();
    qDeleteAll(m_rootItem->takeChildren());
    for (auto it = m_dongles.cbegin(); it != m_dongles.cend(); ++it) {
        auto* item = new QTreeWidgetItem(m_rootItem, {it.value().product + '(' + it.key() + ')'});
        if (item->text(0) == selectedText)
            ui->deviceTree->setCurrentItem(item);
    }
    m_rootItem->setExpanded(true);
}

// "product(port)" gives the port; any other text stands for itself.
QString CSelectDongleDialog::selectedPort() const
{
    const QTreeWidgetItem* current = ui->deviceTree->currentItem();
    if (!current)
        return QString();
    static const QRegularExpression portPattern(QStringLiteral("\\w+\\((\\w+\\d+)\\)"));
    const QRegularExpressionMatch match = portPattern.match(current->text(0));
    return match.hasMatch() ? match.captured(1) : current->text(0);
}

void CSelectDongleDialog::on_DeviceTreeSelectionChanged()
{
    const QTreeWidgetItem* current = ui->deviceTree->currentItem();
    if (!current)
        m_logger->log("CSelectDongleDialog::on_DeviceTreeSelectionChanged(),get port name failed.", 1);
    const QString text = current ? current->text(0) : QString();
    ui->PB_Connect->setEnabled(text != QLatin1String(kRootText));

    m_selectedPort = selectedPort();
    m_selectedInfo = m_dongles.value(m_selectedPort);
    ui->labelDongleName->setText(m_selectedInfo.dongleName);
    ui->labelManufacturer->setText(m_selectedInfo.manufacturer);
    ui->labelProduct->setText(m_selectedInfo.product);
    ui->labelFirmwareVersion->setText(m_selectedInfo.firmwareVersion);
    ui->labelHardwareVersion->setText(m_selectedInfo.hardwareVersion);
    ui->labelDescription->setText(m_selectedInfo.description);
    ui->labelSdkVersion->setText(m_selectedInfo.sdkVersion);
    // A dongle's details are longer than the "Unknown" the dialog was laid out for.
    resize(size().expandedTo(sizeHint()));
}

void CSelectDongleDialog::setConnectedState(bool connected)
{
    ui->PB_Connect->setText(connected ? QStringLiteral("Disconnect") : QStringLiteral("Connect"));
    ui->pb_Refresh->setEnabled(!connected);
    ui->deviceTree->setEnabled(!connected);
    emit sig_connectionStatusChanged(connected);
}

void CSelectDongleDialog::on_PB_Connect_clicked()
{
    const QString action = ui->PB_Connect->text();
    if (action == QLatin1String("Connect")) {
        if (m_msg->isOpen()) {
            m_logger->log("Another serial port has been connected.", 4);
            return;
        }
        const QString port = selectedPort();
        if (port.isEmpty())
            m_logger->log("Get selected serial port name failed.", 4);
        if (m_msg->openPort(port) != 0) {
            m_logger->log("open port failed.", 4);
            return;
        }
        setConnectedState(true);
    } else if (action == QLatin1String("Disconnect")) {
        if (!m_msg->isOpen()) {
            m_logger->log("The serial port has already been disconnected.", 4);
        } else {
            m_msg->closePort();
            setConnectedState(false);
        }
    }
    close();
}

void CSelectDongleDialog::on_PB_Close_clicked()
{
    close();
}

void CSelectDongleDialog::closePort()
{
    m_msg->closePort();
    setConnectedState(false);
}

void CSelectDongleDialog::reconnect(const QString& portName)
{
    if (m_msg->openPort(portName) != 0) {
        m_logger->log("open port failed.", 4);
        return;
    }
    setConnectedState(true);
}

void CSelectDongleDialog::on_SerialPortArrived(const QString& portName)
{
    if (m_allPorts.contains(portName)) {
        m_logger->log("CSelectDongleDialog::on_SerialPortArrived, port is repeated.", 1);
        return;
    }
    // Not probed until the next Refresh: the user presses it.
    m_allPorts.append(portName);
    m_refreshPorts.append(portName);
    rebuildTree();
}

void CSelectDongleDialog::on_SerialPortRemoved(const QString& portName)
{
    m_allPorts.removeAll(portName);
    m_refreshPorts.removeAll(portName);
    m_dongles.remove(portName);
    rebuildTree();
    if (!m_msg->isOpen() || m_msg->portName() != portName)
        return;
    m_msg->closePort();
    setConnectedState(false);
    CFlatMessage::information(this, QStringLiteral("ERROR"),
                              QStringLiteral("The dongle hardware connection has been cut,\r\nPlease check it."));
    exec();
}
