#include "searchbox.h"
#include "ui_searchbox.h"

#include <QLineEdit>
#include <QPushButton>

SearchBox::SearchBox(QWidget* parent)
    : CFlatDialog(QStringLiteral("search"), parent)
    , ui(new Ui::SearchBox)
{
    ui->setupUi(contentFrame());
    // The form sits in the content frame, so its slots are connected here rather than by name.
    connect(ui->buttonNext, &QPushButton::clicked, this, &SearchBox::on_buttonNext_clicked);
    connect(ui->buttonPrevious, &QPushButton::clicked, this, &SearchBox::on_buttonPrevious_clicked);
    connect(ui->lineEdit, &QLineEdit::textChanged, this, &SearchBox::on_lineEdit_textChanged);
    setModal(false);
    resize(247, 111);
}

SearchBox::~SearchBox()
{
    delete ui;
}

void SearchBox::setFound(int row, int column, const QString& text)
{
    m_foundRow = row;
    m_foundColumn = column;
    m_foundText = text;
}

void SearchBox::on_buttonNext_clicked()
{
    emit searchNext(this);
}

void SearchBox::on_buttonPrevious_clicked()
{
    emit searchPrevious(this);
}

void SearchBox::on_lineEdit_textChanged(QString arg1)
{
    m_text = arg1;
    setFound(-1, -1);
}
