#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include "app/flat/cflatdialog.h"
#include "app/refreshdonglethread.h"

class CMsg;
class LogManager;
class QTreeWidgetItem;

namespace Ui {
class CSelectDongleDialog;
}

// Lists the dongles that answer on the machine's ports and connects the tab's port to one.
// Made once per tab and kept, so that its lists follow port arrivals while it is hidden.
class CSelectDongleDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CSelectDongleDialog)

public:
    CSelectDongleDialog(CMsg* msg, LogManager* logger, QWidget* parent = nullptr);
    ~CSelectDongleDialog() override;

    void closePort();
    void reconnect(const QString& portName);

signals:
    void sig_connectionStatusChanged(bool connectionStatus);

public slots:
    void on_pb_Refresh_clicked();
    void on_SerialPortArrived(const QString& portName);
    void on_SerialPortRemoved(const QString& portName);
    void on_PB_Connect_clicked();
    void on_PB_Close_clicked();
    void on_DeviceTreeSelectionChanged();
    void on_refreshFinish();

private:
    void rebuildTree();
    QString selectedPort() const;
    void setConnectedState(bool connected);
    void internalError(const char* function, int line);

    Ui::CSelectDongleDialog* ui;
    QString m_selectedPort;
    DongleInfo m_selectedInfo;
    QStringList m_allPorts;
    QStringList m_refreshPorts;
    QMap<QString, DongleInfo> m_dongles;
    QTreeWidgetItem* m_rootItem = nullptr;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    RefreshDongleThread* m_refreshThread = nullptr;
};
