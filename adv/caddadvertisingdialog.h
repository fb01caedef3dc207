#pragma once

#include <QList>
#include <QString>

#include "app/flat/cflatdialog.h"

class CStyledComboBox;

// Asks for the kind and index of a new advertising set.
class CAddAdvertisingDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CAddAdvertisingDialog)

public:
    explicit CAddAdvertisingDialog(QWidget* parent = nullptr);
    ~CAddAdvertisingDialog() override;

    // The indexes no set uses, lowest first.
    void setFreeIndexes(const QList<int>& indexes);

signals:
    void addAdvertisingItem(int advIndex, QString advType);
    void advTypeChanged(QString strItem);

public slots:
    void on_PB_AddAdv_clicked();
    void on_PB_Cancel_clicked();
    // The kind combo changed: the page shows a blank page of that kind meanwhile.
    void on_advTypeChanged(QString strItem);
    // The page's kind last shown becomes the offered kind.
    void on_advTableClicked(QString str);

private:
    CStyledComboBox* m_typeCombo = nullptr;
    CStyledComboBox* m_indexCombo = nullptr;
};
