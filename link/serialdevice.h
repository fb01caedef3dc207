#pragma once

#include <QString>

// Opening and releasing a dongle's serial port: exclusive, raw, 460800 baud, 8N1, no flow
// control. Shared by the message port and the selection probe.
namespace SerialDevice {

// Returns the descriptor, or -1 with the failed step's log text in `failure`.
int open(const QString& portName, QString* failure);
void release(int fd);

} // namespace SerialDevice
