#pragma once

#include "settings/csetting.h"

class CValidateLineEdit;

// A typed value edited as text. Its value is the hexadecimal text of the wire form.
class CLineEditSetting : public CSetting
{
    Q_OBJECT
    Q_DISABLE_COPY(CLineEditSetting)

public:
    // The editor's kind and limits as the configuration file writes them. `length` counts text
    // characters for addr, hex, string and littleEnd, bytes for the number kinds.
    struct Limits
    {
        QString type;
        QString min;
        QString max;
        QString singleStep;
        QString precision;
        QString length;
    };

    CLineEditSetting(const QString& key, const QString& title, const Limits& limits,
                     const QString& defaultText, CSetting* parent);

    void setReadOnly(bool readOnly) override;
    QVariant value() const override;
    void setValue(const QVariant& value) override;
    void addToLayout(QLayout* layout) override;

    // The wire form of a default as the configuration file writes it.
    static QString valueForm(const Limits& limits, const QString& text);

private:
    Limits m_limits;
    QString m_defaultText;
    CValidateLineEdit* m_lineEdit = nullptr;
};
