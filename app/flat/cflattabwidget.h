#pragma once

#include <QTabWidget>

#include "app/flat/customtabstyle.h"

// The pages' inner tab widget: flat tabs drawn by CustomTabStyle. Forms promote their
// QTabWidget to it.
class CFlatTabWidget : public QTabWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CFlatTabWidget)

public:
    explicit CFlatTabWidget(QWidget* parent = nullptr);
    ~CFlatTabWidget() override;

private:
    CustomTabStyle m_tabStyle;
};
