#pragma once

#include <QMap>
#include <QString>

#include "app/flat/cflatdialog.h"
#include "iso/isoparameters.h"

class CmsgField;
class LogManager;

// What the CIG and CIS dialogs share: a form generated from a component of the command
// schema, an add or edit mode, and a running id that numbers the records added.
class CIsoParameterDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CIsoParameterDialog)

public:
    bool editMode() const { return m_editMode; }
    quint8 runningId() const { return m_runningId; }
    CmsgField* form() const { return m_form; }

    // Opens the form for a new record.
    void runAdd();

protected:
    CIsoParameterDialog(LogManager* logger, const QString& component, QWidget* parent);
    ~CIsoParameterDialog() override;

    // The id of the record the form makes: the edited record's, or the next running id, which
    // then moves on. Ids wrap after 255 and are not reused before.
    QString takeId();
    QMap<QString, QString> formTexts() const;
    // Opens the form filled with a record's values, by field key; `id` stays the record's.
    void runEditTexts(const QMap<QString, QString>& texts, const QString& id);

protected slots:
    virtual void on_pushButton_ok_clicked() = 0;

private:
    CmsgField* m_form = nullptr;
    bool m_editMode = false;
    quint8 m_runningId = 0;
    QString m_editedId;
};

// Defines a connected isochronous group.
class cigParameterDialog : public CIsoParameterDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(cigParameterDialog)

public:
    cigParameterDialog(LogManager* logger, QWidget* parent = nullptr);
    ~cigParameterDialog() override;

    void runEdit(const cigParameter& cig);

signals:
    void sig_cigParaUpdate(cigParameter cigdata);

protected slots:
    void on_pushButton_ok_clicked() override;
};

// Defines one stream of a group.
class cisParameterDialog : public CIsoParameterDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(cisParameterDialog)

public:
    cisParameterDialog(LogManager* logger, QWidget* parent = nullptr);
    ~cisParameterDialog() override;

    void runEdit(const cisParameter& cis);

signals:
    void sig_cisParaUpdate(cisParameter cisdata);

protected slots:
    void on_pushButton_ok_clicked() override;
};
