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

// config.ini as the previous run left it: group name -> TabWidgetNumber (default: list order).
static void writeConfig(const QStringList& groups, const QList<int>& numbers = {})
{
    QSettings settings(QStringLiteral("config.ini"), QSettings::IniFormat);
    for (int i = 0; i < groups.size(); ++i)
        settings.setValue(groups.at(i) + "/TabWidgetNumber", numbers.value(i, i));
}

// The tab bar's texts, provided the window's own list agrees with them.
static QStringList tabTexts(MainWindow& window)
{
    auto* tabs = window.findChild<QTabWidget*>(QStringLiteral("m_tabDongleWidget"));
    QStringList texts, listed;
    for (int i = 0; i < tabs->count(); ++i)
        texts << tabs->tabText(i);
    for (const auto& tab : window.tabs())
        listed << tab.second;
    return texts == listed ? texts : QStringList{"tab texts and list differ"};
}

static void click(QWidget* dialog, const char* button)
{
    QTest::mouseClick(dialog->findChild<QAbstractButton*>(QLatin1String(button)), Qt::LeftButton);
}

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        applyFlatStyle();
        QVERIFY(m_simDir.isValid() && m_workDir.isValid());
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(m_simDir.path()));
        QVERIFY(QDir::setCurrent(m_workDir.path()));
    }
    void init() { QFile::remove(QStringLiteral("config.ini")); }

    void tabOrderAndDeletion()
    {
        // The file's group order is alphabetical; the tabs must follow their numbers instead.
        writeConfig({"Alpha", "Mid", "Zeta"}, {1, 2, 0});
        {
            MainWindow window;
            window.show();
            QVERIFY(window.tabs().at(0).first->pagesBuilt());
            QVERIFY(!window.tabs().at(2).first->pagesBuilt());
            QVERIFY(window.grab().save(SCREENSHOT_DIR "mainwindow.png"));

            // No keeps the tab (and shows the order), Yes deletes it, except the last one.
            const struct { int index; const char* button; QStringList left; } steps[] = {
                {1, "buttonNo", {"Zeta", "Alpha", "Mid"}}, {1, "buttonYes", {"Zeta", "Mid"}},
                {0, "buttonYes", {"Mid"}}, {0, "buttonYes", {"Mid"}}};
            for (const auto& step : steps) {
                whenModal([&step](QWidget* dialog) { click(dialog, step.button); });
                window.on_deleteDongleTab(step.index);
                QCOMPARE(tabTexts(window), step.left);
            }
        }
        QSettings settings(QStringLiteral("config.ini"), QSettings::IniFormat);
        QCOMPARE(settings.childGroups(), QStringList{"Mid"});
        QCOMPARE(settings.value("Mid/TabWidgetNumber").toInt(), 0);
    }

    void unsignedValueKeepsItsType()
    {
        // Unsigned values are kept as QPoint(x, 0); this one is above the int range. Read, written
        // back at exit, read again: the type must survive both trips.
        QSettings(QStringLiteral("config.ini"), QSettings::IniFormat).setValue("Dongle1/value", QPoint(-2, 0));
        for (int run = 0; run < 2; ++run) {
            MainWindow window;
            const QVariant value = window.tabs().at(0).first->config().value("value");
            QCOMPARE(value.userType(), int(QMetaType::UInt));
            QCOMPARE(value.toUInt(), 0xFFFFFFFEu);
        }
        QCOMPARE(QSettings("config.ini", QSettings::IniFormat).value("Dongle1/value"), QVariant(QPoint(-2, 0)));
    }

    void addDongleTab_data()
    {
        QTest::addColumn<QStringList>("existing");
        QTest::addColumn<QString>("typed"); // null: the offered name is kept
        QTest::addColumn<QString>("offered");
        QTest::addColumn<QString>("refusal"); // empty: the tab is added at the end
        const QStringList one{"Dongle1"};
        const QString separator = "a dongle name can't hold \"/\" or \"\\\"";
        QTest::newRow("fifth tab, with a freed number in the middle")
            << QStringList{"Dongle1", "Dongle3", "Dongle4", "Dongle5"} << QString() << "Dongle2" << QString();
        QTest::newRow("name another tab has") << one << "Dongle1" << "Dongle2" << "already exist this dongle name";
        QTest::newRow("a slash would nest its settings") << one << "bench/left" << "Dongle2" << separator;
        QTest::newRow("so would a backslash") << one << "bench\\left" << "Dongle2" << separator;
        QTest::newRow("sixth tab") << QStringList{"Dongle1", "Dongle2", "Dongle3", "Dongle4", "Dongle5"} << QString()
                                   << QString() << "error: widget numbers should < 5";
    }
    void addDongleTab()
    {
        QFETCH(QStringList, existing);
        QFETCH(QString, typed);
        writeConfig(existing);
        MainWindow window;
        QString shown, refused;
        whenModal([&](QWidget* dialog) {
            if (auto* message = dialog->findChild<QLabel*>(QStringLiteral("m_text"))) {
                refused = dialog->findChild<QLabel*>(QStringLiteral("m_lblTitle"))->text() + ": " + message->text();
                dialog->grab().save(SCREENSHOT_DIR "flatmessage_error.png");
                return click(dialog, "m_ok");
            }
            auto* edit = dialog->findChild<QLineEdit*>(QStringLiteral("lineEdit"));
            shown = edit->text();
            edit->setText(typed.isNull() ? shown : typed);
            click(dialog, "PB_Config");
            if (dialog->isVisible()) {
                if (auto* warning = dialog->findChild<QLabel*>(QStringLiteral("tooltip")); warning->isVisible())
                    refused = warning->text();
                click(dialog, "PB_Cancle");
            }
        });
        window.on_addDongleTab();
        QFETCH(QString, offered);
        QFETCH(QString, refusal);
        QCOMPARE(shown, offered);
        QCOMPARE(refused, refusal);
        QCOMPARE(tabTexts(window), refusal.isEmpty() ? existing + QStringList{offered} : existing);
    }

private:
    QTemporaryDir m_simDir;
    QTemporaryDir m_workDir;
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
