#pragma once

#include "app/flat/tflatscrollarea.h"

// The tool's table view: a QTableView with flat scroll bars, for forms to promote to.
class CCustomTableView : public TFlatScrollArea<QTableView>
{
    Q_OBJECT
    Q_DISABLE_COPY(CCustomTableView)

public:
    explicit CCustomTableView(QWidget* parent = nullptr);
    ~CCustomTableView() override;
};
