#pragma once

#include <QApplication>
#include <QDialog>
#include <QEvent>
#include <QtGlobal>

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

// The application a widget target runs in: offscreen, with Qt's own messages silenced so that
// the fuzzer's output stays readable. The run's logs go to a temporary folder (testlogroot.cpp).
// The application is never destroyed: it would take down, at exit, the windows that a target's
// dialogs gave their pages, after the thread data their surfaces need is gone.
inline void startFuzzApplication(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    static QApplication* app = new QApplication(*argc, *argv);
    static DialogRefuser refuser;
    app->installEventFilter(&refuser);
}
