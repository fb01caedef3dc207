#pragma once

#include <QApplication>
#include <QtGlobal>

#include "dialogrefuser.h"

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
