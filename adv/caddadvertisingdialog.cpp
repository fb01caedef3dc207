#include "caddadvertisingdialog.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "adv/advlisttabletablemodel.h"
#include "adv/cadvbasewidget.h"
#include "schema/cstyledcombobox.h"

CAddAdvertisingDialog::CAddAdvertisingDialog(QWidget* parent)
    : CFlatDialog(QStringLiteral("Create New Advertising"), parent)
    , m_typeCombo(new CStyledComboBox(this))
    , m_indexCombo(new CStyledComboBox(this))
{
    m_typeCombo->setObjectName(QStringLiteral("advTypeCombo"));
    m_typeCombo->addItems({QLatin1String(CAdvBaseWidget::LegacyKind), QLatin1String(CAdvBaseWidget::ExtendedKind),
                           QLatin1String(CAdvBaseWidget::PeriodicKind)});
    m_indexCombo->setObjectName(QStringLiteral("advIndexCombo"));
    QList<int> all;
    for (int index = 0; index < AdvListTableTableModel::MaxSets; ++index)
        all.append(index);
    setFreeIndexes(all);

    auto* fields = new QGridLayout;
    fields->addWidget(new QLabel(QStringLiteral("Advertising Type:"), this), 0, 0);
    fields->addWidget(m_typeCombo, 0, 1);
    fields->addWidget(new QLabel(QStringLiteral("Adv Index:"), this), 1, 0);
    fields->addWidget(m_indexCombo, 1, 1);
    fields->setColumnStretch(1, 1);
    fields->setVerticalSpacing(10);

    auto* add = new QPushButton(QStringLiteral("Add"), this);
    add->setObjectName(QStringLiteral("PB_AddAdv"));
    add->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    cancel->setObjectName(QStringLiteral("PB_Cancel"));
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(add);
    buttons->addWidget(cancel);

    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(16, 14, 16, 12);
    layout->addLayout(fields);
    layout->addStretch();
    layout->addLayout(buttons);
    resize(380, 190);

    connect(add, &QPushButton::clicked, this, &CAddAdvertisingDialog::on_PB_AddAdv_clicked);
    connect(cancel, &QPushButton::clicked, this, &CAddAdvertisingDialog::on_PB_Cancel_clicked);
    connect(m_typeCombo, &QComboBox::currentTextChanged, this, &CAddAdvertisingDialog::on_advTypeChanged);
}

CAddAdvertisingDialog::~CAddAdvertisingDialog() = default;

void CAddAdvertisingDialog::setFreeIndexes(const QList<int>& indexes)
{
    m_indexCombo->clear();
    for (int index : indexes)
        m_indexCombo->addItem(QString::number(index));
}

void CAddAdvertisingDialog::on_PB_AddAdv_clicked()
{
    bool ok = false;
    const int advIndex = m_indexCombo->currentText().toInt(&ok, 10);
    if (ok)
        emit addAdvertisingItem(advIndex, m_typeCombo->currentText());
    accept();
}

void CAddAdvertisingDialog::on_PB_Cancel_clicked()
{
    reject();
}

void CAddAdvertisingDialog::on_advTypeChanged(QString strItem)
{
    emit advTypeChanged(strItem);
}

void CAddAdvertisingDialog::on_advTableClicked(QString str)
{
    m_typeCombo->setCurrentText(str);
}
