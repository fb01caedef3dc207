#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest>

#include <memory>

#include "frames.h"
#include "iso/manageciswidget.h"
#include "iso/receivedatatablemodel.h"
#include "linkbench.h"
#include "log/logmanager.h"
#include "schema/cvalidatetextedit.h"
#include "whenmodal.h"

namespace {

QByteArray downlink(quint8 opcode, const QByteArray& body)
{
    return withChecksum(QByteArray(1, char(0xAA)) + char(0x06) + char(opcode) + le16(body.size()) + body);
}

QByteArray sendIso(const QByteArray& data)
{
    return downlink(0x0E, le16(300) + le16(data.size()) + data);
}

UplinkFieldMap fieldsOf(const QByteArray& frame)
{
    UplinkFieldMap fields;
    CCommand::parseUplinkMsg(nullptr, frame, fields);
    return fields;
}

QByteArray received(quint16 sequence, const QByteArray& data, quint16 handle = 300)
{
    return uplink(0xDD, 0x06, 0x0F, le16(handle) + QByteArray::fromHex("e8030000") + le16(sequence) + '\0'
                                        + le16(data.size()) + data);
}

} // namespace

// The page of stream 300 (SDU interval 10 ms, SDUs up to 4 bytes), its sends read back from the
// port and the dongle's answers handed to it as its group's page does.
class TestManageCisWidget : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_bench;
    std::unique_ptr<manageCISWidget> m_page;

    template <class T>
    T* child(const char* name) const { return m_page->findChild<T*>(name); }
    void expectSent(const QByteArray& expected)
    {
        QCOMPARE(m_bench->pty.read(expected.size()).toHex(' '), expected.toHex(' '));
    }
    void answer(const QByteArray& frame)
    {
        const UplinkFieldMap fields = fieldsOf(frame);
        switch (frame.at(2)) {
        case 0x01: m_page->readIsoTxSyncProc(frame, fields); break;
        case 0x09: m_page->setupDataPathProc(frame, fields); break;
        case 0x0F: m_page->receiveIsoDataProc(frame, fields); break;
        }
    }

private slots:
    void init()
    {
        m_bench = std::make_unique<LinkBench>();
        m_page = std::make_unique<manageCISWidget>(&m_bench->msg, &m_bench->logger, nullptr, "300");
        m_page->setStreamParameters("10000", "4");
        m_page->show();
    }
    void cleanup()
    {
        m_page.reset();
        m_bench.reset();
    }

    // Typed hex goes out as a number: its last byte first.
    void typedData_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("maxSdu");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("too long") << "AABB" << "1" << QByteArray();
        QTest::newRow("one byte") << "AA" << "1" << QByteArray::fromHex("aa");
        QTest::newRow("two bytes") << "AABB" << "2" << QByteArray::fromHex("bbaa");
        QTest::newRow("with colons") << "AA:BB:CC" << "3" << QByteArray::fromHex("ccbbaa");
    }
    void typedData()
    {
        QFETCH(QString, typed);
        QFETCH(QString, maxSdu);
        QFETCH(QByteArray, sent);
        m_page->setStreamParameters("10000", maxSdu);
        child<CValidateTextEdit>("textEdit_sendData")->setPlainText(typed);
        QCOMPARE(child<QLineEdit>("lineEdit_dataLength")->text(), QString::number(typed.count(QRegExp("[0-9A-F]")) / 2));
        ModalCatcher boxes;
        child<QPushButton>("pushButton_send")->click();
        if (sent.isEmpty()) {
            QCOMPARE(boxes.shown, QStringList{"ERROR: The ISO send data length is large than Max SDU."});
            return;
        }
        expectSent(sendIso(sent));
    }

    // "10" times is sixteen frames; a second Send during the run is refused and the run goes on.
    void repeatedSends()
    {
        child<CValidateTextEdit>("textEdit_sendData")->setPlainText("01");
        child<QCheckBox>("checkBox_repeat")->click();
        child<QLineEdit>("lineEdit_times")->setText("10");
        child<QLineEdit>("lineEdit_interval")->setText("999");
        ModalCatcher boxes;
        child<QPushButton>("pushButton_send")->click();
        QVERIFY(m_page->isRepeating());
        child<QPushButton>("pushButton_send")->click();
        QCOMPARE(boxes.shown,
                 QStringList{"ERROR: Tarvine's sending iso data can work only after the former sending work finished."});
        QTRY_VERIFY(!m_page->isRepeating());
        QByteArray expected;
        for (int i = 0; i < 16; ++i)
            expected += sendIso("\x01");
        expectSent(expected);
        QCOMPARE(m_bench->log->texts().filter("Downlink Command Name: Send ISO data").size(), 16);
    }

    // The table keeps the last ten SDUs, the file all of them; a new page starts the file afresh.
    void receivedData()
    {
        for (quint16 sequence = 1; sequence <= 11; ++sequence)
            answer(received(sequence, QByteArray::fromHex("0aff") + char(sequence)));
        ReceiveDataTableModel* table = m_page->receiveModel();
        QCOMPARE(table->rowCount(), 10);
        QStringList first;
        for (int column = 0; column < table->columnCount(); ++column)
            first.append(table->index(0, column).data().toString());
        QCOMPARE(first, QStringList({"1000", "2", "Valid data", "3", "0aff02"}));
        QFile file(m_page->receiveFilePath());
        QVERIFY(file.fileName().startsWith(QDir::toNativeSeparators(LogManager::dataRoot() + "/ISO_receive_data/300")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        QCOMPARE(lines.size(), 12);
        QCOMPARE(lines.first(), QByteArray("0a:ff:01\r"));
        file.close();

        m_page = std::make_unique<manageCISWidget>(&m_bench->msg, &m_bench->logger, nullptr, "300");
        answer(received(12, "\x05"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("05\r\n"));
    }

    void dataPath_data()
    {
        QTest::addColumn<int>("direction");
        QTest::addColumn<QByteArray>("removal");
        QTest::addColumn<QStringList>("left");
        QTest::newRow("input") << 0 << QByteArray("\x01") << QStringList{"Disabled", "TVN"};
        QTest::newRow("output") << 1 << QByteArray("\x02") << QStringList{"TVN", "Disabled"};
        QTest::newRow("both") << 2 << QByteArray("\x03") << QStringList{"Disabled", "Disabled"};
    }
    void dataPath()
    {
        QFETCH(int, direction);
        QFETCH(QByteArray, removal);
        QFETCH(QStringList, left);
        child<QComboBox>("comboBox_input")->setCurrentText("TVN");
        child<QComboBox>("comboBox_output")->setCurrentText("TVN");
        child<QPushButton>("pushButton_set")->click();
        expectSent(downlink(0x0B, le16(300) + "\xf6\xf6"));
        child<QComboBox>("comboBox_direction")->setCurrentIndex(direction);
        child<QPushButton>("pushButton_remove")->click();
        expectSent(downlink(0x0C, le16(300) + removal));
        QCOMPARE(QStringList({child<QComboBox>("comboBox_input")->currentText(),
                              child<QComboBox>("comboBox_output")->currentText()}),
                 left);
    }

    void answers()
    {
        ModalCatcher boxes;
        answer(uplink(0xDD, 0x06, 0x09, QByteArray(1, '\0') + le16(301)));
        QCOMPARE(boxes.shown,
                 QStringList{"ERROR: The returned connection handle is wrong in set ISO data path command."});
        answer(uplink(0xDD, 0x06, 0x09, QByteArray(1, '\0') + le16(300)));
        QVERIFY(m_bench->log->contains("Set ISO data path succeed.", 2));
        answer(uplink(0xDD, 0x06, 0x01, QByteArray(1, '\0') + le16(300) + le16(7) + QByteArray::fromHex("40420f00")
                                            + QByteArray(4, '\0')));
        QCOMPARE(QStringList({child<QLineEdit>("lineEdit_packetSN")->text(), child<QLineEdit>("lineEdit_timeStamp")->text(),
                              child<QLineEdit>("lineEdit_timeOffset")->text()}),
                 QStringList({"7", "1000000", "0"}));
    }
};

QTEST_MAIN(TestManageCisWidget)
#include "tst_manageciswidget.moc"
