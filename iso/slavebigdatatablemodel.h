#pragma once

#include "iso/isoparameters.h"
#include "iso/isotablemodel.h"

// The BIGs to broadcast, one a row.
class SlaveBigDataTableModel : public IsoTableModel<slaveBigPara>
{
    Q_OBJECT

public:
    explicit SlaveBigDataTableModel(QObject* parent = nullptr);

protected:
    QVariant cell(const slaveBigPara& big, int column, int role) const override;
};
