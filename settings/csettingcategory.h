#pragma once

#include <QList>

#include "settings/csetting.h"

class QVBoxLayout;

// Settings shown together under a caption.
class CSettingCategory : public CSetting
{
    Q_OBJECT
    Q_DISABLE_COPY(CSettingCategory)

public:
    CSettingCategory(const QString& title, CSetting* parent);

    void addToLayout(QLayout* layout) override;
    void addChild(CSetting* setting) override;
    void removeChild(CSetting* setting) override;
    CSetting* childAt(int index) const override;
    int childCount() const override;

protected:
    // Builds this node's own box once; the children go into the layout it returns.
    virtual QLayout* buildBox();

    QList<CSetting*> m_children;
    QVBoxLayout* m_box = nullptr;
};
