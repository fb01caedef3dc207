#pragma once

#include <QString>

#include "app/flat/tflatscrollarea.h"

class QFocusEvent;
class QMimeData;

// The multi-line editor of long data: colon-separated hex bytes, typed in wire order.
class CValidateTextEdit : public TFlatScrollArea<QTextEdit>
{
    Q_OBJECT
    Q_DISABLE_COPY(CValidateTextEdit)

public:
    explicit CValidateTextEdit(QWidget* parent = nullptr);
    ~CValidateTextEdit() override;

    // The digits without colons, an odd last digit as the low half of a byte.
    QString value() const { return valueOf(toPlainText()); }
    static QString valueOf(QString text);
    QString rawText() const;
    // The focus-out repair: whole bytes, colon-separated.
    void repair();

    QSize sizeHint() const override;

signals:
    void sig_textEditLength(int length);

public slots:
    void on_textChanged();

protected:
    void focusOutEvent(QFocusEvent* event) override;
    void insertFromMimeData(const QMimeData* source) override;

private:
    bool m_filtering = false;
};
