#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include "app/flat/cflatmessage.h"
#include "whenmodal.h"

class TestCFlatMessage : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }

    void answers_data()
    {
        QTest::addColumn<bool>("isQuestion");
        QTest::addColumn<QString>("pressed");
        QTest::addColumn<QStringList>("shownButtons");
        QTest::addColumn<int>("answer");
        const QStringList yesNo{"m_yes", "m_no"};
        const QStringList ok{"m_ok"};
        QTest::newRow("question, Yes") << true << "m_yes" << yesNo << int(QMessageBox::Yes);
        QTest::newRow("question, No") << true << "m_no" << yesNo << int(QMessageBox::No);
        QTest::newRow("question, closed by the title bar")
            << true << "m_tbClose" << yesNo << int(QMessageBox::No);
        QTest::newRow("information, Ok") << false << "m_ok" << ok << int(QMessageBox::Ok);
        QTest::newRow("information, closed by the title bar")
            << false << "m_tbClose" << ok << int(QMessageBox::Ok);
    }
    void answers()
    {
        QFETCH(bool, isQuestion);
        QFETCH(QString, pressed);
        QFETCH(QStringList, shownButtons);
        QFETCH(int, answer);

        QStringList seenButtons;
        QString seenTitle;
        QString seenText;
        whenModal([&](QWidget* box) {
            for (const char* name : {"m_yes", "m_no", "m_ok"}) {
                if (box->findChild<QPushButton*>(name)->isVisible())
                    seenButtons << name;
            }
            seenTitle = box->findChild<QLabel*>(QStringLiteral("m_lblTitle"))->text();
            seenText = box->findChild<QLabel*>(QStringLiteral("m_text"))->text();
            if (!isQuestion)
                box->grab().save(SCREENSHOT_DIR "flatmessage.png");
            QTest::mouseClick(box->findChild<QAbstractButton*>(pressed), Qt::LeftButton);
        });
        const int result = isQuestion
            ? CFlatMessage::question(nullptr, QStringLiteral("Delete"), QStringLiteral("Sure?"))
            : CFlatMessage::information(nullptr, QStringLiteral("error"),
                                        QStringLiteral("widget numbers should < 5"));
        QCOMPARE(result, answer);
        QCOMPARE(seenButtons, shownButtons);
        QCOMPARE(seenTitle, isQuestion ? QStringLiteral("Delete") : QStringLiteral("error"));
        QCOMPARE(seenText, isQuestion ? QStringLiteral("Sure?")
                                      : QStringLiteral("widget numbers should < 5"));
    }
};

QTEST_MAIN(TestCFlatMessage)
#include "tst_cflatmessage.moc"
