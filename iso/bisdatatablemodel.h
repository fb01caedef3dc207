#pragma once

#include "iso/isoparameters.h"
#include "iso/isotablemodel.h"

// The BISes of the BIG shown, one a row.
class BisDataTableModel : public IsoTableModel<bisParameter>
{
    Q_OBJECT

public:
    explicit BisDataTableModel(QObject* parent = nullptr);

protected:
    QVariant cell(const bisParameter& bis, int column, int role) const override;
};
