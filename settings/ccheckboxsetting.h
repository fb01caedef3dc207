#pragma once

#include "settings/csetting.h"

class QCheckBox;

// An on/off setting.
class CCheckBoxSetting : public CSetting
{
    Q_OBJECT
    Q_DISABLE_COPY(CCheckBoxSetting)

public:
    CCheckBoxSetting(const QString& key, const QString& title, bool defaultValue, CSetting* parent);

    QVariant value() const override;
    void setValue(const QVariant& value) override;
    void addToLayout(QLayout* layout) override;

private:
    QCheckBox* m_checkBox = nullptr;
};
