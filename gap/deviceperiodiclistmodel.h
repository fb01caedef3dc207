#pragma once

#include "gap/deviceentrymodel.h"

// The periodic advertiser list: an address, its type and the advertising SID.
class DevicePeriodicListModel : public DeviceEntryModel
{
    Q_OBJECT
    Q_DISABLE_COPY(DevicePeriodicListModel)

public:
    explicit DevicePeriodicListModel(LogManager* logger, QObject* parent = nullptr);
};
