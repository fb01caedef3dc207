#include "cprofiletablesetting.h"

#include <QHeaderView>
#include <QVBoxLayout>

#include "app/flat/ccustomtableview.h"
#include "settings/cprofiletablemodel.h"

CProfileTableSetting::CProfileTableSetting(const QString& key, const QString& title,
                                           const QByteArray& defaultValue, CSetting* parent)
    : CSetting(key, title, parent)
    , m_model(new CProfileTableModel(this))
{
    m_defaultValue = defaultValue;
    setValue(defaultValue);
}

QVariant CProfileTableSetting::value() const
{
    return m_model->value();
}

void CProfileTableSetting::setValue(const QVariant& value)
{
    m_value = value.toByteArray();
    m_model->setValue(m_value.toByteArray());
}

void CProfileTableSetting::addToLayout(QLayout* layout)
{
    if (!m_table) {
        auto* box = new QVBoxLayout(this);
        box->setContentsMargins(0, 0, 0, 0);
        m_table = new CCustomTableView(this);
        m_table->setModel(m_model);
        m_table->verticalHeader()->hide();
        m_table->horizontalHeader()->setStretchLastSection(true);
        m_table->setColumnWidth(0, 40);
        m_table->setColumnWidth(1, 80);
        m_table->setMinimumHeight(300);
        box->addWidget(m_table);
    }
    layout->addWidget(this);
    show();
}
