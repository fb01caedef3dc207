#pragma once

#include <QString>

#include "app/flat/cflatdialog.h"

class CmsgField;
class LogManager;
class QPushButton;

// Asks for one row of a command's list field, or for a whole command: an editor per field, OK
// and Cancel. Made on the heap for one use; it deletes itself when closed.
class CStandardMsgDlg : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CStandardMsgDlg)

public:
    enum Fields { ListRow, WholeCommand };

    CStandardMsgDlg(const QString& title, LogManager* logger, const QString& commandName,
                    QWidget* parent = nullptr, Fields fields = ListRow);
    ~CStandardMsgDlg() override;

    CmsgField* form() const { return m_form; }

signals:
    void sig_standardOKClicked();

public slots:
    void on_pushButtonOK_clicked();
    void on_pushButtonCancel_clicked();

private:
    CmsgField* m_form = nullptr;
    QPushButton* m_pushButtonOK = nullptr;
    QPushButton* m_pushButtonCancel = nullptr;
};
