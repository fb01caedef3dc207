#pragma once

#include <QMap>

#include "settings/csetting.h"

class CComboBoxWithCheckBox;

// A bit mask edited as a list of ticked captions.
class CComboBoxWithCheckBoxSetting : public CSetting
{
    Q_OBJECT
    Q_DISABLE_COPY(CComboBoxWithCheckBoxSetting)

public:
    CComboBoxWithCheckBoxSetting(const QString& key, const QString& title,
                                 const QMap<uint, QString>& items, uint defaultValue,
                                 CSetting* parent);

    void setReadOnly(bool readOnly) override;
    QVariant value() const override;
    void setValue(const QVariant& value) override;
    void addToLayout(QLayout* layout) override;

signals:
    // Only the user's ticks emit this: the dialog answers them.
    void valueChanged(int value);

private:
    QMap<uint, QString> m_items;
    CComboBoxWithCheckBox* m_comboBox = nullptr;
};
