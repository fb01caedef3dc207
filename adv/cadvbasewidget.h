#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QVariant>
#include <QWidget>

#include "schema/ccommand.h"

class CAdvDataWidget;
class CMsg;
class CStyledComboBox;
class CValidateLineEdit;
class LogManager;
class QCheckBox;
class QGridLayout;
class QLayout;
class QPushButton;

// The parameter page of one advertising set: its fields in a scroll area, a reset button and the
// payload editor below. The three kinds of set derive from it; the advertising list calls
// sendParameters, then sendData once the dongle took the parameters.
class CAdvBaseWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CAdvBaseWidget)

public:
    static const char* const LegacyKind;
    static const char* const ExtendedKind;
    static const char* const PeriodicKind;

    // The page of a kind of set ("Legacy Advertising" and so on); null for an unknown kind.
    static CAdvBaseWidget* create(const QString& kind, CMsg* msg, LogManager* logger, FieldValueMap* config,
                                  QWidget* parent = nullptr);
    ~CAdvBaseWidget() override;

    CAdvDataWidget* advDataWidget() const { return m_AdvDataWidget; }

public slots:
    // Validates the page and sends its parameter set command; false when refused.
    virtual bool sendParameters(QByteArray advIndex) = 0;
    // Sends the set's payload frame; false when refused.
    virtual bool sendData(QByteArray advIndex) = 0;
    virtual void on_btnResetAdvSettings_clicked() = 0;

protected:
    // The fields of an extended set, which also carry a periodic set. Each page names them with
    // its own letter, in object names ("le_eprimmin") and field keys ("eprimIntvMin").
    struct ExtendedFields
    {
        QString letter;
        CValidateLineEdit* maxTxPower = nullptr;
        CValidateLineEdit* peerAddr = nullptr;
        CStyledComboBox* addrType = nullptr;
        CValidateLineEdit* primIntvMin = nullptr;
        CValidateLineEdit* primIntvMax = nullptr;
        QList<QCheckBox*> channels;
        CStyledComboBox* primPhy = nullptr;
        CValidateLineEdit* secMaxSkip = nullptr;
        CStyledComboBox* secPhy = nullptr;
        CValidateLineEdit* secSid = nullptr;
        CValidateLineEdit* duration = nullptr;
        CValidateLineEdit* maxAdvEvt = nullptr;
        CStyledComboBox* ownType = nullptr;
    };

    CAdvBaseWidget(CMsg* msg, LogManager* logger, FieldValueMap* config, QWidget* parent);

    // The page's rules, each refusal shown; false at the first that fails.
    virtual bool validate() = 0;

    // Fields go into the scroll area's grid two to a row, each a label and its control.
    void addField(const QString& label, QWidget* control);
    void addField(const QString& label, QLayout* controls);
    // A field on a row of its own, its controls across the whole width.
    void addWideField(const QString& label, QLayout* controls);
    CStyledComboBox* makeCombo(const QString& name, const QStringList& items);
    CValidateLineEdit* makeEdit(const QString& name, const QString& toolTip = QString());
    QCheckBox* makeCheckBox(const QString& name, const QString& text);
    // The boxes side by side, for one field, `perLine` to a line.
    QLayout* row(const QList<QCheckBox*>& boxes, int perLine = 4);

    void createExtendedFields(ExtendedFields& f, const QString& skipTip, const QString& sidTip);
    // Lays out all but the own address type, which each page pairs with a field of its own.
    void placeExtendedFields(const ExtendedFields& f);
    void resetExtendedFields(const ExtendedFields& f, const QString& primDefault);
    void collectExtendedFields(const ExtendedFields& f, FieldValueMap& fields) const;
    QList<CValidateLineEdit*> extendedEdits(const ExtendedFields& f) const;
    // An extended set's duration: 10 ms to 180 s while limited-discoverable, else up to 655.35 s.
    static void followDiscoveryMode(const ExtendedFields& f, int discMode);

    // The duration is counted in 10 ms; a new range keeps what the user typed.
    static void setDurationRange(CValidateLineEdit* edit, const QString& min, const QString& max,
                                 const QString& toolTip);
    static void setInterval(CValidateLineEdit* edit, const QString& max, const QString& length,
                            const QString& defaultValue);
    static bool anyChecked(const QList<QCheckBox*>& boxes);
    static bool anyEmpty(const QList<CValidateLineEdit*>& edits);
    // Ticked boxes, box i adding bit i.
    static uint bitsOf(const QList<QCheckBox*>& boxes);
    // The editor's value as a number, which the codec writes in exactly its field's width.
    static QVariant number(CValidateLineEdit* edit);
    static quint64 numberOf(CValidateLineEdit* edit);

    // Shows the refusal and logs its title; always false.
    bool refuse(const QString& title, const QString& text);
    // Shows the text in an "ERROR" box and logs `logText`, which may differ by a full stop;
    // always false.
    bool refuseError(const QString& text, const QString& logText);
    // Sends the parameter set when the map holds every key of the command, else logs `wrongText`.
    bool sendParameterSet(const QString& command, const FieldValueMap& fields, const QString& wrongText);
    // A payload equal to the editor's error marker is shown with `text` and logged as `logText`.
    bool refuseMarked(const QByteArray& data, const QString& text, const QString& logText);
    // The editor's advertising and scan response payloads; false, with the refusal shown, when
    // either is marked wrong.
    bool takeAdvertisingData(QByteArray& adv, QByteArray& rsp);
    // The page's rules in their order, then the check for empty editors, whose state is taken
    // first: the rules read the editors, and their repair would fill an emptied one. `kind`
    // names the set in the message ("legacy").
    bool passesChecks(const QList<CValidateLineEdit*>& edits, const QString& kind);
    // The payload frames are no schema commands: the page builds them itself, the index and then
    // each block behind its length of `lengthBytes`, and logs them as the codec logs a command.
    bool sendDataFrame(quint8 opcode, const QString& name, const QByteArray& advIndex,
                       const QList<QByteArray>& blocks, int lengthBytes);

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    FieldValueMap* m_config = nullptr;
    const QByteArray m_errorMarker;
    CAdvDataWidget* m_AdvDataWidget = nullptr;
    QPushButton* btnResetAdvSettings = nullptr;

private:
    QWidget* m_fieldsBody = nullptr;
    QGridLayout* m_fields = nullptr;
    int m_fieldCount = 0;
};
