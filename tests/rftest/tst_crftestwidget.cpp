#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QtTest>

#include <memory>

#include "frames.h"
#include "linkbench.h"
#include "rftest/cidtwidget.h"
#include "rftest/clcpwidget.h"
#include "rftest/rfrxtablemodel.h"
#include "whenmodal.h"

using Texts = QMap<QString, QString>;
Q_DECLARE_METATYPE(Texts)

namespace {

QByteArray downlink(const char* head, const char* body = "")
{
    return withChecksum(QByteArray::fromHex(head) + le16(QByteArray::fromHex(body).size()) + QByteArray::fromHex(body));
}

} // namespace

// The LCP and IDT pages on a port whose far end the test reads, the dongle's answers handed to
// them as the dongle tab does.
class TestCRfTestWidget : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_bench;
    std::unique_ptr<CRfTestWidget> m_page;

    void makePage(const QString& kind)
    {
        if (kind == "lcp")
            m_page = std::make_unique<CLCPwidget>(&m_bench->msg, &m_bench->logger, nullptr);
        else
            m_page = std::make_unique<CIDTwidget>(&m_bench->msg, &m_bench->logger, nullptr);
        m_page->resize(900, 560);
        m_page->show();
    }
    QLineEdit* editor(const QString& key) const
    {
        return m_page->findChild<QLineEdit*>("lineEdit_" + QString(key).remove(' '));
    }
    QPushButton* button(const char* name) const { return m_page->findChild<QPushButton*>(name); }
    void setTexts(const Texts& texts)
    {
        for (auto it = texts.cbegin(); it != texts.cend(); ++it) {
            QVERIFY2(editor(it.key()), qPrintable(it.key()));
            editor(it.key())->setText(it.value());
        }
    }
    void expectSent(const QByteArray& expected)
    {
        QCOMPARE(m_bench->pty.read(expected.size()).toHex(' '), expected.toHex(' '));
    }
    // Starts the mode and a transmission of `repeat` packets, reading back what they sent.
    void startTransmission(int repeat)
    {
        button("btn_startlcp")->click();
        setTexts({{"Header", "01"}, {"Length", "02"}, {"Payload", "AABB"}, {"Repeat Time", QString::number(repeat)},
                  {"Repeat Interval", "20"}});
        button("btn_send")->click();
        QVERIFY(m_page->isTransmitting());
        m_bench->pty.read(21 + 18);
        m_bench->log->clear();
    }
    // The page logs every command it hands to the port.
    bool sentNothing() const { return m_bench->log->texts().filter("Downlink Command Name").isEmpty(); }
    void ack(int status) { m_page->onRcvMsg(uplink(0xBB, 0x09, 0x04, QByteArray(1, char(status)))); }

private slots:
    void init() { m_bench = std::make_unique<LinkBench>(); }
    void cleanup()
    {
        m_page.reset();
        m_bench.reset();
    }

    // Every check of a group adds its text; nothing is sent while one fails.
    void validation_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("button");
        QTest::addColumn<Texts>("texts");
        QTest::addColumn<QString>("shown");

        const Texts lcpSend{{"Header", "0A"}, {"Length", "FD"}, {"Payload", "01"}, {"Repeat Time", "4294967295"},
                            {"Repeat Interval", "10"}};
        const Texts idtSend{{"Length", "FB"}, {"Payload", "01"}, {"Repeat Time", "1"}, {"Repeat Interval", "10"}};
        QTest::newRow("lcp mode empty") << "lcp" << "btn_startlcp" << Texts{{"Access Address", ""}, {"Crc Init", ""}}
                                        << "access address is empty \ncrc init is empty \n";
        QTest::newRow("lcp parameters empty")
            << "lcp" << "btn_set" << Texts{{"Frequency", ""}, {"Channel Index", ""}, {"Tx Power", ""}}
            << "frequency is empty \nchannel index is empty \ntx power is empty \n";
        QTest::newRow("lcp ranges wait for the empties")
            << "lcp" << "btn_set" << Texts{{"Frequency", ""}, {"Channel Index", "40"}, {"Tx Power", "8"}}
            << "frequency is empty \n";
        QTest::newRow("lcp parameters out of range")
            << "lcp" << "btn_set" << Texts{{"Frequency", "2359"}, {"Channel Index", "40"}, {"Tx Power", "-21"}}
            << "frequency is out of range (2360~2520) \nchannel index is out of range (0~39) \n"
               "tx power is out of range (-20~7) \n";
        QTest::newRow("lcp parameters at their limits")
            << "lcp" << "btn_set" << Texts{{"Frequency", "2520"}, {"Channel Index", "0"}, {"Tx Power", "-20"}} << "";
        QTest::newRow("lcp transmission empty")
            << "lcp" << "btn_send"
            << Texts{{"Header", ""}, {"Length", ""}, {"Payload", ""}, {"Repeat Time", ""}, {"Repeat Interval", ""}}
            << "Header is empty \nLength is empty \nPayload is empty \nRepeat time is empty \nRepeat interval is empty \n";
        QTest::newRow("lcp transmission out of range")
            << "lcp" << "btn_send"
            << Texts{{"Header", "0A"}, {"Length", "FE"}, {"Payload", "0g"}, {"Repeat Time", "0"}, {"Repeat Interval", "9"}}
            << "length is out of range (00~FD) \nPayload is out range (0~9,a~f,A~F) \n"
               "repeat time is out of range (1~2^32-1) \nrepeat interval is out of range (10~2^32-1) \n";
        QTest::newRow("lcp repeat past 32 bits")
            << "lcp" << "btn_send" << Texts{{"Header", "0A"}, {"Length", "01"}, {"Payload", "01"},
                                            {"Repeat Time", "4294967296"}, {"Repeat Interval", "10"}}
            << "repeat time is out of range (1~2^32-1) \n";
        QTest::newRow("lcp length FD accepted") << "lcp" << "btn_send" << lcpSend << "";
        QTest::newRow("idt mode empty") << "idt" << "btn_startidt" << Texts{{"Access Address", ""}}
                                        << "access address is empty \n";
        QTest::newRow("idt parameters empty") << "idt" << "btn_set" << Texts{{"Channel Num", ""}, {"Tx Power", ""}}
                                              << "channel num is empty \ntx power is empty \n";
        QTest::newRow("idt parameters out of range")
            << "idt" << "btn_set" << Texts{{"Channel Num", "160"}, {"Tx Power", "x"}}
            << "channel num is out of range (0~159) \ntx power is out of range (-20~7) \n";
        QTest::newRow("idt channel 159 accepted") << "idt" << "btn_set" << Texts{{"Channel Num", "159"}, {"Tx Power", "7"}}
                                                  << "";
        QTest::newRow("idt transmission empty")
            << "idt" << "btn_send" << Texts{{"Length", ""}, {"Payload", ""}, {"Repeat Time", ""}, {"Repeat Interval", ""}}
            << "Length is empty \nData is empty \nRepeat time is empty \nRepeat interval is empty \n";
        QTest::newRow("idt length FC refused")
            << "idt" << "btn_send"
            << Texts{{"Length", "FC"}, {"Payload", "zz"}, {"Repeat Time", "0"}, {"Repeat Interval", "1"}}
            << "Length is out of range (00~FB) \nData is out range (0~9,a~f,A~F) \n"
               "Repeat time is out of range (1~2^32-1) \nRepeat interval is out of range (10~2^32-1) \n";
        QTest::newRow("idt length FB accepted") << "idt" << "btn_send" << idtSend << "";
    }
    void validation()
    {
        QFETCH(QString, kind);
        QFETCH(QString, button);
        QFETCH(Texts, texts);
        QFETCH(QString, shown);
        makePage(kind);
        setTexts(texts);
        ModalCatcher boxes;
        // The slot directly: a button that the mode's state disables would not take the click.
        QVERIFY(QMetaObject::invokeMethod(m_page.get(), qPrintable("on_" + button + "_clicked")));
        if (shown.isEmpty()) {
            QVERIFY(boxes.shown.isEmpty());
            QVERIFY(!m_bench->pty.read(5).isEmpty());
        } else {
            QCOMPARE(boxes.shown, QStringList("ERROR: " + shown));
            QVERIFY(sentNothing());
        }
    }

    // Numbers little-endian at their widths, the power sign-extended, the payload cut or padded
    // to its length with zeros.
    void commandBytes_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<Texts>("texts");
        QTest::addColumn<QStringList>("buttons");
        QTest::addColumn<QByteArray>("sent");

        QTest::newRow("lcp start") << "lcp" << Texts{{"Channel Index", "39"}, {"Tx Power", "-20"}, {"Frequency", "2402"}}
                                   << QStringList{"btn_startlcp"}
                                   << downlink("aa0901", "02ec27" "62090000" "3b363067" "55555500");
        QTest::newRow("lcp parameters") << "lcp" << Texts{{"Frequency", "2520"}, {"Channel Index", "0"}, {"Tx Power", "7"}}
                                        << QStringList{"btn_startlcp", "btn_set"}
                                        << downlink("aa0903", "d8090000" "00" "07");
        QTest::newRow("lcp payload padded")
            << "lcp"
            << Texts{{"Header", "4C"}, {"Length", "05"}, {"Payload", "0102"}, {"Repeat Time", "100"}, {"Repeat Interval", "20"}}
            << QStringList{"btn_startlcp", "btn_send"}
            << downlink("aa0904", "64000000" "14000000" "4c" "05" "0102000000");
        QTest::newRow("lcp payload cut") << "lcp"
                                         << Texts{{"Header", "00"}, {"Length", "01"}, {"Payload", "0a0b0c"},
                                                  {"Repeat Time", "1"}, {"Repeat Interval", "30000"}}
                                         << QStringList{"btn_startlcp", "btn_send"}
                                         << downlink("aa0904", "01000000" "30750000" "00" "01" "0a");
        QTest::newRow("lcp receive") << "lcp" << Texts{} << QStringList{"btn_startlcp", "btn_startrx", "btn_startrx"}
                                     << downlink("aa0905") + downlink("aa0906");
        QTest::newRow("idt start") << "idt" << Texts{{"Access Address", "8E89BED6"}, {"Channel Num", "159"}}
                                   << QStringList{"btn_startidt"} << downlink("aa0a01", "d6be898e9f");
        QTest::newRow("idt transmission and stop")
            << "idt" << Texts{{"Length", "03"}, {"Payload", "ABC"}, {"Repeat Time", "2"}, {"Repeat Interval", "10"}}
            << QStringList{"btn_startidt", "btn_send", "btn_send", "btn_startidt"}
            << downlink("aa0a04", "02000000" "0a000000" "03" "ab0c00") + downlink("aa0a07") + downlink("aa0a02");
    }
    void commandBytes()
    {
        QFETCH(QString, kind);
        QFETCH(Texts, texts);
        QFETCH(QStringList, buttons);
        QFETCH(QByteArray, sent);
        makePage(kind);
        setTexts(texts);
        button(qPrintable(buttons.first()))->click();
        const QByteArray startFrame = m_bench->pty.read(kind == "lcp" ? 21 : 11);
        if (buttons.size() == 1) {
            QCOMPARE(startFrame.toHex(' '), sent.toHex(' '));
            return;
        }
        for (const QString& name : buttons.mid(1))
            button(qPrintable(name))->click();
        expectSent(sent);
    }

    // Each acknowledgement is a packet sent; the last one of a good run ends it quietly, a bad
    // one ends it and tells the dongle to stop.
    void transmission_data()
    {
        QTest::addColumn<QList<int>>("statuses");
        QTest::addColumn<QString>("txNum");
        QTest::addColumn<bool>("stopSent");

        QTest::newRow("all three") << QList<int>{0, 0, 0} << "3" << false;
        QTest::newRow("the second fails") << QList<int>{0, 1} << "2" << true;
        QTest::newRow("the last fails") << QList<int>{0, 0, 6} << "3" << true;
    }
    void transmission()
    {
        QFETCH(QList<int>, statuses);
        QFETCH(QString, txNum);
        QFETCH(bool, stopSent);
        makePage("lcp");
        startTransmission(3);
        for (int i = 0; i < statuses.size(); ++i) {
            QVERIFY(m_page->isTransmitting());
            ack(statuses.at(i));
        }
        QCOMPARE(editor("txNum")->text(), txNum);
        QVERIFY(!m_page->isTransmitting());
        QCOMPARE(button("btn_send")->text(), QString("Send"));
        QVERIFY(editor("Length")->isEnabled());
        if (stopSent)
            expectSent(downlink("aa0907"));
        else
            QVERIFY(sentNothing());
    }

    // Stopping the mode, or the dongle's reset, leaves nothing running and the received rows
    // standing.
    void stopModeAndReset()
    {
        makePage("lcp");
        startTransmission(5);
        button("btn_startrx")->click();
        m_page->onRcvMsg(uplink(0xDD, 0x09, 0x05, QByteArray::fromHex("4c02aabb")));
        QCOMPARE(m_page->rxModel()->rowCount(), 1);
        button("btn_startlcp")->click();
        QCOMPARE(button("btn_send")->text(), QString("Send"));
        QCOMPARE(button("btn_startrx")->text(), QString("Start Rx"));
        QCOMPARE(button("btn_startlcp")->text(), QString("Start LCP Mode"));
        QVERIFY(!button("btn_send")->isEnabled());
        QVERIFY(editor("Access Address")->isEnabled());

        button("btn_startlcp")->click();
        button("btn_startrx")->click();
        m_page->reset();
        QVERIFY(!m_page->isModeOn() && !m_page->isReceiving());
        QCOMPARE(button("btn_startlcp")->text(), QString("Start LCP Mode"));
        QCOMPARE(m_page->rxModel()->rowCount(), 1);
        QCOMPARE(editor("rxNum")->text(), QString("1"));
    }

    // Rows only while receiving, in upper-case hex; the IDT table has no header column. Copy
    // takes the selected rows; Clear asks first.
    void receiving_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QByteArray>("frame");
        QTest::addColumn<QStringList>("cells");

        QTest::newRow("lcp") << "lcp" << uplink(0xDD, 0x09, 0x05, QByteArray::fromHex("4c03abcdef"))
                             << QStringList{"4C", "03", "ABCDEF"};
        QTest::newRow("idt") << "idt" << uplink(0xDD, 0x0A, 0x05, QByteArray::fromHex("020a0b"))
                             << QStringList{"02", "0A0B"};
    }
    void receiving()
    {
        QFETCH(QString, kind);
        QFETCH(QByteArray, frame);
        QFETCH(QStringList, cells);
        makePage(kind);
        m_page->onRcvMsg(frame);
        QCOMPARE(m_page->rxModel()->rowCount(), 0);
        button(qPrintable("btn_start" + kind))->click();
        button("btn_startrx")->click();
        m_page->onRcvMsg(frame);
        m_page->onRcvMsg(frame);
        RfRxTableModel* model = m_page->rxModel();
        QCOMPARE(model->rowCount(), 2);
        QCOMPARE(model->columnCount(), cells.size() + 1);
        QVERIFY(QRegularExpression("^\\d\\d:\\d\\d:\\d\\d\\.\\d\\d\\d$").match(model->index(1, 0).data().toString()).hasMatch());
        for (int column = 0; column < cells.size(); ++column)
            QCOMPARE(model->index(1, column + 1).data().toString(), cells.at(column));
        QCOMPARE(editor("rxNum")->text(), QString("2"));

        auto* table = m_page->findChild<QTableView*>("tableWidget_rxinfo");
        table->selectRow(1);
        m_page->onCopyRxData();
        QCOMPARE(QApplication::clipboard()->text().section('\t', 1), cells.join('\t'));
        QVERIFY(m_page->grab().save(SCREENSHOT_DIR "rftest-" + kind + "-page.png"));

        whenModal([](QWidget* box) { box->findChild<QPushButton*>("m_no")->click(); });
        button("btn_clearrx")->click();
        QCOMPARE(model->rowCount(), 2);
        whenModal([](QWidget* box) { box->findChild<QPushButton*>("m_yes")->click(); });
        button("btn_clearrx")->click();
        QCOMPARE(model->rowCount(), 0);
        QCOMPARE(editor("rxNum")->text(), QString("0"));
    }
};

QTEST_MAIN(TestCRfTestWidget)
#include "tst_crftestwidget.moc"
