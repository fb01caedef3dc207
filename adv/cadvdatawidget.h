#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>
#include <QWidget>

#include "schema/ccfgfileparse.h"

class CCustomTableView;
class CStyledComboBox;
class CValidateLineEdit;
class QGroupBox;
class QPushButton;
class dataTableModel;

// The payload editor of an advertising set's page: AD structures for the advertising data and
// for the scan response, and the periodic page's own data, turned into the bytes on the air.
class CAdvDataWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CAdvDataWidget)

public:
    // What periodicData() gives for a value that is no whole bytes; the pages refuse to send
    // any payload equal to it.
    static const QByteArray ErrorMarker;

    explicit CAdvDataWidget(QWidget* parent = nullptr);
    ~CAdvDataWidget() override;

    QByteArray advertisingData() const;
    QByteArray scanResponseData() const;
    QByteArray periodicData() const;
    // Only the periodic page shows the periodic data.
    void setPeriodicDataVisible(bool visible);

    dataTableModel* advDataModel() const { return m_advModel; }
    dataTableModel* resDataModel() const { return m_resModel; }

public slots:
    void on_btnClearAdvData_clicked();
    void on_btnDeleteAdvData_clicked();
    void on_btnClearResData_clicked();
    void on_btnDeleteResData_clicked();
    void on_addDataButton_clicked();
    void on_addResponceData_clicked();
    void adTypeChanged(QString stradtype);

private:
    const AdvDataField* findType(const QString& title) const;
    void addRow(dataTableModel* model, const QString& emptyText);
    QByteArray build(const dataTableModel* model) const;
    static void deleteCurrentRow(CCustomTableView* view, dataTableModel* model);
    QWidget* makeListPanel(const QString& title, CCustomTableView*& view, dataTableModel* model,
                           const char* deleteName, const QString& deleteTip, const char* clearName,
                           const QString& clearTip);

    QVector<AdvDataField> m_types;
    CStyledComboBox* ADtypeCombox = nullptr;
    CValidateLineEdit* valueLineEdit = nullptr;
    QPushButton* addDataButton = nullptr;
    QPushButton* addResponceData = nullptr;
    CCustomTableView* tableView_advdata = nullptr;
    CCustomTableView* tableView_resdata = nullptr;
    dataTableModel* m_advModel = nullptr;
    dataTableModel* m_resModel = nullptr;
    QGroupBox* peradvdataframe = nullptr;
    CValidateLineEdit* le_periodicadvdatda = nullptr;
};
