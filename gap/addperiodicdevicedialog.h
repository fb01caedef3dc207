#pragma once

#include "gap/adddevicedialog.h"

class QSpinBox;

// Asks for a periodic advertiser to put on the periodic advertiser list: its address, its
// address type and its advertising SID.
class AddPeriodicDeviceDialog : public AddDeviceDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(AddPeriodicDeviceDialog)

public:
    explicit AddPeriodicDeviceDialog(LogManager* logger, QWidget* parent = nullptr);
    ~AddPeriodicDeviceDialog() override;

    quint8 advSid() const;

private:
    QSpinBox* m_advSid = nullptr;
};
