#pragma once

#include "settings/csetting.h"

class CProfileTableModel;
class QTableView;

// The dongle's profile list, each with a box that enables it.
class CProfileTableSetting : public CSetting
{
    Q_OBJECT
    Q_DISABLE_COPY(CProfileTableSetting)

public:
    CProfileTableSetting(const QString& key, const QString& title, const QByteArray& defaultValue,
                         CSetting* parent);

    QVariant value() const override;
    void setValue(const QVariant& value) override;
    void addToLayout(QLayout* layout) override;

private:
    CProfileTableModel* m_model = nullptr;
    QTableView* m_table = nullptr;
};
