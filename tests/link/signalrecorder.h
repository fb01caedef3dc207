#pragma once

#include <QByteArray>
#include <QLatin1String>
#include <QObject>
#include <QString>
#include <QStringList>

// Everything a link object emits on its eleven uplink signals, in order, as "<signal> <hex>".
// Works for SerialPortThread and CMsg, which carry the same signal names.
template<typename Source>
class SignalRecorder
{
public:
    explicit SignalRecorder(Source* source)
    {
        watch(source, &Source::sig_rcvCommonMsg, "common");
        watch(source, &Source::sig_rcvGapMsg, "gap");
        watch(source, &Source::sig_rcvSmMsg, "sm");
        watch(source, &Source::sig_rcvGattMsg, "gatt");
        watch(source, &Source::sig_rcvL2capMsg, "l2cap");
        watch(source, &Source::sig_rcvRfuMsg, "rfu");
        watch(source, &Source::sig_rcvBIGCIGMsg, "bigcig");
        watch(source, &Source::sig_rcvDownLoadMsg, "download");
        watch(source, &Source::sig_rcvDongleLog, "dongle");
        watch(source, &Source::sig_rcvLCPMsg, "lcp");
        watch(source, &Source::sig_rcvIDTMsg, "idt");
    }

    QStringList events;

private:
    template<typename Signal>
    void watch(Source* source, Signal signal, const char* name)
    {
        QObject::connect(source, signal, [this, name](const QByteArray& frame) {
            events << QLatin1String(name) + QLatin1Char(' ') + QString::fromLatin1(frame.toHex());
        });
    }
};
