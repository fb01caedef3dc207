#pragma once

#include <QList>
#include <QPair>

#include "settings/csetting.h"

class CStyledComboBox;

// A choice among captions, each standing for a number.
class CComboBoxSetting : public CSetting
{
    Q_OBJECT
    Q_DISABLE_COPY(CComboBoxSetting)

public:
    using Item = QPair<QString, uint>;

    CComboBoxSetting(const QString& key, const QString& title, const QList<Item>& items,
                     uint defaultValue, CSetting* parent);

    void setReadOnly(bool readOnly) override;
    QVariant value() const override;
    void setValue(const QVariant& value) override;
    void addToLayout(QLayout* layout) override;

signals:
    void valueChanged(uint value);

private:
    QList<Item> m_items;
    CStyledComboBox* m_comboBox = nullptr;
};
