#include <QComboBox>
#include <QLineEdit>
#include <QTableView>
#include <QToolButton>
#include <QtTest>

#include "adv/cadvdatawidget.h"
#include "adv/datatablemodel.h"
#include "advpage.h"

// The payload editor: each AD type typed into its bytes, the refusals of the lists, edits in
// place. The periodic data is tested through the periodic page, which sends it.
class TestCAdvDataWidget : public QObject
{
    Q_OBJECT

    std::unique_ptr<CAdvDataWidget> m_editor;
    std::unique_ptr<ModalCatcher> m_boxes;

    // Rows "TITLE=VALUE" into the advertising data, or with "rsp:" in front into the scan response.
    void add(const QStringList& rows)
    {
        for (const QString& row : rows) {
            const bool response = row.startsWith(QLatin1String("rsp:"));
            const QString entry = response ? row.mid(4) : row;
            addAdRow(m_editor.get(), entry.section('=', 0, 0), entry.section('=', 1), response);
        }
    }

private slots:
    void initTestCase() { applyFlatStyle(); }
    void init()
    {
        m_editor = std::make_unique<CAdvDataWidget>();
        m_editor->resize(900, 360);
        m_boxes = std::make_unique<ModalCatcher>();
    }
    void cleanup()
    {
        m_boxes.reset();
        m_editor.reset();
    }

    // Rows typed into the lists, the refusals they meet, and the bytes of both lists after.
    void lists_data()
    {
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QStringList>("refusals");
        QTest::addColumn<QByteArray>("advertising");
        QTest::addColumn<QByteArray>("response");
        // Into the advertising data alone, and taken.
        const auto built = [](const char* name, const QStringList& rows, const QByteArray& bytes) {
            QTest::newRow(name) << rows << QStringList() << bytes << QByteArray();
        };
        built("16-bit incomplete: least significant byte first", {"UUID 16-bit Incomplete List=180f"},
              QByteArray::fromHex("0302" "0f18"));
        built("32-bit complete, zeros filled in front", {"UUID 32-bit Complete List=ABC"},
              QByteArray::fromHex("0505" "bc0a0000"));
        built("128-bit complete", {"UUID 128-bit Complete List=000102030405060708090a0b0c0d0e0f"},
              QByteArray::fromHex("1107" "0f0e0d0c0b0a09080706050403020100"));
        built("complete name", {"Complete Local Name=Tarvine 2"}, QByteArray::fromHex("0a09" "54617276696e652032"));
        built("tx power as typed", {"Tx Power Level=F4"}, QByteArray::fromHex("020a" "f4"));
        built("appearance as typed, wire order", {"Appearance=C1:03"}, QByteArray::fromHex("0319" "c103"));
        built("custom structure as typed, a wrong length kept", {"Custom AD type=09:FF:59:00:01"},
              QByteArray::fromHex("09ff590001"));
        built("rows in list order",
              {"Tx Power Level=00", "Custom AD type=02:01:06", "Complete Local Name=A", "Custom AD type=01:FF"},
              QByteArray::fromHex("020a00" "020106" "020941" "01ff"));
        // The length byte wraps; the pages judge the total.
        built("a name of 255 characters", {"Complete Local Name=" + QString(255, 'N')},
              QByteArray::fromHex("0009") + QByteArray(255, 'N'));
        built("custom rows any number of times", {"Custom AD type=01:FF", "Custom AD type=01:FE"},
              QByteArray::fromHex("01ff01fe"));

        QTest::newRow("empty value") << QStringList{"Complete Local Name="}
                                     << QStringList{"ERROR: The input advertising data is empty."} << QByteArray()
                                     << QByteArray();
        QTest::newRow("empty value for the scan response")
            << QStringList{"rsp:UUID 16-bit Complete List="}
            << QStringList{"ERROR: The input advertising response data is empty."} << QByteArray() << QByteArray();
        QTest::newRow("a type twice in one list")
            << QStringList{"Complete Local Name=A", "Complete Local Name=B"}
            << QStringList{"ERROR: This ID Type has been added."} << QByteArray::fromHex("020941") << QByteArray();
        QTest::newRow("a type once in each list") << QStringList{"Complete Local Name=A", "rsp:Complete Local Name=B"}
                                                  << QStringList() << QByteArray::fromHex("020941")
                                                  << QByteArray::fromHex("020942");
        QTest::newRow("one UUID in both lists")
            << QStringList{"UUID 16-bit Complete List=180F", "rsp:UUID 16-bit Complete List=180F"} << QStringList()
            << QByteArray::fromHex("03030f18") << QByteArray::fromHex("03030f18");
    }
    void lists()
    {
        QFETCH(QStringList, rows);
        QFETCH(QStringList, refusals);
        QFETCH(QByteArray, advertising);
        QFETCH(QByteArray, response);
        add(rows);
        QCOMPARE(m_boxes->shown, refusals);
        QCOMPARE(m_editor->advertisingData().toHex(), advertising.toHex());
        QCOMPARE(m_editor->scanResponseData().toHex(), response.toHex());
    }

    void editInPlace_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("a byte for the tx power") << "Tx Power Level=F4" << "0A" << QByteArray::fromHex("020a0a");
        QTest::newRow("two bytes, the most a tx power holds") << "Tx Power Level=F4" << "0A0B"
                                                              << QByteArray::fromHex("030a0a0b");
        QTest::newRow("three bytes refused") << "Tx Power Level=F4" << "0A0B0C" << QByteArray::fromHex("020af4");
        QTest::newRow("no hex refused") << "Tx Power Level=F4" << "zz" << QByteArray::fromHex("020af4");
        QTest::newRow("empty refused") << "Complete Local Name=A" << "" << QByteArray::fromHex("020941");
        QTest::newRow("any text for a name") << "Complete Local Name=A" << "B c!" << QByteArray::fromHex("050942206321");
        QTest::newRow("a UUID without colons") << "UUID 16-bit Complete List=180F" << "2A00"
                                               << QByteArray::fromHex("0303002a");
        QTest::newRow("a custom structure of any size") << "Custom AD type=01:FF" << "0302AABB"
                                                        << QByteArray::fromHex("0302aabb");
    }
    void editInPlace()
    {
        QFETCH(QString, row);
        QFETCH(QString, text);
        QFETCH(QByteArray, bytes);
        add({row});
        dataTableModel* model = m_editor->advDataModel();
        QVERIFY(!(model->flags(model->index(0, 0)) & Qt::ItemIsEditable));
        QVERIFY(model->flags(model->index(0, 1)) & Qt::ItemIsEditable);
        model->setData(model->index(0, 1), text);
        QCOMPARE(m_editor->advertisingData().toHex(), bytes.toHex());
    }

    void deleteAndClear()
    {
        add({"Complete Local Name=A", "Tx Power Level=00", "rsp:Tx Power Level=01"});
        auto* view = m_editor->findChild<QTableView*>("tableView_advdata");
        m_editor->findChild<QToolButton*>("btnDeleteAdvData")->click(); // no current row
        QCOMPARE(m_editor->advDataModel()->rowCount(), 2);
        view->setCurrentIndex(m_editor->advDataModel()->index(0, 1));
        m_editor->findChild<QToolButton*>("btnDeleteAdvData")->click();
        QCOMPARE(m_editor->advertisingData().toHex(), QByteArray("020a00"));
        m_editor->findChild<QToolButton*>("btnClearAdvData")->click();
        QCOMPARE(m_editor->advertisingData(), QByteArray());
        QCOMPARE(m_editor->scanResponseData().toHex(), QByteArray("020a01"));
    }

    // The value editor takes the form of the type picked: a default, or none.
    void screenshot()
    {
        add({"Complete Local Name=Tarvine", "UUID 16-bit Complete List=180D", "Custom AD type=05:FF:59:00:01:02",
             "rsp:UUID 128-bit Complete List=0000180d00001000800000805f9b34fb"});
        auto* combo = m_editor->findChild<QComboBox*>("ADtypeCombox");
        auto* edit = m_editor->findChild<QLineEdit*>("valueLineEdit");
        combo->setCurrentIndex(0);
        QCOMPARE(edit->text(), QString("00:00"));
        combo->setCurrentText("Appearance");
        QCOMPARE(edit->text(), QString());
        m_editor->setPeriodicDataVisible(true);
        m_editor->findChild<QLineEdit*>("le_periodicadvdatda")->setText("01:02:03:04");
        m_editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_editor.get()));
        QVERIFY(m_editor->grab().save(SCREENSHOT_DIR "cadvdatawidget.png"));
    }
};

QTEST_MAIN(TestCAdvDataWidget)
#include "tst_cadvdatawidget.moc"
