#include "clcpwidget.h"

#include <QPushButton>

#include "schema/cutil.h"

namespace {

const RfTestProfile& lcpProfile()
{
    using E = RfTestEditor;
    static const RfTestProfile profile{
        "LCP",
        0x09,
        {
            {"Access Address", "Access Address(Hex)", "6730363B", "", "[a-fA-F0-9]{8}", E::Mode, E::HexNumber, 4, 0,
             0xFFFFFFFF, "access address is empty \n", nullptr},
            {"Crc Init", "Crc Init(Hex)", "555555", "0x0~0xFFFFFF", "[a-fA-F0-9]{6}", E::Mode, E::HexNumber, 4, 0,
             0xFFFFFF, "crc init is empty \n", nullptr},
            {"Frequency", "Frequency(Dec)", "2360", "2360~2520", "", E::Parameters, E::Decimal, 4, 2360, 2520,
             "frequency is empty \n", "frequency is out of range (2360~2520) \n"},
            {"Channel Index", "Channel Index(Dec)", "", "0~39", "", E::Parameters, E::Decimal, 1, 0, 39,
             "channel index is empty \n", "channel index is out of range (0~39) \n"},
            {"Tx Power", "Tx Power(Dec)", "", "-20~7", E::TxPowerPattern, E::Parameters, E::Decimal, 1, -20, 7,
             "tx power is empty \n", "tx power is out of range (-20~7) \n"},
            {"Header", "Header(Hex)", "", "", "[0-9a-fA-F]{2}", E::Transmit, E::HexNumber, 1, 0, 0xFF,
             "Header is empty \n", nullptr},
            {"Length", "Length(Hex)", "", "00~FD", "[0-9a-fA-F]{2}", E::Transmit, E::HexNumber, 1, 0, 0xFD,
             "Length is empty \n", "length is out of range (00~FD) \n"},
            {"Payload", "Payload(Hex)", "", "", "", E::Transmit, E::HexGroups, 0, 0, 0, "Payload is empty \n",
             "Payload is out range (0~9,a~f,A~F) \n"},
            {"Repeat Time", "Repeat Time(Dec)", "", "1~32^-1", "", E::Transmit, E::Decimal, 4, 1, 0xFFFFFFFF,
             "Repeat time is empty \n", "repeat time is out of range (1~2^32-1) \n"},
            {"Repeat Interval", "Repeat Interval(Dec)", "", "10~2^32-1", "", E::Transmit, E::Decimal, 4, 10,
             0xFFFFFFFF, "Repeat interval is empty \n", "repeat interval is out of range (10~2^32-1) \n"},
        },
        {"Tx Power", "Channel Index", "Frequency", "Access Address", "Crc Init"},
        // The page always starts the mode to transmit; reception is asked for on its own.
        {{"Protocol Mode", CUtil::valueToArray(0, CLCPwidget::LCP_TX, 1)}},
        true,
    };
    return profile;
}

} // namespace

CLCPwidget::CLCPwidget(CMsg* msg, LogManager* logger, const QString* dongleName, QWidget* parent)
    : CRfTestWidget(lcpProfile(), msg, logger, dongleName, parent)
{
    connect(modeButton(), &QPushButton::clicked, this, &CLCPwidget::on_btn_startlcp_clicked);
}

CLCPwidget::~CLCPwidget() = default;

void CLCPwidget::on_btn_startlcp_clicked()
{
    toggleMode();
}
