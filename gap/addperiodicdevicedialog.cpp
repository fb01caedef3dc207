#include "addperiodicdevicedialog.h"

#include <QFormLayout>
#include <QSpinBox>

AddPeriodicDeviceDialog::AddPeriodicDeviceDialog(LogManager* logger, QWidget* parent)
    : AddDeviceDialog(logger, QStringLiteral("Add Periodic Adv List Error, The address 00:00:00:00:00:00 is invalid."),
                      parent)
    , m_advSid(new QSpinBox(this))
{
    m_advSid->setObjectName(QStringLiteral("spinBox_advSid"));
    m_advSid->setRange(0, 15);
    form()->addRow(QStringLiteral("Bluetooth adv sid"), m_advSid);
    resize(380, 190);
}

AddPeriodicDeviceDialog::~AddPeriodicDeviceDialog() = default;

quint8 AddPeriodicDeviceDialog::advSid() const
{
    return quint8(m_advSid->value());
}
