#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QElapsedTimer>
#include <QMap>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>
#include <QWidget>

#include "schema/ccommand.h"
#include "schema/uplinkdispatch.h"

class CMsg;
class LogManager;
class QLineEdit;
class QPushButton;
class QTableView;
class QTimer;
class RfRxTableModel;

// One editor of a test mode's page and how its text is checked and sent.
struct RfTestEditor
{
    enum Group { Mode, Parameters, Transmit };
    // Decimal and hex numbers go as `bytes` little-endian bytes; hex groups are the payload,
    // as many bytes as the Length editor says.
    enum Kind { Decimal, HexNumber, HexGroups };
    static constexpr const char* TxPowerPattern = "^(-[1-9]|-[1-1]\\d|-[2-2][0-0])|([0-7])$";

    const char* key; // the command field it fills
    const char* caption;
    const char* text;
    const char* hint;
    const char* pattern;
    Group group;
    Kind kind;
    int bytes;
    // The range a number must lie in; a text that is not a number lies outside it.
    qint64 min;
    qint64 max;
    const char* emptyText;
    // Null where the pattern alone keeps the text right.
    const char* rangeText;
};

// What sets one test mode apart from the other.
struct RfTestProfile
{
    const char* name; // "LCP": in command names, captions and texts
    quint8 module;
    QVector<RfTestEditor> editors;
    // The editors whose values the start command carries, and its constant fields.
    QStringList startKeys;
    FieldValueMap startConstants;
    bool headerReceived;
};

// The machinery that the LCP and IDT pages share: a dongle's raw radio test mode started and
// stopped, its radio parameters set, a packet transmitted a number of times at an interval (the
// dongle repeats it and acknowledges each one) and the packets it receives listed. All work runs
// through the page's own signals and slots, in the GUI thread.
class CRfTestWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CRfTestWidget)

public:
    ~CRfTestWidget() override;

    // The dongle was lost or reset: everything as after stopping the mode, nothing sent.
    void reset();
    // The page goes away: a mode that is on is stopped on the dongle first.
    void stop();

    bool isModeOn() const { return modeOn; }
    bool isTransmitting() const { return txOn; }
    bool isReceiving() const { return rxOn; }
    RfRxTableModel* rxModel() const { return m_rxModel; }

signals:
    void sig_send_msg(QString strCmdName, QMap<QString, QVariant>& mapPayload);
    void sig_send_cmd(QString strCmdName);
    void sig_receive_data_display(QDateTime timeRx, QMap<QString, QByteArray> fieldMap);
    void sig_start_mode();
    void sig_stop_mode();
    void sig_start_tx();
    void sig_stop_tx();
    void sig_start_rx();
    void sig_stop_rx();
    void sig_tx_progress(uint32_t cnt, bool bExp);
    void sig_showDongleTab(QString dongleName);

public slots:
    void on_btn_set_clicked();
    void on_btn_send_clicked();
    void on_btn_startrx_clicked();
    void on_btn_clearrx_clicked();
    void on_tableWidget_rxinfo_customContextMenuRequested(QPoint pos);
    void onSendMsg(QString strCmdName, QMap<QString, QVariant>& mapPayload);
    void onSendCmd(QString strCmdName);
    void onRcvMsg(QByteArray rcvMsg);
    void onRcvDataDisplay(QDateTime timeRx, QMap<QString, QByteArray> fieldMap);
    void onCopyRxData();
    void onStopMode();
    void onStartMode();
    void onStopTX();
    void onStopRX();
    void onStartTX();
    void onStartRX();
    void onTxProgress(uint32_t cnt, bool bSuccess);
    void onTxTimeOut();

protected:
    CRfTestWidget(const RfTestProfile& profile, CMsg* msg, LogManager* logger, const QString* dongleName,
                  QWidget* parent);

    // The click of the mode button, which each page connects to its own slot by its mode's name.
    void toggleMode();
    QPushButton* modeButton() const { return m_modeButton; }

private:
    void buildForm();
    QLineEdit* editor(const char* key) const;
    QString text(const char* key) const;
    // The value of a number editor as it goes on the wire; 0 for a text that is no number.
    qint64 number(const RfTestEditor& editor) const;
    qint64 valueOf(const char* key) const;
    // The texts of the checks of a group, in order; empty when all is well.
    QString validate(RfTestEditor::Group group) const;
    bool inRange(const RfTestEditor& editor) const;
    void showError(const QString& text);
    void fillMap(QStringList keys, FieldValueMap& map) const;
    QString commandName(const char* pattern) const;
    // Enables what the present state allows.
    void updateEnabled();
    // A transmission is over: ready for the next one.
    void endTransmission();

    void fillProcTable();
    void ackProc(const QByteArray& frame);
    void txAckProc(const QByteArray& frame);
    void rxDataProc(const QByteArray& frame);

    const RfTestProfile& m_profile;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    const QString* m_dongleName = nullptr;
    UplinkTable<CRfTestWidget> procTable;

    bool modeOn = false;
    bool txOn = false;
    bool rxOn = false;
    quint32 rxCount = 0;
    quint32 txAckCount = 0;
    quint32 txRepeat = 0;
    QTimer* txTimer = nullptr;
    // Milliseconds on a monotonic clock of the page, so that a change of the wall clock does not
    // end a transmission.
    quint64 lastTick = 0;
    quint64 waitTicks = 0;
    QElapsedTimer m_clock;

    QMap<QString, QLineEdit*> m_editors;
    QLineEdit* m_txNum = nullptr;
    QLineEdit* m_rxNum = nullptr;
    QPushButton* m_modeButton = nullptr;
    QPushButton* m_setButton = nullptr;
    QPushButton* m_sendButton = nullptr;
    QPushButton* m_rxButton = nullptr;
    QPushButton* m_clearButton = nullptr;
    QTableView* m_rxTable = nullptr;
    RfRxTableModel* m_rxModel = nullptr;
    // The table follows its newest row while the user has not scrolled away from it.
    bool m_followRx = true;
};
