#pragma once

#include "iso/isoparameters.h"
#include "iso/isotablemodel.h"

// The BIGs to synchronise to, one a row.
class BigDataTableModel : public IsoTableModel<bigParameter>
{
    Q_OBJECT

public:
    explicit BigDataTableModel(QObject* parent = nullptr);

protected:
    QVariant cell(const bigParameter& big, int column, int role) const override;
};
