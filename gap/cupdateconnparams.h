#pragma once

#include <QMap>
#include <QString>

#include "app/flat/cflatdialog.h"

class CMsg;
class LogManager;

// The peer asks for new connection parameters: its values, and Accept or Reject. Closing the
// dialog any other way refuses too. It deletes itself when closed.
class CUpdateConnParams : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CUpdateConnParams)

public:
    // `values` by field key, as shown: intervals and timeout in ms.
    CUpdateConnParams(CMsg* msg, LogManager* logger, uint8_t condix, const QString& address,
                      const QMap<QString, QString>& values, QWidget* parent = nullptr);
    ~CUpdateConnParams() override;

    void on_closeClicked() override;
    // Escape refuses as well.
    void reject() override;

signals:
    // Accepted and the answer sent: the link's parameters are about to change.
    void receiveUpdateRequest();

public slots:
    void on_pushButtonAccept_clicked();
    void on_pushButtonReject_clicked();

private:
    // Sends the answer once, then closes.
    void answer(bool accept);
    bool reply(bool accept);

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    uint8_t m_condix = 0;
    bool m_answered = false;
};
