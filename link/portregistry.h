#pragma once

#include <QString>
#include <QStringList>

// Maps the short port names the tool shows (ttyUSB0, ttySIM0) to device paths, and lists
// the ports that exist: real USB serial ports, the simulator's port folder and
// $TARVINE_EXTRA_PORTS.
namespace PortRegistry {

QStringList availablePorts();
QString devicePath(const QString& portName);
QString simulatorFolder();

} // namespace PortRegistry
