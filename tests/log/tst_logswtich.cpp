#include <QCheckBox>
#include <QToolButton>
#include <QtTest>

#include "whenmodal.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "log/logswtich.h"
#include "ptypair.h"

class tst_LogSwtich : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { applyFlatStyle(); }
    void init()
    {
        m_pty = new PtyPair(QStringLiteral("ttyLOGSWTEST0"));
        QVERIFY(m_pty->isValid());
        m_logs = new LogManager(QStringLiteral("tst_logswtich"));
        m_msg = new CMsg(m_logs);
        QCOMPARE(m_msg->openPort(m_pty->portName()), 0);
    }
    void cleanup()
    {
        delete m_msg;
        delete m_logs;
        delete m_pty;
    }

    void closeTellsTheFirmware_data()
    {
        QTest::addColumn<bool>("sdk");
        QTest::addColumn<bool>("stack");
        QTest::addColumn<QByteArray>("wire");
        // AA 01 8D, length 02 00, sdk, stack, checksum.
        QTest::newRow("both cleared") << false << false << QByteArray::fromHex("aa018d02000000c6");
        QTest::newRow("sdk only") << true << false << QByteArray::fromHex("aa018d02000100c5");
    }
    void closeTellsTheFirmware()
    {
        QFETCH(bool, sdk);
        QFETCH(bool, stack);
        QFETCH(QByteArray, wire);
        LogSwtich dialog(m_msg, m_logs);
        dialog.show();
        dialog.sdkBox()->setChecked(sdk);
        dialog.stackBox()->setChecked(stack);
        QTest::mouseClick(dialog.findChild<QToolButton*>(QStringLiteral("m_tbClose")), Qt::LeftButton);
        QVERIFY(!dialog.isVisible());
        QByteArray got;
        QDeadlineTimer deadline(5000);
        while (got.size() < wire.size() && !deadline.hasExpired()) {
            got += m_pty->readAll();
            QTest::qWait(5);
        }
        QCOMPARE(got, wire);
    }

    void screenshot()
    {
        LogSwtich dialog(m_msg, m_logs);
        dialog.stackBox()->setChecked(false);
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QVERIFY(dialog.grab().save(SCREENSHOT_DIR "logswtich.png"));
    }

private:
    PtyPair* m_pty = nullptr;
    LogManager* m_logs = nullptr;
    CMsg* m_msg = nullptr;
};

QTEST_MAIN(tst_LogSwtich)
#include "tst_logswtich.moc"
