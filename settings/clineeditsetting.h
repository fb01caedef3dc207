#pragma once

#include "schema/cvalidatelineedit.h"
#include "settings/csetting.h"

// A typed value edited as text. Its value is the hexadecimal text of the wire form.
class CLineEditSetting : public CSetting
{
    Q_OBJECT
    Q_DISABLE_COPY(CLineEditSetting)

public:
    using Limits = CValidateLineEdit::Limits;

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
