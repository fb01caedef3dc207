#pragma once

#include <QString>

#include "app/flat/cflatdialog.h"

namespace Ui {
class SearchBox;
}

// A small non-modal box that asks its owner for the next or previous match of a text. The owner
// does the searching and keeps its last hit here.
class SearchBox : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(SearchBox)

public:
    explicit SearchBox(QWidget* parent = nullptr);
    ~SearchBox() override;

    QString text() const { return m_text; }
    int foundRow() const { return m_foundRow; }
    int foundColumn() const { return m_foundColumn; }
    QString foundText() const { return m_foundText; }
    // -1, -1 is "nothing found yet"; the text is what was searched for at that hit.
    void setFound(int row, int column, const QString& text = QString());

signals:
    void searchNext(SearchBox* box);
    void searchPrevious(SearchBox* box);

public slots:
    void on_buttonNext_clicked();
    void on_buttonPrevious_clicked();
    void on_lineEdit_textChanged(QString arg1);

private:
    Ui::SearchBox* ui;
    QString m_text;
    int m_foundRow = -1;
    int m_foundColumn = -1;
    QString m_foundText;
};
