#include "createcisdialog.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>

#include "app/flat/cflatmessage.h"
#include "schema/ccommand.h"
#include "schema/cstyledcombobox.h"
#include "schema/cutil.h"

createCISDialog::createCISDialog(CMsg* msg, LogManager* logger, QWidget* parent)
    : CFlatDialog(QStringLiteral("Create CIS Connection"), parent)
    , m_msg(msg)
    , m_logger(logger)
{
    auto* body = new QWidget(this);
    m_grid = new QGridLayout(body);
    m_grid->setColumnStretch(3, 1);
    auto* ok = new QPushButton(QStringLiteral("OK"), this);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    layOutWithOkCancel(body, ok, cancel);
    connect(ok, &QPushButton::clicked, this, &createCISDialog::on_pushButton_ok_clicked);
    connect(cancel, &QPushButton::clicked, this, &createCISDialog::reject);
}

createCISDialog::~createCISDialog() = default;

int createCISDialog::run(const QVector<cisParameter>& streams, const QByteArray& masterCondixes)
{
    m_handles.clear();
    m_condixes.clear();
    while (QLayoutItem* item = m_grid->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (int row = 0; row < streams.size(); ++row) {
        QWidget* parent = m_grid->parentWidget();
        m_grid->addWidget(new QLabel(QStringLiteral("CIS Connection Handle"), parent), row, 0);
        auto* handle = new QLabel(streams.at(row).connection_handle, parent);
        m_grid->addWidget(handle, row, 1);
        m_grid->addWidget(new QLabel(QStringLiteral("ACL Connection Index"), parent), row, 2);
        auto* condix = new CStyledComboBox(parent);
        for (const char index : masterCondixes)
            condix->addItem(QString::number(quint8(index)));
        m_grid->addWidget(condix, row, 3);
        m_handles.append(handle);
        m_condixes.append(condix);
    }
    adjustSize();
    return exec();
}

void createCISDialog::on_pushButton_ok_clicked()
{
    QStringList handles;
    QStringList condixes;
    for (const QLabel* handle : qAsConst(m_handles))
        handles.append(handle->text());
    for (const QComboBox* condix : qAsConst(m_condixes)) {
        if (!condix->currentText().isEmpty())
            condixes.append(condix->currentText());
    }
    if (handles.size() != condixes.size()) {
        // Not a child of this dialog: the page that owns it may go while the box is up.
        CFlatMessage::information(parentWidget() ? parentWidget()->window() : nullptr,
                                  QStringLiteral("ERROR"), QStringLiteral("Get cis data error"));
        return;
    }
    QByteArray streams;
    for (int i = 0; i < handles.size(); ++i) {
        streams.append(CUtil::valueToArray(0, handles.at(i).toULongLong(), 2));
        streams.append(char(condixes.at(i).toUInt()));
    }
    const FieldValueMap fields{{"cis_count", uint(handles.size())}, {"cis_value", streams}};
    if (!CCommand::sendMsg(m_msg, m_logger, QStringLiteral("Create CIS"), fields))
        CCommand::logSendFailed(m_logger, QStringLiteral("Create CIS"));
    accept();
}
