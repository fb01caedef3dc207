#include "ccustomtableview.h"

CCustomTableView::CCustomTableView(QWidget* parent)
    : TFlatScrollArea<QTableView>(parent)
{
}

CCustomTableView::~CCustomTableView() = default;
