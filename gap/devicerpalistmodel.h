#pragma once

#include "gap/deviceentrymodel.h"

// The resolving list: a peer's identity, its privacy mode, and the peer's and the local
// identity resolving keys.
class DeviceRpaListModel : public DeviceEntryModel
{
    Q_OBJECT
    Q_DISABLE_COPY(DeviceRpaListModel)

public:
    explicit DeviceRpaListModel(LogManager* logger, QObject* parent = nullptr);
};
