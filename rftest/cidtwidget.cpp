#include "cidtwidget.h"

#include <QPushButton>

namespace {

const RfTestProfile& idtProfile()
{
    using E = RfTestEditor;
    static const RfTestProfile profile{
        "IDT",
        0x0A,
        {
            {"Access Address", "Access Address(Hex)", "6730363B", "", "[a-fA-F0-9]{8}", E::Mode, E::HexNumber, 4, 0,
             0xFFFFFFFF, "access address is empty \n", nullptr},
            {"Channel Num", "Channel Num(Dec)", "", "0~159", "", E::Parameters, E::Decimal, 1, 0, 159,
             "channel num is empty \n", "channel num is out of range (0~159) \n"},
            {"Tx Power", "Tx Power(Dec)", "", "-20~7", E::TxPowerPattern, E::Parameters, E::Decimal, 1, -20, 7,
             "tx power is empty \n", "tx power is out of range (-20~7) \n"},
            {"Length", "Length(Hex)", "", "00~FB", "[a-fA-F0-9]{2}", E::Transmit, E::HexNumber, 1, 0, 0xFB,
             "Length is empty \n", "Length is out of range (00~FB) \n"},
            {"Payload", "Data(Hex)", "", "", "", E::Transmit, E::HexGroups, 0, 0, 0, "Data is empty \n",
             "Data is out range (0~9,a~f,A~F) \n"},
            {"Repeat Time", "Repeat Time(Dec)", "", "1~2^32-1", "", E::Transmit, E::Decimal, 4, 1, 0xFFFFFFFF,
             "Repeat time is empty \n", "Repeat time is out of range (1~2^32-1) \n"},
            {"Repeat Interval", "Repeat Interval(Dec)", "", "10~2^32-1", "", E::Transmit, E::Decimal, 4, 10,
             0xFFFFFFFF, "Repeat interval is empty \n", "Repeat interval is out of range (10~2^32-1) \n"},
        },
        {"Access Address", "Channel Num"},
        {},
        false,
    };
    return profile;
}

} // namespace

CIDTwidget::CIDTwidget(CMsg* msg, LogManager* logger, const QString* dongleName, QWidget* parent)
    : CRfTestWidget(idtProfile(), msg, logger, dongleName, parent)
{
    connect(modeButton(), &QPushButton::clicked, this, &CIDTwidget::on_btn_startidt_clicked);
}

CIDTwidget::~CIDTwidget() = default;

void CIDTwidget::on_btn_startidt_clicked()
{
    toggleMode();
}
