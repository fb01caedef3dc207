#include <memory>

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QSettings>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>

#include "app/maindonglewidget.h"
#include "app/mainwindow.h"
#include "whenmodal.h"

namespace {

// config.ini as the previous run left it: group name -> TabWidgetNumber, and one "value" each.
void writeConfig(const QStringList& groups, const QList<int>& numbers, const QVariant& value = {})
{
    QSettings settings(QStringLiteral("config.ini"), QSettings::IniFormat);
    for (int i = 0; i < groups.size(); ++i) {
        settings.setValue(groups.at(i) + "/TabWidgetNumber", numbers.value(i, i));
        if (value.isValid())
            settings.setValue(groups.at(i) + "/value", value);
    }
}

QStringList tabTexts(MainWindow& window)
{
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("m_tabDongleWidget"));
    QStringList texts;
    for (int i = 0; i < tabs->count(); ++i)
        texts << tabs->tabText(i);
    QStringList listed;
    for (const auto& tab : window.tabs())
        listed << tab.second;
    return texts == listed ? texts : QStringList{"tab texts and list differ"};
}

void click(QWidget* dialog, const char* button)
{
    QTest::mouseClick(dialog->findChild<QAbstractButton*>(QLatin1String(button)), Qt::LeftButton);
}

QString text(QWidget* dialog, const char* label)
{
    return dialog->findChild<QLabel*>(QLatin1String(label))->text();
}

} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        applyFlatStyle();
        QVERIFY(m_simDir.isValid());
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(m_simDir.path()));
        m_startDir = QDir::currentPath();
    }
    void init()
    {
        m_workDir = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir::setCurrent(m_workDir->path()));
    }
    void cleanup() { QDir::setCurrent(m_startDir); }

    void tabOrderAndDeletion()
    {
        // The file's group order is alphabetical; the tabs must follow their numbers instead.
        writeConfig({"Alpha", "Mid", "Zeta"}, {1, 2, 0});
        {
            MainWindow window;
            window.show();
            QCOMPARE(tabTexts(window), (QStringList{"Zeta", "Alpha", "Mid"}));
            QVERIFY(window.tabs().at(0).first->pagesBuilt());
            QVERIFY(!window.tabs().at(2).first->pagesBuilt());
            QVERIFY(window.grab().save(SCREENSHOT_DIR "mainwindow.png"));

            whenModal([](QWidget* dialog) { click(dialog, "buttonNo"); });
            window.on_deleteDongleTab(1);
            QCOMPARE(tabTexts(window).size(), 3);

            whenModal([](QWidget* dialog) { click(dialog, "buttonYes"); });
            window.on_deleteDongleTab(1);
            QCOMPARE(tabTexts(window), (QStringList{"Zeta", "Mid"}));
            whenModal([](QWidget* dialog) { click(dialog, "buttonYes"); });
            window.on_deleteDongleTab(0);
            // The last tab stays.
            whenModal([](QWidget* dialog) { click(dialog, "buttonYes"); });
            window.on_deleteDongleTab(0);
            QCOMPARE(tabTexts(window), QStringList{"Mid"});
        }
        QSettings settings(QStringLiteral("config.ini"), QSettings::IniFormat);
        QCOMPARE(settings.childGroups(), QStringList{"Mid"});
        QCOMPARE(settings.value("Mid/TabWidgetNumber").toInt(), 0);
    }

    void valueTypes_data()
    {
        QTest::addColumn<QVariant>("inFile");
        QTest::addColumn<QVariant>("inMap");
        QTest::newRow("unsigned") << QVariant(QPoint(7, 0)) << QVariant(7u);
        QTest::newRow("unsigned above the int range")
            << QVariant(QPoint(-2, 0)) << QVariant(0xFFFFFFFEu);
    }
    void valueTypes()
    {
        QFETCH(QVariant, inFile);
        QFETCH(QVariant, inMap);
        writeConfig({"Dongle1"}, {0}, inFile);
        // Read, written back at exit, read again: the type must survive both trips.
        for (int run = 0; run < 2; ++run) {
            MainWindow window;
            const QVariant value = window.tabs().at(0).first->config().value("value");
            QCOMPARE(value.userType(), inMap.userType());
            QCOMPARE(value, inMap);
        }
        const QVariant written = QSettings("config.ini", QSettings::IniFormat).value("Dongle1/value");
        QCOMPARE(written.userType(), inFile.userType());
        QCOMPARE(written, inFile);
    }

    void addDongleTab_data()
    {
        QTest::addColumn<QStringList>("existing");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("offered");
        QTest::addColumn<QString>("refusal");
        QTest::addColumn<QStringList>("after");
        const QStringList five{"Dongle1", "Dongle2", "Dongle3", "Dongle4", "Dongle5"};
        QTest::newRow("freed number in the middle") << QStringList{"Dongle1", "Dongle3"}
            << QString() << "Dongle2" << QString() << QStringList{"Dongle1", "Dongle3", "Dongle2"};
        QTest::newRow("name another tab has") << QStringList{"Dongle1"} << "Dongle1" << "Dongle2"
            << "already exist this dongle name" << QStringList{"Dongle1"};
        QTest::newRow("fifth tab") << QStringList(five.mid(0, 4)) << QString() << "Dongle5" << QString() << five;
        QTest::newRow("sixth tab") << five << QString() << QString()
                                   << "error: widget numbers should < 5" << five;
    }
    void addDongleTab()
    {
        QFETCH(QStringList, existing);
        QFETCH(QString, typed);
        QFETCH(QString, offered);
        QFETCH(QString, refusal);
        QFETCH(QStringList, after);
        writeConfig(existing, {});
        MainWindow window;
        QString shown;
        QString refused;
        whenModal([&](QWidget* dialog) {
            if (dialog->findChild<QLabel*>(QStringLiteral("m_text"))) {
                refused = text(dialog, "m_lblTitle") + ": " + text(dialog, "m_text");
                dialog->grab().save(SCREENSHOT_DIR "flatmessage_error.png");
                return click(dialog, "m_ok");
            }
            auto* edit = dialog->findChild<QLineEdit*>(QStringLiteral("lineEdit"));
            shown = edit->text();
            if (!typed.isNull())
                edit->setText(typed);
            click(dialog, "PB_Config");
            if (dialog->isVisible()) {
                auto* warning = dialog->findChild<QLabel*>(QStringLiteral("tooltip"));
                refused = warning->isVisible() ? warning->text() : QString();
                click(dialog, "PB_Cancle");
            }
        });
        window.on_addDongleTab();
        QCOMPARE(shown, offered);
        QCOMPARE(refused, refusal);
        QCOMPARE(tabTexts(window), after);
    }

private:
    QTemporaryDir m_simDir;
    std::unique_ptr<QTemporaryDir> m_workDir;
    QString m_startDir;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
