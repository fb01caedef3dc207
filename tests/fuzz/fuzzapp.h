#pragma once

#include <QApplication>
#include <QtGlobal>

// The application a widget target runs in: offscreen, with Qt's own messages silenced so that
// the fuzzer's output stays readable. The run's logs go to a temporary folder (testlogroot.cpp).
inline void startFuzzApplication(int* argc, char*** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    static QApplication app(*argc, *argv);
}
