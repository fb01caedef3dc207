#pragma once

#include "iso/isoparameters.h"
#include "iso/isotablemodel.h"

// The groups of the CIG/CIS page, one a row.
class CigDataTableModel : public IsoTableModel<cigParameter>
{
    Q_OBJECT

public:
    explicit CigDataTableModel(QObject* parent = nullptr);

    // The caption of a sleep clock accuracy; empty for a value no controller knows.
    static QString scaText(const QString& sca);

protected:
    QVariant cell(const cigParameter& cig, int column, int role) const override;
};
