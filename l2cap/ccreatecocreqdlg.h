#pragma once

#include <QMap>
#include <QString>

#include "app/flat/cflatdialog.h"
#include "l2cap/channelinfo.h"
#include "schema/ccommand.h"

class CMsg;
class CValidateLineEdit;
class LogManager;
class QTimer;

// Asks the user about a peer's request for a credit-based channel: shows what the peer offers,
// takes the local settings, and answers. Unanswered, it refuses by itself before the peer's
// stack gives up. It deletes itself when closed.
class CCreateCOCReqDlg : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CCreateCOCReqDlg)

public:
    static constexpr int AnswerTimeMs = 29000;

    // `request`: the fields of the dongle's report of the request.
    CCreateCOCReqDlg(CMsg* msg, LogManager* logger, const QString& dongleName, uint8_t condix,
                     const UplinkFieldMap& request, QWidget* parent = nullptr);
    ~CCreateCOCReqDlg() override;

    void on_closeClicked() override;
    void on_timeOut();
    void on_pushButtonAccept_clicked();
    void on_pushButtonReject_clicked();

signals:
    void receiveCOCRequest(QString localId, ChannelInfo channelInfo, FieldValueMap fields);

private:
    // "Accept Create COC Request" with `accept` 1 or 0 and the local settings; false when it
    // could not be sent.
    bool answer(bool accept, FieldValueMap& fields);

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    uint8_t m_condix = 0;
    QMap<QString, QString> m_request; // the report's fields as decimal text
    CValidateLineEdit* m_localId = nullptr;
    CValidateLineEdit* m_localCredits = nullptr;
    CValidateLineEdit* m_mtu = nullptr;
    CValidateLineEdit* m_mps = nullptr;
    QTimer* m_timer = nullptr;
};
