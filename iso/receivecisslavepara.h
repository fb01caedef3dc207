#pragma once

#include "app/flat/cflatdialog.h"
#include "schema/ccommand.h"

class CMsg;
class LogManager;

// A central asks the dongle to join a connected isochronous stream: the request's values, and
// Accept or Reject.
class ReceiveCISSlavePara : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(ReceiveCISSlavePara)

public:
    // `request` is the dongle's report of the request, parsed.
    ReceiveCISSlavePara(CMsg* msg, LogManager* logger, const UplinkFieldMap& request, QWidget* parent = nullptr);
    ~ReceiveCISSlavePara() override;

public slots:
    void on_pushButton_accept_clicked();
    void on_pushButton_reject_clicked();

private:
    // False, after the log line, for a request without the stream's handle.
    bool hasHandle() const;

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    UplinkFieldMap m_request;
};
