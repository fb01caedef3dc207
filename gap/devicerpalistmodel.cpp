#include "devicerpalistmodel.h"

DeviceRpaListModel::DeviceRpaListModel(LogManager* logger, QObject* parent)
    : DeviceEntryModel(
        logger,
        {{"Peer Addr", "peer_addr", 6, Kind::Address, "Bluetooth PeerAddress's format is wrong."},
         {"Peer Addr Type", "peer_addr_type", 1, Kind::TypeLowerCase, "Bluetooth Peer Addr Type format is wrong."},
         {"Privacy Mode", "privacy_mode", 1, Kind::PrivacyMode, "Bluetooth Privacy Mode format is wrong."},
         {"Peer irk", "peer_irk", 16, Kind::Key, nullptr},
         {"Local irk", "local_irk", 16, Kind::Key, nullptr}},
        parent)
{
}
