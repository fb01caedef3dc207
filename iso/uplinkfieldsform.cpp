#include "uplinkfieldsform.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>

#include "log/logmanager.h"
#include "schema/ccfgfileparse.h"
#include "schema/cutil.h"

QWidget* uplinkFieldsForm(LogManager* logger, const QString& component, const UplinkFieldMap& fields,
                          QWidget* parent)
{
    auto* form = new QWidget(parent);
    auto* rows = new QGridLayout(form);
    rows->setContentsMargins(0, 0, 0, 0);
    UiNameToFields ui;
    if (CUtil::findUiFields(CCfgFileParse::instance()->m_uplinkNameToUiVec, component, ui) != 0) {
        logger->log(QStringLiteral("find element from m_uplinkNameToUiVec failed."), 4);
        return form;
    }
    for (const UiField& field : qAsConst(ui.fields)) {
        quint64 value = 0;
        CUtil::arrayToValue(0, fields.value(field.key), value);
        const QString text = field.valueToDesc.isEmpty() ? QString::number(value) : field.valueToDesc.value(value);
        auto* edit = new QLineEdit(text, form);
        edit->setObjectName(field.key);
        edit->setReadOnly(true);
        const int row = rows->rowCount();
        rows->addWidget(new QLabel(field.title, form), row, 0);
        rows->addWidget(edit, row, 1);
        if (!field.min.isEmpty() || !field.max.isEmpty()) {
            auto* limits = new QLabel(QStringLiteral("%1 ~ %2").arg(field.min, field.max), form);
            limits->setStyleSheet(QStringLiteral("color: #808080;"));
            rows->addWidget(limits, row, 2);
        }
    }
    rows->setColumnStretch(1, 1);
    return form;
}
