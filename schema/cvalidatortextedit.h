#pragma once

#include <QTextEdit>

class QFocusEvent;
class QKeyEvent;

// The text field of CInputDialog: decimal digits (kind 10) or colon-separated hex (any other kind).
class CValidatorTextEdit : public QTextEdit
{
    Q_OBJECT
    Q_DISABLE_COPY(CValidatorTextEdit)

public:
    static constexpr int Decimal = 10;

    explicit CValidatorTextEdit(int kind = 16, QWidget* parent = nullptr);
    // Colon-separated hex: designer forms pass only the parent.
    explicit CValidatorTextEdit(QWidget* parent);
    ~CValidatorTextEdit() override;

    int kind() const { return m_kind; }
    void setKind(int kind) { m_kind = kind; }
    // The focus-out repair of the hex kind: whole bytes, colon-separated.
    void repair();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    int m_kind = 16;
};
