#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QTextEdit>
#include <QToolButton>
#include <QtTest>

#include <memory>

#include "frames.h"
#include "l2cap/ccreatecocreqdlg.h"
#include "l2cap/cl2capwidget.h"
#include "l2cap/csduwidget.h"
#include "linkbench.h"
#include "schema/cmsgfield.h"
#include "schema/cstandardmsgdlg.h"
#include "schema/cvalidatelineedit.h"
#include "whenmodal.h"

namespace {

const QByteArray kLink(1, '\1');

QByteArray l2cap(quint8 head, quint8 opcode, const QByteArray& body)
{
    return uplink(head, 0x04, opcode, body);
}

// The dongle's report that channel 64 opened: 10 credits each way, the peer's MTU and MPS.
QByteArray opened(quint16 peerMtu = 512, quint16 peerMps = 247, quint8 status = 0)
{
    return l2cap(0xDD, 0x02, QByteArray(1, '\0') + char(status) + le16(0x80) + le16(64) + le16(10) + le16(10)
                                 + le16(peerMtu) + le16(peerMps) + kLink);
}

QByteArray sduSent(quint16 credits, quint8 status = 0, const QByteArray& link = kLink)
{
    return l2cap(0xDD, 0x04, le16(64) + le16(credits) + char(status) + link);
}

QByteArray sduReceived(quint16 credits, const QByteArray& data)
{
    return l2cap(0xDD, 0x0A, le16(64) + le16(credits) + le16(quint16(data.size())) + kLink + data);
}

QByteArray creditsReleased(quint8 status = 0)
{
    return l2cap(0xDD, 0x0C, QByteArray(1, char(status)) + le16(64) + kLink);
}

QByteArray peerGranted(quint16 credits)
{
    return l2cap(0xDD, 0x15, le16(64) + le16(credits) + kLink);
}

// A downlink of module 04 as it reaches the dongle.
QByteArray downlink(quint8 opcode, const QByteArray& body)
{
    return withChecksum(uplink(0xAA, 0x04, opcode, body));
}

// The Send SDU downlink of these bytes on channel 64 of link 1.
QByteArray sdu(const QByteArray& data)
{
    return downlink(0x03, le16(64) + le16(quint16(data.size())) + kLink + data);
}

} // namespace

// The L2CAP tab of link 1 with its channel pages, fed the uplinks a dongle sends; the frames it
// sends are read back from the port.
class TestCL2capWidget : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_bench;
    QString m_dongleName = QStringLiteral("Bench");
    std::unique_ptr<CL2capWidget> m_tab;

    void receive(const QByteArray& frame) { m_tab->onRcvMsg(frame); }
    // Waits for `expected` on the port, then nothing else may have come before it.
    void expectSent(const QByteArray& expected)
    {
        QCOMPARE(m_bench->pty.read(expected.size()).toHex(' '), expected.toHex(' '));
    }
    CSduWidget* page() const { return m_tab->sduPage(QStringLiteral("64")); }
    template <class T>
    T* pageChild(const char* name) const { return page()->findChild<T*>(name); }
    QStringList counters(const ChannelSide& side) const
    {
        return {side.value(ChannelInfo::InitialCredits), side.value(ChannelInfo::ConsumedCredits),
                side.value(ChannelInfo::RemainingCredits)};
    }
    // Channel 64 open with 255 credits for the peer and the peer's 10 for the dongle.
    void openChannel(quint16 peerMtu = 512);

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void creditAccounting_data();
    void creditAccounting();
    void sdusGoOneAtATime();
    void typedTextLimits_data();
    void typedTextLimits();
    void fileSizeLimit_data();
    void fileSizeLimit();
    void receivedDataIsShownStoredAndSaved();
    void creditsSentNeverExceedConsumed_data();
    void creditsSentNeverExceedConsumed();
    void peerRequestIsAnswered_data();
    void peerRequestIsAnswered();
    void channelClosesUnderItsMessage();
};

void TestCL2capWidget::initTestCase()
{
    applyFlatStyle();
}

void TestCL2capWidget::init()
{
    m_bench = std::make_unique<LinkBench>();
    m_tab = std::make_unique<CL2capWidget>(1, &m_bench->msg, &m_bench->logger, &m_dongleName);
    m_tab->resize(1100, 560);
    m_tab->show();
}

void TestCL2capWidget::cleanup()
{
    m_tab.reset();
    m_bench.reset();
}

void TestCL2capWidget::openChannel(quint16 peerMtu)
{
    m_tab->findChild<QToolButton*>("toolButtonAdd")->click();
    auto* form = m_tab->findChild<CStandardMsgDlg*>();
    QVERIFY(form);
    form->form()->setEditorTexts({{"le_psm", "128"}, {"local_cid", "64"}, {"local_credits", "255"},
                                  {"mtu", "100"}, {"mps", "50"}});
    form->findChild<QPushButton*>("pushButtonOK")->click();
    expectSent(downlink(0x01, le16(0x80) + le16(64) + le16(255) + le16(100) + le16(50) + kLink));
    // The report's own count of local credits differs: the local side keeps what was asked.
    receive(l2cap(0xDD, 0x02, QByteArray(2, '\0') + le16(0x80) + le16(64) + le16(7) + le16(10) + le16(peerMtu)
                                  + le16(247) + kLink));
    QVERIFY(page());
}

// Frames applied to an open channel, then the counters of both sides: initial, consumed, remaining.
void TestCL2capWidget::creditAccounting_data()
{
    QTest::addColumn<QList<QByteArray>>("frames");
    QTest::addColumn<QString>("pendingCredits");
    QTest::addColumn<QStringList>("local");
    QTest::addColumn<QStringList>("remote");
    QTest::addColumn<QString>("logged");

    const QStringList untouchedLocal{"10", "0", "10"};
    const QStringList untouchedRemote{"10", "0", "10"};
    QTest::newRow("an SDU sent spends the peer's credits")
        << QList<QByteArray>{sduSent(3), sduSent(2)} << "" << untouchedLocal << QStringList{"10", "5", "5"} << "";
    QTest::newRow("spending beyond what remains is only logged")
        << QList<QByteArray>{sduSent(11)} << "" << untouchedLocal << untouchedRemote
        << "The remote dongle remain credit is -1 last consumed is 11";
    QTest::newRow("an SDU received spends the dongle's credits")
        << QList<QByteArray>{sduReceived(4, "abcd")} << "" << QStringList{"10", "4", "6"} << untouchedRemote << "";
    QTest::newRow("a grant never lifts remaining above initial")
        << QList<QByteArray>{sduSent(3), peerGranted(5)} << "" << untouchedLocal << untouchedRemote << "";
    QTest::newRow("a partial grant")
        << QList<QByteArray>{sduSent(6), peerGranted(2)} << "" << untouchedLocal << QStringList{"10", "4", "6"} << "";
    QTest::newRow("credits handed back are the ones pending")
        << QList<QByteArray>{sduReceived(4, "abcd"), creditsReleased()} << "3" << QStringList{"10", "1", "9"}
        << untouchedRemote << "";
    QTest::newRow("a refused hand-back changes nothing")
        << QList<QByteArray>{sduReceived(4, "abcd"), creditsReleased(61)} << "3" << QStringList{"10", "4", "6"}
        << untouchedRemote << "";
    QTest::newRow("another link's frames are ignored")
        << QList<QByteArray>{sduSent(3, 0, "\2"), l2cap(0xDD, 0x15, le16(64) + le16(5) + "\2")} << ""
        << untouchedLocal << untouchedRemote << "";
    QTest::newRow("a frame cut short before its condix")
        << QList<QByteArray>{l2cap(0xDD, 0x04, le16(64) + le16(1) + char(0))} << "" << untouchedLocal << untouchedRemote
        << "FUNCTION:CL2capWidget::sendingSDUProc Internal error.";
}

void TestCL2capWidget::creditAccounting()
{
    QFETCH(QList<QByteArray>, frames);
    QFETCH(QString, pendingCredits);
    QFETCH(QStringList, local);
    QFETCH(QStringList, remote);
    QFETCH(QString, logged);

    receive(opened());
    if (!pendingCredits.isEmpty())
        m_tab->on_sendCredit("64", pendingCredits);
    for (const QByteArray& frame : frames)
        receive(frame);
    const ChannelInfo info = m_tab->channels().value("64");
    QCOMPARE(counters(info.local), local);
    QCOMPARE(counters(info.remote), remote);
    if (!logged.isEmpty())
        QVERIFY2(!m_bench->log->texts().filter(logged).isEmpty(), qPrintable(logged));
}

// SDUs are cut to the peer's MTU, 4 bytes here, though the dongle takes 100.
void TestCL2capWidget::sdusGoOneAtATime()
{
    openChannel(4);
    QCOMPARE(m_tab->channels().value("64").local, ChannelInfo::openingSide("128", "100", "50", "255"));
    auto* send = pageChild<QPushButton>("pushButtonSend");
    pageChild<QTextEdit>("textEditTX")->setPlainText("01:02:03:04:05:06:07:08:09:0A");
    const QByteArray head = sdu(QByteArray::fromHex("01020304"));
    send->click();
    expectSent(head);
    QVERIFY(!send->isEnabled());
    receive(sduSent(1));
    expectSent(sdu(QByteArray::fromHex("05060708")));
    receive(sduSent(1));
    expectSent(sdu(QByteArray::fromHex("090A")));
    QString finished;
    whenModal([&](QWidget* box) {
        finished = box->windowTitle();
        box->close();
    });
    receive(sduSent(1));
    QCOMPARE(finished, QString("Bench: Info"));
    QVERIFY(send->isEnabled());
    QCOMPARE(pageChild<QLabel>("labelSendedCount")->text(), QString("10"));
    QCOMPARE(m_tab->sduSendCount(), 2);

    // Any refusal but the lack of credits gives the transfer up.
    send->click();
    expectSent(head);
    receive(sduSent(0, 49));
    QVERIFY(send->isEnabled());
    QCOMPARE(page()->queuedSdus(), 0);

    // The lack of credits holds the head until the peer grants some.
    send->click();
    expectSent(head);
    receive(sduSent(0, 42));
    QVERIFY(page()->isStalled());
    QCOMPARE(page()->queuedSdus(), 3);
    receive(peerGranted(3));
    expectSent(head);
    QVERIFY(!page()->isStalled());
    receive(sduSent(1));
    expectSent(sdu(QByteArray::fromHex("05060708")));
}

void TestCL2capWidget::typedTextLimits_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<bool>("warned");

    QTest::newRow("odd digits get a leading zero") << "ABC" << QByteArray::fromHex("0ABC") << false;
    QTest::newRow("colons are ignored") << "AB:CD:EF" << QByteArray::fromHex("ABCDEF") << false;
    QTest::newRow("one digit over 10 KB is cut") << QString(20481, 'F') << QByteArray(10240, '\xFF') << true;
}

void TestCL2capWidget::typedTextLimits()
{
    QFETCH(QString, typed);
    QFETCH(QByteArray, sent);
    QFETCH(bool, warned);

    receive(opened(20000));
    QString warning;
    if (warned)
        whenModal([&](QWidget* box) {
            warning = box->findChild<QLabel*>("m_lblTitle")->text() + ": " + box->findChildren<QLabel*>().last()->text();
            box->close();
        });
    pageChild<QTextEdit>("textEditTX")->setPlainText(typed);
    if (warned)
        QTRY_COMPARE(warning, QString("error: send length should < 10kb"));
    pageChild<QPushButton>("pushButtonSend")->click();
    expectSent(sdu(sent));
}

void TestCL2capWidget::fileSizeLimit_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("exactly 20 MiB") << qint64(20971520) << true;
    QTest::newRow("one byte more") << qint64(20971521) << false;
}

void TestCL2capWidget::fileSizeLimit()
{
    QFETCH(qint64, size);
    QFETCH(bool, accepted);

    receive(opened(8));
    QTemporaryDir folder;
    QFile file(folder.filePath("big.bin"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(file.resize(size)); // zeros, without writing them
    file.close();
    QString refusal;
    whenModal([&](QWidget* dialog) {
        auto* picker = qobject_cast<QFileDialog*>(dialog);
        picker->selectFile(file.fileName());
        static_cast<QDialog*>(picker)->accept(); // QFileDialog's own accept is protected
        if (!accepted)
            whenModal([&](QWidget* box) {
                refusal = box->findChildren<QLabel*>().last()->text();
                box->close();
            });
    });
    pageChild<QPushButton>("pushButtonSendFile")->click();
    if (accepted) {
        expectSent(sdu(QByteArray(8, '\0')));
        QCOMPARE(page()->queuedSdus(), 1000); // one chunk of a thousand SDUs at a time
    } else {
        QTRY_COMPARE(refusal, QString("This file is too large for sdu data sending."));
        QCOMPARE(page()->queuedSdus(), 0);
    }
}

// Saving onto the receive file itself keeps it, and what comes next is added to it.
void TestCL2capWidget::receivedDataIsShownStoredAndSaved()
{
    openChannel();
    QByteArray all;
    for (int i = 0; i < 3; ++i) {
        const QByteArray data(200, char('a' + i));
        all += data;
        receive(sduReceived(1, data));
    }
    QCOMPARE(pageChild<QLabel>("labelRxLength")->text(), QString("600"));
    QCOMPARE(pageChild<QLabel>("labelRxCredits")->text(), QString("3"));
    // The view keeps the last 512 bytes, the file all of them.
    QCOMPARE(pageChild<QTextEdit>("textEditRX")->toPlainText(), QString::fromLatin1(all.right(512).toHex(':')));
    QFile stored(page()->receiveFilePath());
    QVERIFY(stored.fileName().endsWith("/Bench/SDU_receive_data/1/64/data.txt"));
    QVERIFY(stored.open(QIODevice::ReadOnly));
    QCOMPARE(stored.readAll(), all);
    stored.close();

    pageChild<QTextEdit>("textEditTX")->setPlainText("C0:FF:EE");
    QVERIFY(m_tab->grab().save(SCREENSHOT_DIR "l2cap-channel.png"));

    bool replaced = false;
    whenModal([&](QWidget* dialog) {
        auto* picker = qobject_cast<QFileDialog*>(dialog);
        picker->selectFile(stored.fileName());
        whenModal([&](QWidget* question) {
            if (auto* box = qobject_cast<QMessageBox*>(question)) {
                replaced = true;
                box->button(QMessageBox::Yes)->click();
            }
        });
        static_cast<QDialog*>(picker)->accept();
    });
    pageChild<QPushButton>("pushButtonSave")->click();
    QTRY_VERIFY(replaced);
    receive(sduReceived(1, "world"));
    QVERIFY(stored.open(QIODevice::ReadOnly));
    QCOMPARE(stored.readAll(), all + "world");
}

void TestCL2capWidget::creditsSentNeverExceedConsumed_data()
{
    QTest::addColumn<int>("consumed");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<quint16>("sent");
    QTest::newRow("nothing consumed sends 0") << 0 << "5" << quint16(0);
    QTest::newRow("above the consumed count sends that count") << 4 << "9" << quint16(4);
    QTest::newRow("within the consumed count sends the value") << 4 << "3" << quint16(3);
}

void TestCL2capWidget::creditsSentNeverExceedConsumed()
{
    QFETCH(int, consumed);
    QFETCH(QString, typed);
    QFETCH(quint16, sent);

    receive(opened());
    if (consumed > 0)
        receive(sduReceived(quint16(consumed), "x"));
    auto* credit = pageChild<CValidateLineEdit>("lineEditCredit");
    credit->setText(typed);
    pageChild<QPushButton>("pushButtonSendCredit")->click();
    expectSent(downlink(0x0B, le16(64) + le16(sent) + kLink));
    QCOMPARE(m_tab->creditSendCount(), 1);
    receive(creditsReleased());
    QCOMPARE(m_tab->channels().value("64").local.value(ChannelInfo::ConsumedCredits),
             QString::number(consumed - sent));
}

void TestCL2capWidget::peerRequestIsAnswered_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<quint8>("accept");
    QTest::newRow("accepted") << "pushButtonAccept" << quint8(1);
    QTest::newRow("rejected") << "pushButtonReject" << quint8(0);
    QTest::newRow("left to time out") << "" << quint8(0);
}

void TestCL2capWidget::peerRequestIsAnswered()
{
    QFETCH(QString, answer);
    QFETCH(quint8, accept);

    QSignalSpy shown(m_tab.get(), &CL2capWidget::sig_showDongleTab);
    receive(l2cap(0xDD, 0x06, le16(0x80) + le16(0x41) + le16(300) + le16(100) + "\2")); // another link
    QVERIFY(!m_tab->findChild<CCreateCOCReqDlg*>());
    receive(l2cap(0xDD, 0x06, le16(0x80) + le16(0x41) + le16(300) + le16(100) + kLink));
    QCOMPARE(shown.count(), 1);
    auto* dialog = m_tab->findChild<CCreateCOCReqDlg*>();
    QVERIFY(dialog);
    QCOMPARE(dialog->windowTitle(), QString("Bench: COC Connect Request"));
    QCOMPARE(dialog->findChild<QTimer*>()->interval(), CCreateCOCReqDlg::AnswerTimeMs);
    if (answer.isEmpty())
        dialog->on_timeOut();
    else
        dialog->findChild<QPushButton*>(answer)->click();
    expectSent(withChecksum(QByteArray::fromHex("aa04070c00") + char(accept) + le16(0x41) + le16(64) + le16(255)
                            + le16(23) + le16(23) + kLink));
    QTRY_VERIFY(!m_tab->findChild<CCreateCOCReqDlg*>());
    QCOMPARE(m_tab->channels().size(), int(accept));
    if (accept) {
        const ChannelInfo info = m_tab->channels().value("64");
        QCOMPARE(info.local, ChannelInfo::openingSide("128", "23", "23", "255"));
        QCOMPARE(info.remote.value(ChannelInfo::Mtu), QString("300"));
        QCOMPARE(info.remote.value(ChannelInfo::Mps), QString("100"));
    }
}

// The peer closes the channel while the page's message is still up: the page goes, the message
// stays until answered.
void TestCL2capWidget::channelClosesUnderItsMessage()
{
    receive(opened(4));
    QPointer<CSduWidget> closing = page();
    pageChild<QTextEdit>("textEditTX")->setPlainText("0102");
    pageChild<QPushButton>("pushButtonSend")->click();
    expectSent(sdu(QByteArray::fromHex("0102")));
    bool pageGoneUnderBox = false;
    whenModal([&](QWidget* box) {
        receive(l2cap(0xDD, 0x14, QByteArray(1, '\0') + le16(64) + char(0x16) + kLink));
        pageGoneUnderBox = !closing && QApplication::activeModalWidget() == box;
        box->close();
    });
    receive(sduSent(1));
    QVERIFY(pageGoneUnderBox);
    QVERIFY(m_tab->channels().isEmpty());
}

QTEST_MAIN(TestCL2capWidget)
#include "tst_cl2capwidget.moc"
