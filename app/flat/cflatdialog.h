#pragma once

#include <QDialog>
#include <QString>

#include "ui_cflatdialog.h"

class QFrame;
class QMouseEvent;
class QPushButton;

// Frameless dialog with a drawn title bar and a soft shadow: the base of every window but the
// main one. Subclasses put their layout into contentFrame().
class CFlatDialog : public QDialog, protected Ui_FlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CFlatDialog)

public:
    explicit CFlatDialog(QString title, QWidget* parent = nullptr, int x = 0, int y = 0,
                         int fixed = 0);
    ~CFlatDialog() override;

    QFrame* contentFrame() const { return m_content; }
    // Connected by pointer rather than declared a slot: connectSlotsByName would warn that no
    // object is called "closeClicked".
    virtual void on_closeClicked();

protected:
    // Lays `body` over a right-aligned row of OK (the default) and Cancel, and names the two
    // buttons pushButtonOK and pushButtonCancel.
    void layOutWithOkCancel(QWidget* body, QPushButton* ok, QPushButton* cancel);

    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

private:
    int m_dragX = 0;
    int m_dragY = 0;
    int m_fixed = 0;
};
