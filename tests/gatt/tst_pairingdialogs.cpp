#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QToolButton>
#include <QtTest>

#include <memory>

#include "frames.h"
#include "gatt/cgattwidget.h"
#include "gatt/csmdilog.h"
#include "linkbench.h"
#include "whenmodal.h"

namespace {

// Receiving Encryption Request on a link, as the port hands it on.
QByteArray request(const QByteArray& body, quint8 condix = 1)
{
    return QByteArray::fromHex("dd0206") + le16(body.size() + 1) + body + char(condix);
}

// Sending Confirm Information as it reaches the dongle.
QByteArray confirm(const QByteArray& body)
{
    return withChecksum(QByteArray::fromHex("aa0207") + le16(body.size() + 1) + body + '\1');
}

} // namespace

// The pairing questions of one link's GATT panel and the answers it sends.
class TestPairingDialogs : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_link;
    QString m_dongleName = QStringLiteral("Bench");
    std::unique_ptr<CGattWidget> m_panel;

private slots:
    void initTestCase() { applyFlatStyle(); }
    void init()
    {
        m_link = std::make_unique<LinkBench>();
        m_panel = std::make_unique<CGattWidget>(1, &m_link->msg, &m_link->logger, &m_dongleName);
    }
    void cleanup()
    {
        m_panel.reset();
        m_link.reset();
    }

    // Each question, the user's action on its dialog, and the reply (empty: none goes out).
    void answers_data()
    {
        QTest::addColumn<QByteArray>("question");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QByteArray>("reply");
        const QByteArray input = QByteArray::fromHex("0102");
        const QByteArray compare = QByteArray::fromHex("032a000000"); // 42
        QTest::newRow("passkey typed, Yes") << input << "012345" << "btn_Yes" << ""
                                             << confirm(QByteArray::fromHex("0101") + le32(12345));
        QTest::newRow("passkey typed, Cancel") << input << "777" << "btn_No" << ""
                                                << confirm(QByteArray::fromHex("0100") + le32(777));
        QTest::newRow("passkey, title bar closed") << input << "123456" << "close" << ""
                                                    << confirm(QByteArray::fromHex("0100") + le32(0));
        QTest::newRow("comparison of 42, Yes") << compare << "" << "btn_Yes" << "000042" << confirm(QByteArray::fromHex("0301"));
        QTest::newRow("comparison refused") << compare << "" << "btn_No" << "000042" << confirm(QByteArray::fromHex("0300"));
        QTest::newRow("request type unknown") << QByteArray::fromHex("07") << "" << "" << "" << QByteArray();
        QTest::newRow("another link") << QByteArray() << "" << "" << "" << QByteArray();
    }
    void answers()
    {
        QFETCH(QByteArray, question);
        QFETCH(QString, typed);
        QFETCH(QString, action);
        QFETCH(QString, shown);
        QFETCH(QByteArray, reply);
        QString seen;
        if (!action.isEmpty()) {
            whenModal([&](QWidget* box) {
                auto* edit = box->findChild<QLineEdit*>("lineEdit_passkey");
                seen = edit->text();
                if (edit->isEnabled())
                    edit->setText(typed);
                if (action == "close")
                    static_cast<csmdilog*>(box)->on_closeClicked();
                else
                    box->findChild<QPushButton*>(action)->click();
            });
        }
        m_panel->onRcvMsg(question.isEmpty() ? request(QByteArray::fromHex("0102"), 2) : request(question));
        QCOMPARE(seen, shown);
        QCOMPARE(m_link->pty.read(reply.size(), 300).toHex(), reply.toHex());
    }

    // A generated passkey is shown with six digits and goes back only through the dialog's answer.
    void generatedPasskey()
    {
        QString shown;
        QString title;
        whenModal([&](QWidget* box) {
            title = box->windowTitle();
            shown = box->findChild<QLineEdit*>("lineEdit_passkey")->text();
            QVERIFY(!box->findChild<QLineEdit*>("lineEdit_passkey")->isEnabled());
            box->findChild<QPushButton*>("btn_Yes")->click();
        });
        m_panel->onRcvMsg(request(QByteArray::fromHex("0101")));
        QCOMPARE(title, m_dongleName + ": Generate Passkey");
        QVERIFY(QRegularExpression("^\\d{6}$").match(shown).hasMatch());
        QCOMPARE(m_link->pty.read(11).toHex(), confirm(QByteArray::fromHex("0101") + le32(shown.toInt())).toHex());
        QVERIFY(m_link->log->texts().contains("Sending Confirm Information\r\nRaw data: "
                                               + confirm(QByteArray::fromHex("0101") + le32(shown.toInt())).chopped(1).toHex()));
    }

    // A 5-digit passkey is refused in red and the dialog stays; a failure closes the open dialog.
    void shortPasskeyThenFailure()
    {
        QString heading;
        QString failure;
        whenModal([&](QWidget* box) {
            box->findChild<QLineEdit*>("lineEdit_passkey")->setText("12345");
            box->findChild<QPushButton*>("btn_Yes")->click();
            heading = box->findChild<QLabel*>("label_status")->text();
            QVERIFY(box->isVisible());
            whenModal([&](QWidget* result) {
                failure = result->windowTitle() + ": " + result->findChild<QLabel*>("m_text")->text();
                result->close();
            });
            m_panel->onRcvMsg(QByteArray::fromHex("dd020402000401")); // failure 4 on link 1
        });
        m_panel->onRcvMsg(request(QByteArray::fromHex("0102")));
        QCOMPARE(heading, QString("please enter 6-bit passkey"));
        QCOMPARE(failure, m_dongleName + ": Pair Result: Pair failed. Result: FAIL CONFIRM VAL FAIL");
        QCOMPARE(m_link->pty.read(1, 300), QByteArray()); // the dialog that failed sends nothing
    }

    // A peer's request is asked in a question box: Yes accepts it.
    void peerRequest()
    {
        QString title;
        whenModal([&](QWidget* box) {
            title = box->windowTitle();
            box->findChild<QPushButton*>("m_yes")->click();
        });
        QSignalSpy shown(m_panel.get(), &CGattWidget::sig_showDongleTab);
        m_panel->onRcvMsg(request(QByteArray::fromHex("00")));
        QCOMPARE(title, m_dongleName + ": Make Pair");
        QCOMPARE(shown.size(), 1);
        QCOMPARE(m_link->pty.read(9).toHex(), confirm(QByteArray::fromHex("0001")).toHex());
    }

    void screenshots()
    {
        csmdilog input;
        input.setTitle(m_dongleName + ": Input Passkey");
        input.setHeading("Input Passkey");
        input.setPasskeyEnabled(true);
        input.show();
        QVERIFY(input.grab().save(SCREENSHOT_DIR "csmdilog-input.png"));
        csmdilog comparison;
        comparison.setTitle(m_dongleName + ": Number Comparison");
        comparison.setHeading("Number Comparison");
        comparison.setPasskeyText("000042");
        comparison.show();
        QVERIFY(comparison.grab().save(SCREENSHOT_DIR "csmdilog-comparison.png"));
    }

private:
    static QByteArray le32(int value) { return le16(value & 0xFFFF) + le16(value >> 16); }
};

QTEST_MAIN(TestPairingDialogs)
#include "tst_pairingdialogs.moc"
