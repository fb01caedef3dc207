#pragma once

#include <functional>

#include <QApplication>
#include <QFile>
#include <QTimer>
#include <QWidget>

// Runs `answer` on the next modal dialog once it is up: exec() blocks the test, so whatever
// answers the dialog must be queued before it. Gives up after five seconds so a missing dialog
// fails the test instead of hanging it.
inline void whenModal(std::function<void(QWidget*)> answer, int triesLeft = 500)
{
    QTimer::singleShot(10, [answer, triesLeft] {
        QWidget* modal = QApplication::activeModalWidget();
        if (modal)
            answer(modal);
        else if (triesLeft > 0)
            whenModal(answer, triesLeft - 1);
    });
}

// The application's own look, so that screenshots show what users see.
inline void applyFlatStyle()
{
    QFile file(QStringLiteral(":/qss/flat"));
    if (file.open(QIODevice::ReadOnly))
        qApp->setStyleSheet(QString::fromLatin1(file.readAll()));
}
