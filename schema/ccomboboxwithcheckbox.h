#pragma once

#include <QComboBox>
#include <QMap>
#include <QString>

class CLineEdit;
class QCheckBox;
class QFocusEvent;
class QListWidget;

// Edits a bit mask: a popup of check boxes, one per bit value, and a read-only line listing the
// ticked captions.
class CComboBoxWithCheckBox : public QComboBox
{
    Q_OBJECT
    Q_DISABLE_COPY(CComboBoxWithCheckBox)

public:
    static constexpr int CaptionLimit = 60;

    explicit CComboBoxWithCheckBox(QMap<uint, QString> valueToCaption, QWidget* parent = nullptr);
    ~CComboBoxWithCheckBox() override;

    uint value() const { return m_value; }
    // Ticks the boxes of `value` without telling anyone: the caller knows what it set.
    void setValue(uint value);

signals:
    void comboxWithCheckBoxValueChanged(int value);

public slots:
    void onCheckBoxClicked();
    void onTextChanged(QString text);
    void onLineEditClicked();

protected:
    void focusOutEvent(QFocusEvent* event) override;

private:
    QCheckBox* boxAt(int row) const;
    void showText(const QString& text);

    QMap<uint, QString> m_valueToCaption;
    QListWidget* m_listWidget = nullptr;
    CLineEdit* m_lineEdit = nullptr;
    uint m_value = 0;
    QString m_text;
};
