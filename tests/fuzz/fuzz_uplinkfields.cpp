// Any payload under any uplink id of the schema, as a dongle under development may send it: the
// codec cuts it into fields and logs it, and the dongle tab's controller handles it.

#include <memory>

#include <QStringList>

#include "app/maindonglewidget.h"
#include "fuzzapp.h"
#include "fuzzinput.h"
#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/ccommand.h"

namespace {

MainDongleWidget* g_tab = nullptr;
QStringList g_ids;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzApplication(argc, argv);
    g_ids = CCfgFileParse::instance()->m_uplinkIdToFields.keys();
    g_tab = new MainDongleWidget(nullptr, QStringLiteral("Fuzz"));
    g_tab->buildPages();
    g_tab->logger()->setLogFile(QStringLiteral("/dev/null"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzInput input(data, size);
    const int pick = input.byte() | input.byte() << 8;
    const QString id = g_ids.at(pick % g_ids.size());
    const QByteArray payload = input.bytes(5000);

    QByteArray frame = QByteArray::fromHex(QString(id).remove(QLatin1Char('@')).toLatin1());
    frame += char(payload.size() & 0xff);
    frame += char(payload.size() >> 8);
    frame += payload;

    LogManager* logger = g_tab->logger();
    UplinkFieldMap fields;
    if (CCommand::isInvalidUpLinkMsg(logger, frame) && CCommand::parseUplinkMsg(logger, frame, fields) == 0) {
        CCommand::logUplink(logger, frame, fields);
        CCommand::uplinkFieldsToDecimal(fields);
    }
    g_tab->onRcvMsg(frame);
    // Log lines travel by queued events: let them through, or they pile up.
    QCoreApplication::processEvents();
    return 0;
}
