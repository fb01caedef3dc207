#pragma once

#include <QWidget>

class QMouseEvent;

// The title bar of a folding form: a press anywhere on it folds or unfolds the form.
class SigWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(SigWidget)

public:
    explicit SigWidget(QWidget* parent = nullptr);

signals:
    void SigWidgetPressed();

protected:
    void mousePressEvent(QMouseEvent* event) override;
};
