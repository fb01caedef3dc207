#pragma once

#include <QByteArray>
#include <QString>

#include "app/flat/cflatdialog.h"

class CValidateLineEdit;
class LogManager;
class QComboBox;
class QFormLayout;

// Asks for a device to put on the white list: its address and address type.
class AddDeviceDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(AddDeviceDialog)

public:
    explicit AddDeviceDialog(LogManager* logger, QWidget* parent = nullptr);
    ~AddDeviceDialog() override;

    // In wire order, least significant byte first.
    QByteArray address() const { return m_address; }
    quint8 addressType() const;

public slots:
    void accept() override;

protected:
    // `invalid` is the log line for the all-zero address, which no device has.
    AddDeviceDialog(LogManager* logger, const QString& invalid, QWidget* parent);
    QFormLayout* form() const { return m_form; }

private:
    LogManager* m_logger = nullptr;
    QString m_invalid;
    CValidateLineEdit* m_addressEdit = nullptr;
    QComboBox* m_addressType = nullptr;
    QFormLayout* m_form = nullptr;
    QByteArray m_address;
};
