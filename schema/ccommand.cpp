#include "ccommand.h"

#include <QMetaEnum>
#include <QStringList>

#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/cutil.h"

namespace {

void writeLog(LogManager* logger, const QString& text, int level)
{
    if (logger)
        logger->log(text, level);
}

int hexDigit(QChar c)
{
    const ushort u = c.unicode();
    if (u >= '0' && u <= '9')
        return u - '0';
    if (u >= 'a' && u <= 'f')
        return u - 'a' + 10;
    if (u >= 'A' && u <= 'F')
        return u - 'A' + 10;
    return -1;
}

// Little-endian in exactly `length` bytes; bytes past the eighth repeat the sign.
void appendNumber(QByteArray& out, quint64 value, bool negative, quint32 length)
{
    for (quint32 i = 0; i < length; ++i) {
        const quint64 b = i < 8 ? (value >> (8 * i)) & 0xff : (negative ? 0xff : 0);
        out.append(static_cast<char>(b));
    }
}

// Hex text is a big-endian number: its last two digits become the first byte.
bool appendHexText(const QString& text, QByteArray& out)
{
    for (int end = text.size(); end > 0; end -= 2) {
        const int hi = end - 2 >= 0 ? hexDigit(text.at(end - 2)) : 0;
        const int lo = hexDigit(text.at(end - 1));
        if (hi < 0 || lo < 0)
            return false;
        out.append(static_cast<char>((hi << 4) | lo));
    }
    return true;
}

bool appendVariant(LogManager* logger, const QVariant& value, const CmdField& field, QByteArray& body)
{
    QByteArray bytes;
    switch (value.userType()) {
    case QMetaType::Bool:
        appendNumber(bytes, value.toBool() ? 1 : 0, false, field.length);
        break;
    case QMetaType::Int: {
        const qint64 v = value.toInt();
        appendNumber(bytes, static_cast<quint64>(v), v < 0, field.length);
        break;
    }
    case QMetaType::UInt:
        appendNumber(bytes, value.toUInt(), false, field.length);
        break;
    case QMetaType::LongLong: {
        const qint64 v = value.toLongLong();
        appendNumber(bytes, static_cast<quint64>(v), v < 0, field.length);
        break;
    }
    case QMetaType::ULongLong:
        appendNumber(bytes, value.toULongLong(), false, field.length);
        break;
    case QMetaType::QString:
        if (!appendHexText(value.toString(), bytes)) {
            writeLog(logger,
                     QStringLiteral("CCommand::appendFieldValue: convert QString to value failed."), 1);
            return false;
        }
        break;
    case QMetaType::QByteArray:
        bytes = field.length != 0 ? CUtil::fitArray(value.toByteArray(), static_cast<int>(field.length))
                                  : value.toByteArray();
        break;
    default:
        writeLog(logger, QStringLiteral("CCommand::appendFieldValue: the type of the QVariant is wrong."),
                 1);
        return false;
    }
    body.append(bytes);
    return true;
}

QString uplinkName(const QByteArray& frame)
{
    return CCfgFileParse::instance()->m_uplinkIdToName.value(CCommand::uplinkId(frame));
}

enum class StatusKind { Sdk, Complete };

QString resultText(StatusKind kind, const QByteArray& frame, int status)
{
    const bool sdk = kind == StatusKind::Sdk;
    return QLatin1String(sdk ? "[SDK Result] Uplink Command Name:" : "[Complete Result] Uplink Command Name:")
        + uplinkName(frame) + QLatin1String(" Result:") + CCommand::statusWord(sdk ? "SDK_STATUS_RSP" : "STATUS_RSP", status);
}

void statusProc(LogManager* logger, const QByteArray& frame, const char* procName, StatusKind kind,
                bool last)
{
    writeLog(logger,
             QLatin1Char('[') + QLatin1String(procName) + QLatin1String("] ") + QLatin1String(frame.toHex()),
             1);
    if (frame.size() != 6) {
        CCommand::logInternalError(logger, __FILE__, __LINE__,
                                   QLatin1String("CCommand::") + QLatin1String(procName));
        return;
    }
    const int status = static_cast<quint8>(frame.at(5));
    if (!last && status == 0)
        return;
    writeLog(logger, resultText(kind, frame, status), last && status == 0 ? 2 : 4);
}

QString uplinkHead(const QByteArray& frame)
{
    return QLatin1String("Uplink Command Name: ") + uplinkName(frame) + QLatin1String("\r\nRaw Data: ")
        + QLatin1String(frame.toHex()) + QLatin1String("\r\n");
}

} // namespace

CCommand::CCommand(QObject* parent)
    : QObject(parent)
{
}

bool CCommand::sendMsg(CMsg* port, LogManager* logger, const QString& commandName,
                       const FieldValueMap& fieldsValue, const FieldValueMap& extraFieldsValue)
{
    const CCfgFileParse* cfg = CCfgFileParse::instance();
    const QString id = cfg->m_downlinkNameToId.value(commandName);
    const QStringList parts = id.split(QLatin1Char('@'));
    bool ok = false;
    const uint module = parts.value(0).toUInt(&ok, 16);
    if (!ok) {
        writeLog(logger, QStringLiteral("CCommand::sendMsg: convert layerId failed."), 1);
        return false;
    }
    const uint opcode = parts.value(1).toUInt(&ok, 16);
    if (!ok) {
        writeLog(logger, QStringLiteral("CCommand::sendMsg: convert opcode failed."), 1);
        return false;
    }

    const QVector<CmdField> rows = cfg->m_downlinkIdToFields.value(id);
    QByteArray body;
    for (const CmdField& row : rows) {
        auto it = extraFieldsValue.constFind(row.key);
        if (it == extraFieldsValue.constEnd()) {
            it = fieldsValue.constFind(row.key);
            if (it == fieldsValue.constEnd()) {
                writeLog(logger, QLatin1String("Send msg:") + commandName + QLatin1String(" assemble failed."),
                         4);
                return false;
            }
        }
        if (!appendVariant(logger, it.value(), row, body)) {
            writeLog(logger,
                     QLatin1String("Send msg:") + commandName
                         + QLatin1String(" assemble failed, can't append field value."),
                     4);
            return false;
        }
    }

    QByteArray frame;
    frame.reserve(5 + body.size());
    frame.append(static_cast<char>(0xAA));
    frame.append(static_cast<char>(module));
    frame.append(static_cast<char>(opcode));
    frame.append(CUtil::valueToArray(0, static_cast<quint64>(body.size()), 2));
    frame.append(body);

    QString text;
    text.reserve(64 + commandName.size() + frame.size() * 2 + rows.size() * 40);
    text += QLatin1String("Downlink Command Name: ");
    text += commandName;
    text += QLatin1String("\r\nRaw Data: ");
    text += QLatin1String(frame.toHex());
    text += QLatin1String("\r\nField Data: ");
    int pos = 0;
    for (const CmdField& row : rows) {
        text += row.key;
        text += QLatin1String("->");
        text += QLatin1String(body.mid(pos, static_cast<int>(row.length)).toHex(':'));
        text += QLatin1String("  ");
        pos += static_cast<int>(row.length);
    }
    // The heartbeat goes out every second and must not flood the user's pane.
    writeLog(logger, text, commandName == QLatin1String("Heart Beat Detect") ? 1 : 2);

    // Only a fixed-size last row can tell whether hex texts had the width of their fields.
    if (!rows.isEmpty() && rows.last().length != 0) {
        const qint64 expected = qint64(rows.last().index) + rows.last().length + 1;
        if (expected != frame.size()) {
            writeLog(logger,
                     QLatin1String("Send msg:") + commandName
                         + QLatin1String(" assemble failed, the msg lenth is wrong"),
                     4);
            return false;
        }
    }

    if (!port)
        return false;
    return port->sendMsg(frame) == 0;
}

bool CCommand::appendFieldValue(LogManager* logger, const FieldValueMap& fieldsValue,
                                const CmdField& field, QByteArray& body)
{
    const auto it = fieldsValue.constFind(field.key);
    if (it == fieldsValue.constEnd()) {
        writeLog(logger,
                 QStringLiteral("CCommand::appendFieldValue: the fieldsValue does not contain the key."), 1);
        return false;
    }
    return appendVariant(logger, it.value(), field, body);
}

bool CCommand::isInvalidUpLinkMsg(LogManager* logger, const QByteArray& frame)
{
    if (frame.size() < 5) {
        writeLog(logger, QStringLiteral("uplink-msg: 0x%1").arg(QLatin1String(frame.toHex())), 2);
        writeLog(logger, QStringLiteral("the length of msg is too short"), 2);
        return false;
    }
    quint64 length = 0;
    if (CUtil::arrayToValue(0, frame.mid(3, 2), length) != 0) {
        writeLog(logger, QStringLiteral("CCommand::isInvalidUpLinkMsg: get payload lenth failed."), 2);
        return false;
    }
    return length + 5 == static_cast<quint64>(frame.size());
}

QString CCommand::uplinkId(const QByteArray& frame)
{
    static const char digits[] = "0123456789ABCDEF";
    char id[8];
    for (int i = 0; i < 3; ++i) {
        const quint8 b = i < frame.size() ? static_cast<quint8>(frame.at(i)) : 0;
        id[3 * i] = digits[b >> 4];
        id[3 * i + 1] = digits[b & 0x0f];
        if (i < 2)
            id[3 * i + 2] = '@';
    }
    return QString::fromLatin1(id, 8);
}

int CCommand::parseUplinkMsg(LogManager* logger, const QByteArray& frame, UplinkFieldMap& fields)
{
    const CCfgFileParse* cfg = CCfgFileParse::instance();
    const QString id = uplinkId(frame);
    const QVector<CmdField> rows = cfg->m_uplinkIdToFields.value(id);
    if (!rows.isEmpty() && qint64(rows.last().index) + 1 > frame.size()) {
        writeLog(logger,
                 QLatin1String("Parse uplink Command:") + cfg->m_uplinkIdToName.value(id)
                     + QLatin1String(" failed,the msg length is wrong."),
                 4);
        return -1;
    }
    // mid() clips, so a lying frame can never make us read past its end.
    for (const CmdField& row : rows) {
        const int offset = static_cast<int>(row.index) + 1;
        if (row.length == 0) {
            fields.insert(row.key, frame.mid(offset));
            continue;
        }
        const QByteArray value = frame.mid(offset, static_cast<int>(row.length));
        fields.insert(row.key, value);
        if (static_cast<quint32>(value.size()) < row.length) {
            writeLog(logger,
                     QLatin1String("Parse uplink Command:") + cfg->m_uplinkIdToName.value(id)
                         + QLatin1String(" failed,the file up_link_command.xml is wrong."),
                     4);
            return -1;
        }
    }
    return 0;
}

QMap<QString, QString> CCommand::uplinkFieldsToDecimal(const UplinkFieldMap& fields)
{
    QMap<QString, QString> out;
    for (auto it = fields.constBegin(); it != fields.constEnd(); ++it) {
        quint64 value = 0;
        CUtil::arrayToValue(0, it.value(), value);
        out.insert(it.key(), QString::number(value));
    }
    return out;
}

void CCommand::SDKProc(LogManager* logger, const QByteArray& frame)
{
    statusProc(logger, frame, "SDKProc", StatusKind::Sdk, false);
}

void CCommand::lastSDKProc(LogManager* logger, const QByteArray& frame)
{
    statusProc(logger, frame, "lastSDKProc", StatusKind::Sdk, true);
}

void CCommand::completeProc(LogManager* logger, const QByteArray& frame)
{
    statusProc(logger, frame, "completeProc", StatusKind::Complete, false);
}

void CCommand::lastCompleteProc(LogManager* logger, const QByteArray& frame)
{
    statusProc(logger, frame, "lastCompleteProc", StatusKind::Complete, true);
}

void CCommand::logUplink(LogManager* logger, const QByteArray& frame, const UplinkFieldMap& fields)
{
    QString text = uplinkHead(frame) + QLatin1String("Field Data: ");
    for (auto it = fields.constBegin(); it != fields.constEnd(); ++it) {
        text += it.key();
        text += QLatin1String("->");
        text += QLatin1String(it.value().toHex(':'));
        text += QLatin1String("  ");
    }
    writeLog(logger, text, 2);
}

void CCommand::logUplinkRaw(LogManager* logger, const QByteArray& frame)
{
    writeLog(logger, uplinkHead(frame), 2);
}

void CCommand::logUplinkResult(LogManager* logger, const QByteArray& frame, int status)
{
    writeLog(logger,
             QLatin1String("Uplink Command Name:") + uplinkName(frame) + QLatin1String(" Result:")
                 + statusWord("STATUS_RSP", status),
             4);
}

void CCommand::logCompleteResult(LogManager* logger, const QByteArray& frame, int status)
{
    writeLog(logger, resultText(StatusKind::Complete, frame, status), 4);
}

void CCommand::logSendFailed(LogManager* logger, const QString& commandName)
{
    writeLog(logger, QLatin1String("send ") + commandName + QLatin1String(" message failed"), 4);
}

QString CCommand::uuidDisplayText(const QByteArray& bytes)
{
    int n = bytes.size();
    while (n > 0 && bytes.at(n - 1) == 0)
        --n;
    return QStringLiteral("0x%1").arg(QLatin1String(CUtil::reversed(bytes.left(n)).toHex()), 4,
                                      QLatin1Char('0'));
}

QByteArray CCommand::uuid16ToArray(quint16 value)
{
    return CUtil::valueToArray(0, value, 16);
}

int CCommand::cmpUuid16(const QByteArray& bytes, quint16 value)
{
    return CUtil::cmpArray(bytes, uuid16ToArray(value));
}

void CCommand::logInternalError(LogManager* logger, const char* file, int line, const QString& function,
                                int level)
{
    writeLog(logger,
             QLatin1String("FILE:") + QLatin1String(file) + QLatin1String(" LINE:") + QString::number(line)
                 + QLatin1String(" FUNCTION:") + function + QLatin1String(" Internal error."),
             level);
}

QString CCommand::statusWord(const char* enumName, int value)
{
    const QMetaObject& meta = CCommand::staticMetaObject;
    const int index = meta.indexOfEnumerator(enumName);
    if (index < 0)
        return QString();
    const char* key = meta.enumerator(index).valueToKey(value);
    if (!key)
        return QString();
    return QString::fromLatin1(key).replace(QLatin1Char('_'), QLatin1Char(' '));
}
