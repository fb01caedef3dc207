#pragma once

#include <QString>
#include <QVariant>
#include <QWidget>

class QHBoxLayout;
class QLayout;

// One node of the dongle's configuration tree. Leaves carry a value that is ready to be a field
// value of a downlink command; groups and categories only arrange their children.
class CSetting : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CSetting)

public:
    CSetting(const QString& key, const QString& title, CSetting* parent);
    ~CSetting() override;

    QString key() const { return m_key; }
    QString title() const { return m_title; }
    QString description() const { return m_description; }
    void setDescription(const QString& description) { m_description = description; }
    CSetting* parentSetting() const { return m_parent; }
    void setParentSetting(CSetting* parent) { m_parent = parent; }
    void setDefaultValue(const QVariant& value) { m_defaultValue = value; }

    virtual QVariant defaultValue() const;
    virtual bool isValid() const;
    virtual void setReadOnly(bool readOnly);
    virtual QVariant value() const;
    virtual void setValue(const QVariant& value);
    virtual void addToLayout(QLayout* layout);
    virtual void addChild(CSetting* setting);
    virtual void removeChild(CSetting* setting);
    virtual CSetting* childAt(int index) const;
    virtual int childCount() const;

protected:
    // The row of a leaf: its title, to which the caller adds the control.
    QHBoxLayout* makeTitledRow();

    QString m_key;
    QString m_title;
    QString m_description;
    QVariant m_defaultValue;
    QVariant m_value;
    CSetting* m_parent = nullptr;
};
