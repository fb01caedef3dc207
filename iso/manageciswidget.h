#pragma once

#include <QFile>
#include <QMap>
#include <QString>
#include <QTimer>
#include <QWidget>

#include "schema/ccommand.h"

class CMsg;
class LogManager;
class ReceiveDataTableModel;

namespace Ui {
class manageCISWidget;
}

// The working page of one isochronous stream, known by its connection handle: its data paths,
// its TX sync, the SDUs it receives (shown and written to a file) and the data the user sends
// on it, typed, random or from a file, once or repeatedly. The page of the stream's group
// hands it the dongle's answers about the stream.
class manageCISWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(manageCISWidget)

public:
    manageCISWidget(CMsg* msg, LogManager* logger, FieldValueMap* settings, const QString& handle,
                    QWidget* parent = nullptr);
    ~manageCISWidget() override;

    QString streamHandle() const { return handle; }
    // Right after creation: the stream's SDU interval (µs), which paces repeated sends, and
    // its largest SDU.
    void setStreamParameters(const QString& sduInterval, const QString& maxSdu);
    void setIntervalEditable(bool editable);
    // A broadcast receiver only receives; every other stream only shows both.
    void setBroadcastReceiver(bool receiver);
    ReceiveDataTableModel* receiveModel() const { return m_receiveModel; }
    QString receiveFilePath() const;
    bool isRepeating() const { return repeatTimer.isActive(); }

    // The dongle's answers about this stream, parsed by the owner page.
    void setupDataPathProc(const QByteArray& frame, const UplinkFieldMap& fields);
    void removeDataPathProc(const QByteArray& frame, const UplinkFieldMap& fields);
    void readIsoTxSyncProc(const QByteArray& frame, const UplinkFieldMap& fields);
    void receiveIsoDataProc(const QByteArray& frame, const UplinkFieldMap& fields);

public slots:
    void on_pushButton_set_clicked();
    void on_pushButton_remove_clicked();
    void on_pushButton_get_clicked();
    void on_pushButton_clear_clicked();
    void on_pushButton_save_clicked();
    void on_pushButton_clearSendData_clicked();
    void on_pushButton_sendFile_clicked();
    void on_pushButton_send_clicked();
    void on_checkBox_random_clicked(bool checked);
    void on_checkBox_repeat_clicked(bool checked);

public:
    // Connected by pointer: slots by these names would be taken for widgets of the form.
    void on_sendDataLength(int length);
    void on_repeatSendData();

private:
    // False, after the message box, when the answer names another stream.
    bool isOwnAnswer(const UplinkFieldMap& fields, const char* command);
    // The status of an answer: true for success; a failure logged with the command's name.
    bool succeeded(const QByteArray& frame, const UplinkFieldMap& fields);
    // Sends once, or starts the repeat run; a run under way refuses.
    void sendOrRepeat(const FieldValueMap& fields);
    void sendIsoData(const FieldValueMap& fields);
    QString startDir() const;
    QString receiveDir() const;
    // The stream may end while a box or a file dialog runs its own event loop: a box that is a
    // child of the page would be deleted under its own exec(), and a slot that opened a file
    // dialog checks that the page still stands when the dialog returns.
    QWidget* dialogParent() { return window(); }
    void showError(const QString& text);

    Ui::manageCISWidget* ui;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    FieldValueMap* m_settings = nullptr;
    QString handle;
    QString maxSdu;
    QString sduInterval;
    QString lastPath;
    QMap<QString, quint8> dataPathIds;
    QFile receiveFile;
    QTimer repeatTimer;
    FieldValueMap repeatFields;
    quint32 repeatCount = 0;
    int sendMode = 0; // 0 typed, 1 random
    ReceiveDataTableModel* m_receiveModel = nullptr;
};
