#pragma once

#include "rftest/crftestwidget.h"

// The dongle's IDT test mode: packets on a channel with an access address, length and data, and
// no header.
class CIDTwidget : public CRfTestWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CIDTwidget)

public:
    // The columns of the receive table.
    enum rxInfo { RX_TIME = 0, RX_LENGTH = 1, RX_PAYLOAD = 2 };
    Q_ENUM(rxInfo)

    CIDTwidget(CMsg* msg, LogManager* logger, const QString* dongleName, QWidget* parent = nullptr);
    ~CIDTwidget() override;

public slots:
    void on_btn_startidt_clicked();
};
