#pragma once

#include <QEvent>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QResizeEvent>
#include <QScrollArea>
#include <QScrollBar>
#include <QTableView>
#include <QTableWidget>
#include <QTextBrowser>
#include <QTextEdit>
#include <QTreeView>
#include <QTreeWidget>

#include "app/flat/cflatscrollbar.h"

// A Qt scroll area whose own bars are replaced by two flat bars lying over the content, shown
// while the mouse is inside and the content does not fit.
template<typename T>
class TFlatScrollArea : public T
{
public:
    static constexpr int BarWidth = 10;
    static constexpr int BarInset = 11;

    explicit TFlatScrollArea(QWidget* parent = nullptr)
        : T(parent)
        , m_horizontal(new CFlatScrollBar(Qt::Horizontal, this))
        , m_vertical(new CFlatScrollBar(Qt::Vertical, this))
    {
        this->setAttribute(Qt::WA_MouseTracking);
        this->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        this->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        follow(this->horizontalScrollBar(), m_horizontal);
        follow(this->verticalScrollBar(), m_vertical);
    }

    CFlatScrollBar* flatHorizontalScrollBar() const { return m_horizontal; }
    CFlatScrollBar* flatVerticalScrollBar() const { return m_vertical; }

protected:
    void enterEvent(QEvent* event) override
    {
        m_horizontal->setVisible(m_horizontal->maximum() >= 1);
        m_vertical->setVisible(m_vertical->maximum() >= 1);
        T::enterEvent(event);
    }

    void leaveEvent(QEvent* event) override
    {
        m_horizontal->hide();
        m_vertical->hide();
        T::leaveEvent(event);
    }

    void resizeEvent(QResizeEvent* event) override
    {
        // Each bar stops short of the corner where the other one runs.
        const int w = this->width();
        const int h = this->height();
        m_horizontal->setGeometry(0, h - BarInset, w - BarInset, BarWidth);
        m_vertical->setGeometry(w - BarInset, 0, BarWidth, h - BarInset);
        T::resizeEvent(event);
    }

private:
    static void follow(QScrollBar* base, CFlatScrollBar* flat)
    {
        QObject::connect(base, &QScrollBar::rangeChanged, flat, &CFlatScrollBar::onRangeChanged);
        QObject::connect(base, &QScrollBar::valueChanged, flat, &QScrollBar::setValue);
        QObject::connect(flat, &QScrollBar::valueChanged, base, &QScrollBar::setValue);
    }

    CFlatScrollBar* m_horizontal = nullptr;
    CFlatScrollBar* m_vertical = nullptr;
};

// Built once in tflatscrollarea.cpp.
extern template class TFlatScrollArea<QListWidget>;
extern template class TFlatScrollArea<QPlainTextEdit>;
extern template class TFlatScrollArea<QScrollArea>;
extern template class TFlatScrollArea<QTableView>;
extern template class TFlatScrollArea<QTableWidget>;
extern template class TFlatScrollArea<QTextBrowser>;
extern template class TFlatScrollArea<QTextEdit>;
extern template class TFlatScrollArea<QTreeView>;
extern template class TFlatScrollArea<QTreeWidget>;

// Names for forms, whose promoted widgets can't be templates.
using CFlatListWidget = TFlatScrollArea<QListWidget>;
using CFlatPlainTextEdit = TFlatScrollArea<QPlainTextEdit>;
using CFlatScrollArea = TFlatScrollArea<QScrollArea>;
using CFlatTableView = TFlatScrollArea<QTableView>;
using CFlatTableWidget = TFlatScrollArea<QTableWidget>;
using CFlatTextBrowser = TFlatScrollArea<QTextBrowser>;
using CFlatTextEdit = TFlatScrollArea<QTextEdit>;
using CFlatTreeView = TFlatScrollArea<QTreeView>;
using CFlatTreeWidget = TFlatScrollArea<QTreeWidget>;
