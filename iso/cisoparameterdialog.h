#pragma once

#include <QMap>
#include <QString>

#include "app/flat/cflatdialog.h"
#include "iso/isoparameters.h"

class CmsgField;
class QLineEdit;
class LogManager;

// What the dialogs of the isochronous pages share: a form, mostly generated from a component of
// the command schema, an add or edit mode, and a running id that numbers the records added.
class CIsoParameterDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CIsoParameterDialog)

public:
    bool editMode() const { return m_editMode; }
    quint8 runningId() const { return m_runningId; }
    // The generated form, or null for a dialog with a form of its own.
    CmsgField* form() const { return m_form; }

    // Opens the form for a new record.
    void runAdd();

protected:
    // A dialog of the form of a schema component.
    CIsoParameterDialog(LogManager* logger, const QString& title, const QString& component, QWidget* parent);
    // A dialog of a form of its own.
    CIsoParameterDialog(const QString& title, QWidget* body, QWidget* parent);
    ~CIsoParameterDialog() override;

    // Just before the dialog runs, with the id that its record will have.
    virtual void aboutToRun(const QString& id);

    // The id of the record the form makes: the edited record's, or the next running id, which
    // then moves on. Ids wrap after 255 and are not reused before.
    QString takeId();
    QMap<QString, QString> formTexts() const;
    // Opens the form filled with a record's values, by field key; `id` stays the record's.
    void runEditTexts(const QMap<QString, QString>& texts, const QString& id);

protected slots:
    virtual void on_pushButton_ok_clicked() = 0;

private:
    void run(const QString& id);

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

// Defines a BIG to synchronise to.
class bigParameterDialog : public CIsoParameterDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(bigParameterDialog)

public:
    bigParameterDialog(LogManager* logger, QWidget* parent = nullptr);
    ~bigParameterDialog() override;

    void runEdit(const bigParameter& big);

signals:
    void sig_bigParaUpdate(bigParameter bigData);

protected slots:
    void on_pushButton_ok_clicked() override;
};

// Adds a BIS to the BIG shown: the BIS takes the next id.
class bisParameterDialog : public CIsoParameterDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(bisParameterDialog)

public:
    explicit bisParameterDialog(QWidget* parent = nullptr);
    ~bisParameterDialog() override;

    void runEdit(const bisParameter& bis);

signals:
    void sig_bisParaUpdate(bisParameter bisData);

protected:
    void aboutToRun(const QString& id) override;

protected slots:
    void on_pushButton_ok_clicked() override;

private:
    QLineEdit* m_id = nullptr;
};

// Defines a BIG to broadcast.
class SlaveBIGParaDialog : public CIsoParameterDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(SlaveBIGParaDialog)

public:
    SlaveBIGParaDialog(LogManager* logger, QWidget* parent = nullptr);
    ~SlaveBIGParaDialog() override;

    void runEdit(const slaveBigPara& big);

signals:
    void sig_slaveBigParaUpdate(slaveBigPara bigData);

protected slots:
    void on_pushButton_ok_clicked() override;
};
