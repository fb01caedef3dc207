#include "confirmdeletedialog.h"

#include <QVBoxLayout>

#include "ui_confirmdeletedialog.h"

confirmdeletedialog::confirmdeletedialog(QWidget* parent)
    : CFlatDialog(QStringLiteral("confirm delete"), parent)
    , ui(new Ui::confirmdeletedialog)
{
    auto* body = new QWidget(contentFrame());
    ui->setupUi(body);
    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(body);

    connect(ui->buttonYes, &QPushButton::clicked, this,
            &confirmdeletedialog::on_buttonYes_clicked);
    connect(ui->buttonNo, &QPushButton::clicked, this, &confirmdeletedialog::on_buttonNo_clicked);
}

confirmdeletedialog::~confirmdeletedialog()
{
    delete ui;
}

void confirmdeletedialog::on_buttonYes_clicked()
{
    emit confirmDelete();
    close();
}

void confirmdeletedialog::on_buttonNo_clicked()
{
    emit cancelDelete();
    close();
}
