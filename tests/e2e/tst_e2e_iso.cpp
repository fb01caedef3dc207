#include <QCheckBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTemporaryFile>
#include <QtTest>

#include "capturelogger.h"
#include "cigcisflow.h"
#include "iso/cigdatatablemodel.h"
#include "iso/manageciswidget.h"
#include "iso/receivedatatablemodel.h"
#include "log/logmanager.h"
#include "masterbench.h"
#include "schema/cvalidatetextedit.h"

namespace {

// The heart-rate sensor of the default world takes isochronous streams: it sends an SDU every
// SDU interval and echoes what it receives in its next one.
const QString kSensor = QStringLiteral("c6:5a:10:00:00:01");

} // namespace

// The central side of LE Audio against tarvine-sim: a group with one stream to the sensor, its
// data both ways, and the stream's and the group's end.
class TestE2eIso : public QObject
{
    Q_OBJECT

    MasterBench m_bench;
    CaptureLogger* m_log = nullptr;
    CCigCisWidget* m_page = nullptr;
    manageCISWidget* m_stream = nullptr;
    QSet<QString> m_received; // the data of every row the receive table showed

    template <class T>
    T* streamChild(const char* name) const { return m_stream->findChild<T*>(name); }
    QStringList column(int index) const
    {
        QStringList cells;
        const ReceiveDataTableModel* table = m_stream->receiveModel();
        for (int row = 0; row < table->rowCount(); ++row)
            cells.append(table->index(row, index).data().toString());
        return cells;
    }
    int fileLines() const
    {
        QFile file(m_stream->receiveFilePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll().count('\n') : 0;
    }
    // Waits until an SDU with this data comes back from the sensor. The table keeps the last ten
    // rows only, so every row is noted as it comes: a busy machine may take more than ten at once.
    bool echoed(const QString& hex) const
    {
        return QTest::qWaitFor([&] { return m_received.contains(hex); }, 10000);
    }

private slots:
    void initTestCase()
    {
        m_bench.start();
        m_bench.tab->logger()->addLogger(m_log = new CaptureLogger);
        QVERIFY(m_bench.connectTo(kSensor));
        m_bench.tabs()->setCurrentIndex(0);
        QToolButton* open = m_bench.button("buttonCIGCIS");
        QVERIFY(open->isEnabled());
        open->click();
        m_page = qobject_cast<CCigCisWidget*>(m_bench.tabs()->currentWidget());
        QVERIFY(m_page);
        QCOMPARE(m_bench.tabs()->tabText(m_bench.tabs()->currentIndex()), QString("Master CIG and CIS"));
        // A second click shows the same page.
        m_bench.tabs()->setCurrentIndex(0);
        open->click();
        QCOMPARE(m_bench.tabs()->currentWidget(), m_page);
    }

    void streamEstablished()
    {
        cigcis::defineAndSetGroup(m_page, 1, {}, {{"phy_m2s", "2"}, {"phy_s2m", "2"}});
        QTRY_VERIFY(!m_page->cigModel()->index(0, 8).data(Qt::DecorationRole).isNull());
        const QString handle = m_page->cisModel()->index(0, 8).data().toString();
        QVERIFY(!handle.isEmpty());
        cigcis::createAll(m_page);
        QTRY_VERIFY_WITH_TIMEOUT(cigcis::allConnected(m_page), 10000);

        auto* table = m_page->findChild<QTableView*>("tableView_CIS");
        QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, table->visualRect(table->model()->index(0, 1)).center());
        m_stream = m_page->shownManageCis();
        QVERIFY(m_stream);
        const ReceiveDataTableModel* received = m_stream->receiveModel();
        connect(received, &QAbstractItemModel::rowsInserted, this,
                [this, received](const QModelIndex&, int first, int last) {
                    for (int row = first; row <= last; ++row)
                        m_received.insert(received->index(row, 4).data().toString());
                });
        QCOMPARE(m_stream->streamHandle(), handle);
        QCOMPARE(m_page->findChild<QLabel*>("label_connection")->text(), "CIS Connection Handle: " + handle);
    }

    // Nothing comes up before the output path stands; then SDUs at the interval, in order.
    void sdusReceived()
    {
        QVERIFY(m_stream);
        cigcis::openDataPaths(m_stream);
        QTRY_VERIFY(m_log->contains("Set ISO data path succeed.", 2));
        QTRY_VERIFY_WITH_TIMEOUT(m_stream->receiveModel()->rowCount() == ReceiveDataTableModel::MaxRows, 10000);
        QTRY_VERIFY(fileLines() >= 12);
        const QStringList sequence = column(1);
        const QStringList stamps = column(0);
        for (int row = 1; row < sequence.size(); ++row) {
            QCOMPARE(sequence.at(row).toUInt(), (sequence.at(row - 1).toUInt() + 1) % 65536);
            QCOMPARE(stamps.at(row).toULongLong() - stamps.at(row - 1).toULongLong(), 10000ull);
        }
        QCOMPARE(column(2).filter("Valid data").size(), ReceiveDataTableModel::MaxRows);
        QVERIFY(QFile::exists(QDir::toNativeSeparators(LogManager::dataRoot() + "/ISO_receive_data/"
                                                       + m_stream->streamHandle() + "/data.txt")));
        QVERIFY(m_page->window()->grab().save(SCREENSHOT_DIR "e2e-cig-cis.png"));
    }

    // Typed data goes out last byte first and comes back as it went; the TX sync follows it.
    void typedDataEchoed()
    {
        QVERIFY(m_stream);
        streamChild<CValidateTextEdit>("textEdit_sendData")->setPlainText("0102030405");
        streamChild<QPushButton>("pushButton_send")->click();
        QVERIFY(echoed("0504030201"));
        streamChild<QPushButton>("pushButton_get")->click();
        QTRY_VERIFY(!streamChild<QLineEdit>("lineEdit_timeStamp")->text().isEmpty());
        const uint first = streamChild<QLineEdit>("lineEdit_packetSN")->text().toUInt();
        streamChild<QPushButton>("pushButton_send")->click();
        QVERIFY(echoed("0504030201"));
        streamChild<QPushButton>("pushButton_get")->click();
        QTRY_VERIFY(streamChild<QLineEdit>("lineEdit_packetSN")->text().toUInt() > first);
    }

    // Five random SDUs of 0x10 bytes at the stream's interval, then a file.
    void randomAndFileData()
    {
        QVERIFY(m_stream);
        const QByteArray randomSend = QByteArray::fromHex("aa060e1400"); // sixteen bytes of data
        const int sendsBefore = m_bench.sim->traced("down", randomSend);
        streamChild<QCheckBox>("checkBox_random")->click();
        streamChild<QLineEdit>("lineEdit_randomLength")->setText("10");
        streamChild<QCheckBox>("checkBox_repeat")->click();
        streamChild<QLineEdit>("lineEdit_times")->setText("5");
        streamChild<QPushButton>("pushButton_send")->click();
        QVERIFY(m_stream->isRepeating());
        QTRY_VERIFY_WITH_TIMEOUT(!m_stream->isRepeating(), 10000);
        QTRY_COMPARE(m_bench.sim->traced("down", randomSend), sendsBefore + 5);
        streamChild<QCheckBox>("checkBox_repeat")->click();
        streamChild<QCheckBox>("checkBox_random")->click();

        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(QByteArray::fromHex("c0ffee00112233"));
        file.close();
        whenModal([&file](QWidget* dialog) {
            auto* picker = qobject_cast<QFileDialog*>(dialog);
            picker->selectFile(file.fileName());
            static_cast<QDialog*>(picker)->accept();
        });
        streamChild<QPushButton>("pushButton_sendFile")->click();
        QVERIFY(echoed("c0ffee00112233"));
    }

    // The group stands while its stream does: the page refuses to remove it or close its tab.
    void groupEnds()
    {
        QVERIFY(m_stream);
        ModalCatcher boxes;
        cigcis::click(m_page, "toolButton_removeCIG");
        const int tab = m_bench.tabs()->indexOf(m_page);
        qobject_cast<QToolButton*>(m_bench.tabs()->tabBar()->tabButton(tab, QTabBar::RightSide))->click();
        QCOMPARE(boxes.shown, QStringList({"ERROR: Please check you have disconnected CIS Before remove CIG.",
                                           "ERROR: Please remove CIG before close the CIS and CIS table."}));

        const quint16 handle = m_stream->streamHandle().toUShort();
        QPointer<manageCISWidget> stream = m_stream;
        m_stream = nullptr;
        cigcis::click(m_page, "toolButton_disconnect");
        QTRY_VERIFY(m_log->contains("Disconnect CIS succeed.", 2));
        QVERIFY(!m_page->manageCisPages().contains(handle));
        QTRY_VERIFY(!stream);
        QCOMPARE(m_page->findChild<QLabel*>("label_connection")->text(), QString("CIS Connection Handle: "));

        cigcis::click(m_page, "toolButton_removeCIG");
        QTRY_VERIFY(m_log->contains("Remove CIG succeed.", 2));
        QVERIFY(!m_page->hasCig());
        qobject_cast<QToolButton*>(m_bench.tabs()->tabBar()->tabButton(tab, QTabBar::RightSide))->click();
        QCOMPARE(m_bench.tabIndex("Master CIG and CIS"), -1);
        QCOMPARE(boxes.shown.size(), 2);
        // The Master page opens a new one.
        m_bench.tabs()->setCurrentIndex(0);
        m_bench.button("buttonCIGCIS")->click();
        QVERIFY(qobject_cast<CCigCisWidget*>(m_bench.tabs()->currentWidget()));
    }
};

QTEST_MAIN(TestE2eIso)
#include "tst_e2e_iso.moc"
