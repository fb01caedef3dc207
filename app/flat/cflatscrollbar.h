#pragma once

#include <QScrollBar>

// A thin scroll bar laid over the content of a TFlatScrollArea, shown only while the mouse is in.
class CFlatScrollBar : public QScrollBar
{
    Q_OBJECT
    Q_DISABLE_COPY(CFlatScrollBar)

public:
    explicit CFlatScrollBar(Qt::Orientation orientation, QWidget* parent = nullptr);
    ~CFlatScrollBar() override;

public slots:
    void onRangeChanged(int min, int max);
};
