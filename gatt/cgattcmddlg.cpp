#include "cgattcmddlg.h"

#include <QLoggingCategory>
#include <QFile>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTableWidget>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <QXmlStreamReader>

#include "link/cmsg.h"
#include "log/logmanager.h"
#include "schema/ccommand.h"
#include "schema/cmsgfield.h"
#include "schema/cstandardmsgdlg.h"

// Off unless asked for (QT_LOGGING_RULES="tarvine.gatt.commands.debug=true"): a notifying peer
// would write a line per frame.
Q_LOGGING_CATEGORY(lcGattCommands, "tarvine.gatt.commands", QtInfoMsg)

namespace {

constexpr int kErrorLevel = 4;

void logError(LogManager* logger, const QString& text)
{
    if (logger)
        logger->log(text, kErrorLevel);
}

} // namespace

const char* const CGattCmdDlg::kGroupFile = ":/config/resources/conf/gatt_down_link_command_group.xml";

CGattCmdDlg::CGattCmdDlg(uint8_t condix, CMsg* msg, LogManager* logger, QWidget* parent, const QString& groupFile)
    : QWidget(parent)
    , condix(condix)
    , m_msg(msg)
    , m_logger(logger)
    , treeViewMsg(new QTreeView(this))
    , m_model(new QStandardItemModel(this))
    , m_title(new QLabel(this))
    , m_formLayout(new QVBoxLayout)
    , btnSend(new QPushButton(QStringLiteral("Send"), this))
    , toolButtonAddSubField(new QToolButton(this))
    , toolButtonRemoveSubField(new QToolButton(this))
{
    treeViewMsg->setObjectName(QStringLiteral("treeViewMsg"));
    treeViewMsg->setHeaderHidden(true);
    treeViewMsg->setEditTriggers(QAbstractItemView::NoEditTriggers);
    treeViewMsg->setUniformRowHeights(true);
    treeViewMsg->setModel(m_model);
    treeViewMsg->setMinimumWidth(300);
    m_title->setObjectName(QStringLiteral("label_title"));
    btnSend->setObjectName(QStringLiteral("btnSend"));
    toolButtonAddSubField->setObjectName(QStringLiteral("toolButtonAddSubField"));
    toolButtonAddSubField->setText(QStringLiteral("Add Attribute"));
    toolButtonRemoveSubField->setObjectName(QStringLiteral("toolButtonRemoveSubField"));
    toolButtonRemoveSubField->setText(QStringLiteral("Remove Attribute"));
    for (QWidget* hidden : {static_cast<QWidget*>(m_title), static_cast<QWidget*>(btnSend),
                            static_cast<QWidget*>(toolButtonAddSubField), static_cast<QWidget*>(toolButtonRemoveSubField)})
        hidden->hide();

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(toolButtonAddSubField);
    buttons->addWidget(toolButtonRemoveSubField);
    buttons->addStretch();
    buttons->addWidget(btnSend);
    auto* right = new QVBoxLayout;
    right->addWidget(m_title);
    right->addLayout(m_formLayout, 1);
    right->addLayout(buttons);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(treeViewMsg);
    layout->addLayout(right, 1);

    connect(treeViewMsg, &QTreeView::clicked, this, &CGattCmdDlg::on_treeViewMsg_clicked);
    connect(btnSend, &QPushButton::clicked, this, &CGattCmdDlg::on_btnSend_clicked);
    connect(toolButtonAddSubField, &QToolButton::clicked, this, &CGattCmdDlg::on_toolButtonAddSubField_clicked);
    connect(toolButtonRemoveSubField, &QToolButton::clicked, this, &CGattCmdDlg::on_toolButtonRemoveSubField_clicked);

    if (!readGroups(groupFile)) {
        // A resource is named without its colon.
        logError(m_logger, QStringLiteral("parse xml fail: ") + (groupFile.startsWith(QLatin1Char(':')) ? groupFile.mid(1) : groupFile));
        return;
    }
    for (const Group& group : qAsConst(commandGroups)) {
        auto* groupItem = new QStandardItem(group.name);
        for (const Command& command : group.commands) {
            groupItem->appendRow(new QStandardItem(command.name));
            auto* form = new CmsgField(m_logger, command.name, this);
            connect(form, &CmsgField::sig_containsSubField, this, &CGattCmdDlg::on_containsSubFields);
            form->hide();
            forms.insert(command.name, form);
        }
        m_model->appendRow(groupItem);
    }
    treeViewMsg->expandAll();
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvGattMsg, this, &CGattCmdDlg::onRcvMsg);
}

CGattCmdDlg::~CGattCmdDlg() = default;

bool CGattCmdDlg::readGroups(const QString& path)
{
    const QString fileName = QFileInfo(path).fileName();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        logError(m_logger, QStringLiteral("Open file faied: ") + fileName);
        return false;
    }
    QXmlStreamReader xml(&file);
    QList<Group> groups;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        const QXmlStreamAttributes attributes = xml.attributes();
        if (xml.name() == QLatin1String("group")) {
            groups.append({attributes.value(QLatin1String("name")).toString(), {}});
        } else if (xml.name() == QLatin1String("command") && !groups.isEmpty()) {
            groups.last().commands.append({attributes.value(QLatin1String("ID")).toString(),
                                           attributes.value(QLatin1String("name")).toString(),
                                           attributes.value(QLatin1String("type")).toString()});
        }
    }
    if (xml.hasError()) {
        logError(m_logger, QStringLiteral("xml file is invalid: ") + fileName);
        return false;
    }
    commandGroups = groups;
    return true;
}

QString CGattCmdDlg::typeOf(const QString& name) const
{
    for (const Group& group : commandGroups) {
        for (const Command& command : group.commands) {
            if (command.name == name)
                return command.type;
        }
    }
    return QString();
}

void CGattCmdDlg::on_treeViewMsg_clicked(const QModelIndex& index)
{
    toolButtonAddSubField->hide();
    toolButtonRemoveSubField->hide();
    currentName = index.data().toString();
    for (CmsgField* form : qAsConst(forms))
        form->hide();
    if (currentForm)
        m_formLayout->removeWidget(currentForm);
    // Four groups bear the name of one of their commands: only a command's row takes its form.
    const bool isCommand = !m_model->hasChildren(index);
    CmsgField* form = isCommand ? forms.value(currentName) : nullptr;
    if (form) {
        currentForm = form;
        m_formLayout->addWidget(form);
        form->show();
    }
    if (isCommand) {
        btnSend->show();
        m_title->setText(currentName + QStringLiteral(" Parameters"));
        m_title->show();
    } else {
        btnSend->hide();
    }
}

// The panel reads the answers from the same signal.
void CGattCmdDlg::onRcvMsg(const QByteArray& rcvMsg)
{
    qCDebug(lcGattCommands) << rcvMsg.toHex();
}

void CGattCmdDlg::on_btnSend_clicked()
{
    if (!currentForm)
        return;
    FieldValueMap values;
    currentForm->readFormValues(values);
    values.insert(QStringLiteral("condix"), QByteArray(1, char(condix)));
    if (!CCommand::sendMsg(m_msg, m_logger, currentName, values, {}))
        CCommand::logSendFailed(m_logger, currentName);
    if (typeOf(currentName) == QLatin1String("discover"))
        emit sig_sendDicoverCmd();
}

void CGattCmdDlg::on_containsSubFields()
{
    toolButtonAddSubField->show();
    toolButtonRemoveSubField->show();
    if (currentForm)
        connect(this, &CGattCmdDlg::sig_btnAddSubFieldClicked, currentForm, &CmsgField::on_btnAddSubFieldClicked,
                Qt::UniqueConnection);
}

void CGattCmdDlg::on_toolButtonAddSubField_clicked()
{
    if (!currentForm)
        return;
    auto* dialog = new CStandardMsgDlg(QStringLiteral("Add Attribute"), m_logger, currentName, this);
    connect(dialog, &CStandardMsgDlg::sig_standardOKClicked, currentForm, &CmsgField::on_addElemToTableWidget);
    emit sig_btnAddSubFieldClicked();
    dialog->exec();
}

void CGattCmdDlg::on_toolButtonRemoveSubField_clicked()
{
    QTableWidget* table = currentForm ? currentForm->subFieldTable() : nullptr;
    if (table && table->currentRow() >= 0)
        table->removeRow(table->currentRow());
}
