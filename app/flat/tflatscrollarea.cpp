#include "tflatscrollarea.h"

template class TFlatScrollArea<QListWidget>;
template class TFlatScrollArea<QPlainTextEdit>;
template class TFlatScrollArea<QScrollArea>;
template class TFlatScrollArea<QTableView>;
template class TFlatScrollArea<QTableWidget>;
template class TFlatScrollArea<QTextBrowser>;
template class TFlatScrollArea<QTextEdit>;
template class TFlatScrollArea<QTreeView>;
template class TFlatScrollArea<QTreeWidget>;
