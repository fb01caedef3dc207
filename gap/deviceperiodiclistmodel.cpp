#include "deviceperiodiclistmodel.h"

DevicePeriodicListModel::DevicePeriodicListModel(LogManager* logger, QObject* parent)
    : DeviceEntryModel(logger,
                       {{"Device Address", "addr", 6, Kind::Address, "Bluetooth Address's format is wrong."},
                        {"Address Type", "addr_type", 1, Kind::TypeLowerCase, "Bluetooth addr type format is wrong."},
                        {"Adv Sid", "adv_sid", 1, Kind::Number, "Bluetooth adv type format is wrong."}},
                       parent)
{
}
