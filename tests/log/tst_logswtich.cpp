#include <QCheckBox>
#include <QLabel>
#include <QToolButton>
#include <QtTest>

#include "whenmodal.h"
#include "capturelogger.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "log/logswtich.h"
#include "ptypair.h"

class tst_LogSwtich : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void closeTellsTheFirmware_data();
    void closeTellsTheFirmware();
    void everyCloseSendsAgain();
    void closedPortReportsTheFailure();
    void screenshot();

private:
    // Reads the far end until `count` bytes have come.
    QByteArray receive(int count);

    PtyPair* m_pty = nullptr;
    LogManager* m_logs = nullptr;
    CaptureLogger* m_capture = nullptr;
    CMsg* m_msg = nullptr;
};

void tst_LogSwtich::initTestCase()
{
    applyFlatStyle();
}

void tst_LogSwtich::init()
{
    m_pty = new PtyPair(QStringLiteral("ttyLOGSWTEST0"));
    QVERIFY(m_pty->isValid());
    m_logs = new LogManager(QStringLiteral("tst_logswtich"));
    m_capture = new CaptureLogger;
    m_logs->addLogger(m_capture);
    m_msg = new CMsg(m_logs);
    QCOMPARE(m_msg->openPort(m_pty->portName()), 0);
}

void tst_LogSwtich::cleanup()
{
    delete m_msg;
    delete m_logs;
    delete m_pty;
}

QByteArray tst_LogSwtich::receive(int count)
{
    QByteArray data;
    QDeadlineTimer deadline(5000);
    while (data.size() < count && !deadline.hasExpired()) {
        data += m_pty->readAll();
        QTest::qWait(5);
    }
    return data;
}

void tst_LogSwtich::closeTellsTheFirmware_data()
{
    QTest::addColumn<bool>("sdk");
    QTest::addColumn<bool>("stack");
    QTest::addColumn<QByteArray>("wire");

    // AA 01 8D, length 02 00, sdk, stack, then minus the 8-bit sum: AA + 01 + 8D + 02 = 0x13A,
    // so the checksum is -(0x3A + sdk + stack).
    QTest::newRow("both cleared") << false << false << QByteArray::fromHex("aa018d02000000c6");
    QTest::newRow("sdk only") << true << false << QByteArray::fromHex("aa018d02000100c5");
    QTest::newRow("stack only") << false << true << QByteArray::fromHex("aa018d02000001c5");
    QTest::newRow("both ticked") << true << true << QByteArray::fromHex("aa018d02000101c4");
}

void tst_LogSwtich::closeTellsTheFirmware()
{
    QFETCH(bool, sdk);
    QFETCH(bool, stack);
    QFETCH(QByteArray, wire);

    LogSwtich dialog(m_msg, m_logs);
    dialog.show();
    dialog.sdkBox()->setChecked(sdk);
    dialog.stackBox()->setChecked(stack);

    QTest::mouseClick(dialog.findChild<QToolButton*>(QStringLiteral("m_tbClose")), Qt::LeftButton);

    QCOMPARE(dialog.result(), int(QDialog::Rejected));
    QVERIFY(!dialog.isVisible());
    QCOMPARE(receive(wire.size()), wire);
}

void tst_LogSwtich::everyCloseSendsAgain()
{
    // Born with both boxes ticked; shown again, the boxes are as they were left, and closing
    // unchanged still sends.
    LogSwtich dialog(m_msg, m_logs);
    dialog.show();
    dialog.on_closeClicked();
    dialog.show();
    dialog.sdkBox()->setChecked(false);
    dialog.on_closeClicked();
    dialog.show();
    dialog.on_closeClicked();

    QCOMPARE(receive(24),
             QByteArray::fromHex("aa018d02000101c4" "aa018d02000001c5" "aa018d02000001c5"));
}

void tst_LogSwtich::closedPortReportsTheFailure()
{
    m_msg->closePort();
    LogSwtich dialog(m_msg, m_logs);
    dialog.show();

    dialog.on_closeClicked();

    QVERIFY(m_capture->contains(QStringLiteral("send Log printf set message failed"), 4));
    QVERIFY(!dialog.isVisible());
}

void tst_LogSwtich::screenshot()
{
    LogSwtich dialog(m_msg, m_logs);
    dialog.stackBox()->setChecked(false);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    QVERIFY(dialog.grab().save(SCREENSHOT_DIR "logswtich.png"));
}

QTEST_MAIN(tst_LogSwtich)
#include "tst_logswtich.moc"
