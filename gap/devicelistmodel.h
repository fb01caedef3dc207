#pragma once

#include "gap/deviceentrymodel.h"

// The white list or the bond list: an address and its type.
class DeviceListModel : public DeviceEntryModel
{
    Q_OBJECT
    Q_DISABLE_COPY(DeviceListModel)

public:
    explicit DeviceListModel(LogManager* logger, QObject* parent = nullptr);
};
