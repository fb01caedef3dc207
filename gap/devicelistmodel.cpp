#include "devicelistmodel.h"

DeviceListModel::DeviceListModel(LogManager* logger, QObject* parent)
    : DeviceEntryModel(logger,
                       {{"Device Address", "addr", 6, Kind::Address, "Bluetooth Address's format is wrong."},
                        {"Address Type", "addr_type", 1, Kind::TypeCapitalised, "Bluetooth addr type format is wrong."}},
                       parent)
{
}
