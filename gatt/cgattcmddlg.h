#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QModelIndex>
#include <QString>
#include <QWidget>

class CMsg;
class CmsgField;
class LogManager;
class QLabel;
class QPushButton;
class QStandardItemModel;
class QToolButton;
class QTreeView;
class QVBoxLayout;

// The "Send Commands" tab of the GATT panel: every GATT command of the attribute protocol's
// procedures, grouped as the command group file lists them, each with its form built once, sent
// on the panel's link. The panel handles the answers.
class CGattCmdDlg : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CGattCmdDlg)

public:
    static const char* const kGroupFile;

    // `groupFile` is the resource of the command groups; another one serves tests.
    CGattCmdDlg(uint8_t condix, CMsg* msg, LogManager* logger, QWidget* parent = nullptr,
                const QString& groupFile = QLatin1String(kGroupFile));
    ~CGattCmdDlg() override;

    CmsgField* form() const { return currentForm; }

signals:
    void sig_sendDicoverCmd();
    void sig_btnAddSubFieldClicked();
    void sig_btnRemoveSubFieldClicked();

public slots:
    void on_treeViewMsg_clicked(const QModelIndex& index);
    void onRcvMsg(const QByteArray& rcvMsg);
    void on_btnSend_clicked();
    void on_toolButtonAddSubField_clicked();
    void on_toolButtonRemoveSubField_clicked();
    void on_containsSubFields();

private:
    struct Command {
        QString ID;
        QString name;
        QString type;
    };
    struct Group {
        QString name;
        QList<Command> commands;
    };

    bool readGroups(const QString& path);
    QString typeOf(const QString& name) const;

    uint8_t condix = 0;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    QList<Group> commandGroups;
    QMap<QString, CmsgField*> forms;
    QString currentName;
    CmsgField* currentForm = nullptr;

    QTreeView* treeViewMsg = nullptr;
    QStandardItemModel* m_model = nullptr;
    QLabel* m_title = nullptr;
    QVBoxLayout* m_formLayout = nullptr;
    QPushButton* btnSend = nullptr;
    QToolButton* toolButtonAddSubField = nullptr;
    QToolButton* toolButtonRemoveSubField = nullptr;
};
