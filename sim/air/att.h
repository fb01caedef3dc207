#pragma once

#include <QByteArray>
#include <QtGlobal>

// The attribute protocol as both ends of a link speak it on its fixed channel: opcodes, error
// codes and the MTU every bearer starts with.
namespace Att {

constexpr quint16 Channel = 0x0004;
constexpr int DefaultMtu = 23;
// What the simulated stacks take, client and server alike: a 251-octet PDU less the L2CAP header.
constexpr int MaxMtu = 247;
constexpr int MaxValueBytes = 512;

enum Opcode : quint8 {
    ErrorResponse = 0x01,
    ExchangeMtuRequest = 0x02,
    ExchangeMtuResponse = 0x03,
    FindInformationRequest = 0x04,
    FindInformationResponse = 0x05,
    FindByTypeValueRequest = 0x06,
    FindByTypeValueResponse = 0x07,
    ReadByTypeRequest = 0x08,
    ReadByTypeResponse = 0x09,
    ReadRequest = 0x0A,
    ReadResponse = 0x0B,
    ReadBlobRequest = 0x0C,
    ReadBlobResponse = 0x0D,
    ReadMultipleRequest = 0x0E,
    ReadMultipleResponse = 0x0F,
    ReadByGroupTypeRequest = 0x10,
    ReadByGroupTypeResponse = 0x11,
    WriteRequest = 0x12,
    WriteResponse = 0x13,
    PrepareWriteRequest = 0x16,
    PrepareWriteResponse = 0x17,
    ExecuteWriteRequest = 0x18,
    ExecuteWriteResponse = 0x19,
    HandleValueNotification = 0x1B,
    HandleValueIndication = 0x1D,
    HandleValueConfirmation = 0x1E,
    WriteCommand = 0x52,
    SignedWriteCommand = 0xD2,
};

enum Error : quint8 {
    InvalidHandle = 0x01,
    ReadNotPermitted = 0x02,
    WriteNotPermitted = 0x03,
    InvalidPdu = 0x04,
    RequestNotSupported = 0x06,
    InvalidOffset = 0x07,
    PrepareQueueFull = 0x09,
    AttributeNotFound = 0x0A,
    InvalidAttributeValueLength = 0x0D,
    UnsupportedGroupType = 0x10,
    ValueNotAllowed = 0x13,
};

// The signature that closes a signed write: a counter and a MAC.
constexpr int SignatureBytes = 12;

// Requests and commands go to the server; responses, notifications and indications to the client.
inline bool toServer(quint8 opcode)
{
    switch (opcode) {
    case ErrorResponse:
    case ExchangeMtuResponse:
    case FindInformationResponse:
    case FindByTypeValueResponse:
    case ReadByTypeResponse:
    case ReadResponse:
    case ReadBlobResponse:
    case ReadMultipleResponse:
    case ReadByGroupTypeResponse:
    case WriteResponse:
    case PrepareWriteResponse:
    case ExecuteWriteResponse:
    case HandleValueNotification:
    case HandleValueIndication:
        return false;
    default:
        return true;
    }
}

inline QByteArray error(quint8 requestOpcode, quint16 handle, quint8 code)
{
    QByteArray pdu(5, 0);
    pdu[0] = char(ErrorResponse);
    pdu[1] = char(requestOpcode);
    pdu[2] = char(handle & 0xFF);
    pdu[3] = char(handle >> 8);
    pdu[4] = char(code);
    return pdu;
}

} // namespace Att
