#pragma once

#include <QLineEdit>
#include <QString>

class QFocusEvent;
class QIntValidator;
class QRegExpValidator;

// The one-line editor of every form and setting: keeps the text of its kind within a pattern,
// repairs it on focus out, and turns it into the hex text the codec sends (and back).
class CValidateLineEdit : public QLineEdit
{
    Q_OBJECT
    Q_DISABLE_COPY(CValidateLineEdit)

public:
    // A kind and its limits as the XML files write them. `length` counts text characters for
    // addr, hex, string and littleEnd, bytes for the number kinds.
    struct Limits
    {
        QString type;
        QString min;
        QString max;
        QString singleStep;
        QString precision;
        QString length;
    };

    static constexpr char kHexPattern[] = "0x[0-9a-fA-F]*";
    static constexpr char kColonHexPattern[] = "[0-9a-fA-F:]*";

    explicit CValidateLineEdit(QWidget* parent = nullptr);
    ~CValidateLineEdit() override;

    // The set-up of `limits.type`, the text kinds with the patterns above; an unknown kind
    // leaves the editor as it was.
    void setKind(const Limits& limits, const QString& defaultValue);

    // One set-up per kind; each starts from a cleared editor.
    void setIntType(const QString& min, const QString& max, const QString& length,
                    const QString& defaultValue);
    void setInt8Type(const QString& min, const QString& max, const QString& length,
                     const QString& defaultValue);
    void setDoubleType(const QString& min, const QString& max, const QString& singleStep,
                       const QString& precision, const QString& length,
                       const QString& defaultValue);
    void setInt16DoubleType(const QString& min, const QString& max, const QString& singleStep,
                            const QString& precision, const QString& length,
                            const QString& defaultValue);
    void setHexType(const QString& length, const QString& pattern, const QString& defaultValue,
                    const QString& secondDefault);
    void setAddrType(const QString& length, const QString& pattern, const QString& defaultValue);
    void setLittleEndType(const QString& length, const QString& pattern,
                          const QString& defaultValue);
    void setStringType(const QString& length, const QString& defaultValue);
    // UUID lists: `length` "5", "11" or "47" picks "16bit", "32bit" or "128bit". Any other
    // length leaves the editor cleared, without a kind, and gives false.
    bool setAdvDataType(const QString& length, const QString& pattern,
                        const QString& defaultValue);

    // The focus-out repair of the current kind.
    void repair();
    // The hex value text of the current kind; repairs the text first.
    QString value();
    // The conversion value() makes, for a text of an editor of these limits.
    static QString valueForm(const Limits& limits, const QString& text);
    void setValue(QString hexText);
    QString type() const { return m_type; }
    // Whole steps in a quotient of a value by its step, as the wire counts them.
    static qint64 stepCount(double quotient);

public slots:
    void on_hexTextEdited(QString currData);
    void on_stringTextEdit(QString currData);
    void on_advDataTextEdited(QString currData);

protected:
    void focusOutEvent(QFocusEvent* event) override;

private:
    void resetKind();
    void setNumberType(const QString& type, const QString& min, const QString& max,
                       const QString& length, const QString& defaultValue);
    void setDecimalType(const QString& type, const QString& pattern, const QString& min,
                        const QString& max, const QString& singleStep, const QString& precision,
                        const QString& length, const QString& defaultValue);
    void setColonType(const QString& type, const QString& length, const QString& pattern,
                      const QString& defaultValue);
    void applyMaxLength(const QString& length);
    int uuidDigits() const;
    double step() const;
    static double stepOf(const QString& singleStep);

    QString m_min;
    QString m_max;
    QString m_defaultValue;
    QString m_length;
    QString m_singleStep;
    QString m_precision;
    QString m_type;
    QRegExpValidator* m_regExpValidator = nullptr;
    QIntValidator* m_intValidator = nullptr;
};
