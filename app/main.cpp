#include <QApplication>
#include <QFile>
#include <QString>

#include "app/crashhandler.h"
#include "app/maindonglewidget.h"
#include "app/mainwindow.h"

int main(int argc, char* argv[])
{
    CrashHandler::install();

    QApplication app(argc, argv);

    QFile styleSheet(QStringLiteral(":/qss/flat"));
    if (styleSheet.open(QIODevice::ReadOnly))
        app.setStyleSheet(QString::fromLatin1(styleSheet.readAll()));

    MainWindow window;
    window.show();
    window.promptFirstDongleName();
    // The first dongle's selection dialog comes up before the event loop runs.
    window.firstDongle()->on_toolButton_selectDongle_clicked();

    return app.exec();
}
