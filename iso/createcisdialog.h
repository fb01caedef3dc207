#pragma once

#include <QByteArray>
#include <QVector>

#include "app/flat/cflatdialog.h"
#include "iso/isoparameters.h"

class CMsg;
class LogManager;
class QGridLayout;
class QLabel;
class QComboBox;

// Pairs each ticked stream with the ACL connection it is to run over, and sends "Create CIS".
class createCISDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(createCISDialog)

public:
    createCISDialog(CMsg* msg, LogManager* logger, QWidget* parent = nullptr);
    ~createCISDialog() override;

    // Offers every stream with every connection in which the dongle is central, and runs.
    int run(const QVector<cisParameter>& streams, const QByteArray& masterCondixes);

public slots:
    void on_pushButton_ok_clicked();

private:
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    QGridLayout* m_grid = nullptr;
    QVector<QLabel*> m_handles;
    QVector<QComboBox*> m_condixes;
};
