#include "cconfigdonglenamedialog.h"

#include <QVBoxLayout>

#include "ui_cconfigdonglenamedialog.h"

CConfigDongleNameDialog::CConfigDongleNameDialog(const DongleTabList* tabs, QWidget* parent)
    : CFlatDialog(QStringLiteral("Config Dongle Name"), parent)
    , ui(new Ui::CConfigDongleNameDialog)
    , m_tabs(tabs)
{
    auto* body = new QWidget(contentFrame());
    ui->setupUi(body);
    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(body);
    ui->tooltip->hide();

    connect(ui->PB_Config, &QPushButton::clicked, this,
            &CConfigDongleNameDialog::on_PB_Config_clicked);
    connect(ui->PB_Cancle, &QPushButton::clicked, this,
            &CConfigDongleNameDialog::on_PB_Cancle_clicked);
    // The dialog is reused for every new tab: a refusal shown last time must not greet the next.
    connect(this, &QDialog::finished, this, &CConfigDongleNameDialog::on_close);
}

CConfigDongleNameDialog::~CConfigDongleNameDialog()
{
    delete ui;
}

QString CConfigDongleNameDialog::dongleName() const
{
    return ui->lineEdit->text();
}

void CConfigDongleNameDialog::setDongleName(const QString& name)
{
    ui->lineEdit->setText(name);
}

void CConfigDongleNameDialog::on_PB_Config_clicked()
{
    emit showDongleTab(this);
    const QString name = ui->lineEdit->text();
    if (name.isEmpty())
        return;
    // The name is a group of config.ini, where a slash starts a nested group: such a tab
    // would come back as another one, with default settings.
    if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('\\')))
        return refuse(QStringLiteral("a dongle name can't hold \"/\" or \"\\\""));
    for (const auto& tab : *m_tabs) {
        if (tab.second == name)
            return refuse(QStringLiteral("already exist this dongle name"));
    }
    accept();
}

void CConfigDongleNameDialog::refuse(const QString& why)
{
    ui->tooltip->setText(why);
    ui->tooltip->show();
}

void CConfigDongleNameDialog::on_PB_Cancle_clicked()
{
    reject();
}

void CConfigDongleNameDialog::on_close()
{
    ui->tooltip->hide();
}
