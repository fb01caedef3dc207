#pragma once

#include <QTabWidget>

#include "app/mytabstyle.h"

class QPaintEvent;
class QToolButton;

// The main window's tab widget: one slanted tab per dongle and a plus button right behind the last.
class CDongleTabWidget : public QTabWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CDongleTabWidget)

public:
    explicit CDongleTabWidget(QWidget* parent = nullptr);
    ~CDongleTabWidget() override;

    QToolButton* addButton() const { return m_addButton; }

signals:
    void addDongleTab();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    MyTabStyle m_tabStyle;
    QToolButton* m_addButton = nullptr;
};
