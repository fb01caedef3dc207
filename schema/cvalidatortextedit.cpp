#include "cvalidatortextedit.h"

#include <QRegExp>
#include <QTextCursor>

#include "schema/cutil.h"

CValidatorTextEdit::CValidatorTextEdit(int kind, QWidget* parent)
    : QTextEdit(parent)
    , m_kind(kind)
{
}

CValidatorTextEdit::CValidatorTextEdit(QWidget* parent)
    : CValidatorTextEdit(16, parent)
{
}

CValidatorTextEdit::~CValidatorTextEdit() = default;

void CValidatorTextEdit::keyPressEvent(QKeyEvent* event)
{
    QTextEdit::keyPressEvent(event);
    const QRegExp pattern(m_kind == Decimal ? QStringLiteral("[\\d]+")
                                            : QStringLiteral("[0-9a-fA-F:]+"));
    QString text = toPlainText();
    if (pattern.exactMatch(text))
        return;
    // A key adds one character at most, so dropping the last one undoes a typed intruder.
    text.chop(1);
    setPlainText(text);
    moveCursor(QTextCursor::End);
}

void CValidatorTextEdit::repair()
{
    if (m_kind == Decimal)
        return;
    QString digits = toPlainText().remove(QLatin1Char(':'));
    if (digits.size() % 2 != 0)
        digits.prepend(QLatin1Char('0'));
    const QString repaired = CUtil::colonPairs(digits);
    if (repaired != toPlainText())
        setPlainText(repaired);
}

void CValidatorTextEdit::focusOutEvent(QFocusEvent* event)
{
    repair();
    QTextEdit::focusOutEvent(event);
}
