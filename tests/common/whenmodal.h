#pragma once

#include <functional>

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QStringList>
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

// Closes every modal box as soon as it is up and keeps "title: text" of each, so that a
// refusal is read after the call that showed it, and a box nobody expected can't hang a test.
class ModalCatcher
{
public:
    ModalCatcher()
    {
        m_timer.setInterval(5);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            QWidget* box = QApplication::activeModalWidget();
            if (!box)
                return;
            const auto* text = box->findChild<QLabel*>(QStringLiteral("m_text"));
            shown.append(box->windowTitle() + QStringLiteral(": ") + (text ? text->text() : QString()));
            box->close();
        });
        m_timer.start();
    }

    QStringList shown;

private:
    QTimer m_timer;
};

// The application's own look, so that screenshots show what users see.
inline void applyFlatStyle()
{
    QFile file(QStringLiteral(":/qss/flat"));
    if (file.open(QIODevice::ReadOnly))
        qApp->setStyleSheet(QString::fromLatin1(file.readAll()));
}
