#pragma once

#include "rftest/crftestwidget.h"

// The dongle's LCP test mode: raw packets on a frequency with an access address, CRC init,
// header, length and payload.
class CLCPwidget : public CRfTestWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CLCPwidget)

public:
    enum protocolMode { BLE_ADV = 0, BLE_SCAN = 1, LCP_TX = 2, LCP_RX = 3 };
    Q_ENUM(protocolMode)
    // The columns of the receive table.
    enum rxInfo { RX_TIME = 0, RX_HEADER = 1, RX_LENGTH = 2, RX_PAYLOAD = 3 };
    Q_ENUM(rxInfo)

    CLCPwidget(CMsg* msg, LogManager* logger, const QString* dongleName, QWidget* parent = nullptr);
    ~CLCPwidget() override;

public slots:
    void on_btn_startlcp_clicked();
};
