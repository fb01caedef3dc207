#pragma once

#include <QComboBox>

// A combo box whose items are drawn by a styled delegate, so the style sheet's item height
// applies to its list.
class CStyledComboBox : public QComboBox
{
    Q_OBJECT
    Q_DISABLE_COPY(CStyledComboBox)

public:
    explicit CStyledComboBox(QWidget* parent = nullptr);
    ~CStyledComboBox() override;
};
