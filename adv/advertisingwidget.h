#pragma once

#include <QByteArray>
#include <QMap>
#include <QModelIndex>
#include <QString>
#include <QWidget>

#include "schema/ccommand.h"
#include "schema/uplinkdispatch.h"

class AdvListTableTableModel;
class CAddAdvertisingDialog;
class CAdvBaseWidget;
class CCustomTableView;
class CMsg;
class LogManager;
class QPushButton;
class QVBoxLayout;

// The Slave page of a dongle: up to five advertising sets, the parameter page of the pressed
// one, and the chain of commands that starts a set, driven by the dongle's answers.
class advertisingWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(advertisingWidget)

public:
    advertisingWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent = nullptr);
    ~advertisingWidget() override;

    // The dongle was reset: its sets are gone, and so are the pages.
    void reset();
    bool hasRunningSet() const;

signals:
    void advTypeIndexChanged(QString advType);
    void sig_slaveBIGSucceed(uint8_t advIndex);

public slots:
    void onRcvMsg(const QByteArray& rcvMsg);
    void on_btnAddAdvList_clicked();
    void on_btnConnAdvBIG_clicked();
    void on_addAdvertisingItem(int advIndex, QString advType);
    void on_btnClearAdvList_clicked();
    void on_adverTypeChanged(QString advType);
    void on_btnDeleteAdvList_clicked();
    void on_tableView_advListClicked(const QModelIndex& index);
    void on_btnStartAdv_clicked();

private:
    void parameterSetResponse(const QByteArray& frame);
    void dataSetResponse(const QByteArray& frame);
    void genericResponse(const QByteArray& frame);
    void advertisingStartProc(const QByteArray& frame);
    void advertisingStopProc(const QByteArray& frame);
    // The running flag of the set the frame names, unless the frame is refused.
    void setRunning(const QByteArray& frame, bool running, const char* function);

    // The row pressed, when it lies inside the list; else -1.
    int pressedRow() const;
    // The same for a button, which logs the complaint.
    int currentRow() const;
    void sendAdvIndexCommand(const QString& command, int advIndex);
    void setStartButton(bool running);
    void showPage(CAdvBaseWidget* page);
    CAdvBaseWidget* blankPage(const QString& kind);
    void pressCurrentAgain();
    void deletePages();

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    FieldValueMap* m_config = nullptr;
    UplinkTable<advertisingWidget> procTable;
    AdvListTableTableModel* m_model = nullptr;
    QMap<int, CAdvBaseWidget*> pages;
    QMap<QString, CAdvBaseWidget*> blankPages;
    CAddAdvertisingDialog* m_addAdvertisingDialog = nullptr;
    QString currentKind;

    QPushButton* btnAddAdvList = nullptr;
    QPushButton* btnDeleteAdvList = nullptr;
    QPushButton* btnStartAdv = nullptr;
    QPushButton* btnConnAdvBIG = nullptr;
    QPushButton* btnClearAdvList = nullptr;
    CCustomTableView* tableView_advList = nullptr;
    QVBoxLayout* m_pageLayout = nullptr;
    CAdvBaseWidget* m_shownPage = nullptr;
};
