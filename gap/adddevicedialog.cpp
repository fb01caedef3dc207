#include "adddevicedialog.h"

#include <QComboBox>
#include <QFormLayout>
#include <QPushButton>

#include "log/logmanager.h"
#include "schema/cutil.h"
#include "schema/cvalidatelineedit.h"

AddDeviceDialog::AddDeviceDialog(LogManager* logger, QWidget* parent)
    : AddDeviceDialog(logger, QStringLiteral("Add White List Error, The address 00:00:00:00:00:00 is invalid."), parent)
{
}

AddDeviceDialog::AddDeviceDialog(LogManager* logger, const QString& invalid, QWidget* parent)
    : CFlatDialog(QStringLiteral("Add Device"), parent)
    , m_logger(logger)
    , m_invalid(invalid)
    , m_addressEdit(new CValidateLineEdit(this))
    , m_addressType(new QComboBox(this))
{
    m_addressEdit->setObjectName(QStringLiteral("lineEdit_address"));
    m_addressEdit->setAddrType(QStringLiteral("17"), QLatin1String(CValidateLineEdit::kColonHexPattern),
                               QStringLiteral("00:00:00:00:00:00"));
    m_addressType->setObjectName(QStringLiteral("comboBox_addressType"));
    m_addressType->addItems({QStringLiteral("public"), QStringLiteral("random")});

    auto* body = new QWidget(this);
    m_form = new QFormLayout(body);
    m_form->setContentsMargins(0, 0, 0, 0);
    m_form->addRow(QStringLiteral("Bluetooth device addr"), m_addressEdit);
    m_form->addRow(QStringLiteral("Bluetooth address type"), m_addressType);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    layOutWithOkCancel(body, ok, cancel);
    connect(ok, &QPushButton::clicked, this, &AddDeviceDialog::accept);
    connect(cancel, &QPushButton::clicked, this, &AddDeviceDialog::reject);
    resize(380, 160);
}

AddDeviceDialog::~AddDeviceDialog() = default;

quint8 AddDeviceDialog::addressType() const
{
    return m_addressType->currentIndex() == 0 ? 0 : 1;
}

void AddDeviceDialog::accept()
{
    const QString digits = m_addressEdit->value();
    if (digits == QLatin1String("000000000000")) {
        m_logger->log(m_invalid, 4);
        return;
    }
    m_address = CUtil::reversed(QByteArray::fromHex(digits.toLatin1()));
    CFlatDialog::accept();
}
