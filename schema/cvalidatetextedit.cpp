#include "cvalidatetextedit.h"

#include <algorithm>

#include <QMimeData>
#include <QTextCursor>

#include "app/flat/cflatmessage.h"
#include "schema/cutil.h"

namespace {

const int PasteLimit = 1024;

bool isHexOrColon(QChar c)
{
    return c == QLatin1Char(':') || (c >= QLatin1Char('0') && c <= QLatin1Char('9'))
        || (c >= QLatin1Char('a') && c <= QLatin1Char('f'))
        || (c >= QLatin1Char('A') && c <= QLatin1Char('F'));
}

} // namespace

CValidateTextEdit::CValidateTextEdit(QWidget* parent)
    : TFlatScrollArea<QTextEdit>(parent)
{
    setPlainText(QStringLiteral("00:00"));
    connect(this, &QTextEdit::textChanged, this, &CValidateTextEdit::on_textChanged);
}

CValidateTextEdit::~CValidateTextEdit() = default;

QString CValidateTextEdit::valueOf(QString text)
{
    QString digits = text.remove(QLatin1Char(':'));
    if (digits.size() % 2 != 0)
        digits.insert(digits.size() - 1, QLatin1Char('0'));
    return digits;
}

QString CValidateTextEdit::rawText() const
{
    return toPlainText();
}

void CValidateTextEdit::repair()
{
    QString digits = toPlainText().remove(QLatin1Char(':'));
    if (digits.size() % 2 != 0)
        digits.append(QLatin1Char('0'));
    const QString out = CUtil::colonPairs(digits);
    if (out != toPlainText())
        setPlainText(out);
}

QSize CValidateTextEdit::sizeHint() const
{
    return QSize(TFlatScrollArea<QTextEdit>::sizeHint().width(), 50);
}

void CValidateTextEdit::on_textChanged()
{
    // Setting the filtered text below comes back here; the outer call reports the length.
    if (m_filtering)
        return;
    const QString text = toPlainText();
    if (!std::all_of(text.begin(), text.end(), isHexOrColon)) {
        QString kept;
        int firstRejected = -1;
        for (int i = 0; i < text.size(); ++i) {
            if (isHexOrColon(text.at(i)))
                kept += text.at(i);
            else if (firstRejected < 0)
                firstRejected = i;
        }
        m_filtering = true;
        setPlainText(kept);
        m_filtering = false;
        QTextCursor cursor = textCursor();
        cursor.setPosition(qMin(firstRejected, kept.size()));
        setTextCursor(cursor);
    }
    emit sig_textEditLength(toPlainText().size());
}

void CValidateTextEdit::focusOutEvent(QFocusEvent* event)
{
    repair();
    TFlatScrollArea<QTextEdit>::focusOutEvent(event);
}

void CValidateTextEdit::insertFromMimeData(const QMimeData* source)
{
    const QString text = source->text();
    if (text.size() > PasteLimit) {
        CFlatMessage::information(this, QStringLiteral("error"),
                                  QStringLiteral("text length should < 1kb"));
        return;
    }
    textCursor().insertText(text);
}
