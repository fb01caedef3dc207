#pragma once

#include <QString>

#include "app/flat/cflatdialog.h"

class QLabel;
class QLineEdit;
class QPushButton;

// The question a security manager asks during pairing: a passkey to show, to type or to compare.
// Its answer goes out by cmsdialogPair: the passkey field's text and whether the user agreed.
// It deletes itself when closed.
class csmdilog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(csmdilog)

public:
    explicit csmdilog(QWidget* parent = nullptr);
    ~csmdilog() override;

    void setTitle(const QString& title);
    void setHeading(const QString& text);
    void setPasskeyText(const QString& text);
    void setPasskeyEnabled(bool enabled);

signals:
    void cmsdialogPair(QString number, uint8_t accept);

public slots:
    void on_btn_Yes_clicked();
    void on_btn_No_clicked();
    void on_closeClicked() override;

private:
    QLabel* m_status = nullptr;
    QLineEdit* m_passkey = nullptr;
    QPushButton* btn_Yes = nullptr;
    QPushButton* btn_No = nullptr;
};
