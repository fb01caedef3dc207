#pragma once

#include <QLineEdit>

class QMouseEvent;

// A line edit that tells when it is clicked, for read-only lines that open something.
class CLineEdit : public QLineEdit
{
    Q_OBJECT
    Q_DISABLE_COPY(CLineEdit)

public:
    explicit CLineEdit(QWidget* parent = nullptr);
    ~CLineEdit() override;

signals:
    void clicked();

protected:
    void mousePressEvent(QMouseEvent* event) override;
};
