#pragma once

#include <QDialog>
#include <QEvent>
#include <QObject>

// Refuses every dialog as it shows: a modal one would wait for a user who never comes.
class DialogRefuser : public QObject
{
public:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show)
            if (auto* dialog = qobject_cast<QDialog*>(watched))
                QMetaObject::invokeMethod(dialog, &QDialog::reject, Qt::QueuedConnection);
        return false;
    }
};
