#pragma once

#include <QString>

#include "schema/ccommand.h"

class LogManager;
class QWidget;

// The values of an uplink shown read-only, one row a field of a component of the uplink
// schema: numbers little-endian in decimal, choices by their captions, each with its limits.
// A component that the schema lacks is logged and gives an empty form.
QWidget* uplinkFieldsForm(LogManager* logger, const QString& component, const UplinkFieldMap& fields,
                          QWidget* parent);
