#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QTimer>
#include <QToolButton>
#include <QtTest>

#include "capturelogger.h"
#include "formcontrol.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "ptypair.h"
#include "schema/ccommanduiowner.h"
#include "schema/ccommanduiwidget.h"
#include "schema/cvalidatelineedit.h"
#include "schema/uplinkmsgtablemodel.h"
#include "whenmodal.h"

namespace {

// The page a form stands on, as far as the form asks of it.
struct Owner : CCommandUiOwner
{
    void setUplinkEnabled(bool enabled) override { uplinkEnabled = enabled; }
    int linkState() const override { return state; }
    void setLinkState(int value) override { state = value; }
    bool uplinkEnabled = false;
    int state = 0;
};

QByteArray withChecksum(const char* hex)
{
    QByteArray frame = QByteArray::fromHex(hex);
    char sum = 0;
    for (char byte : frame)
        sum = char(sum + byte);
    return frame + char(-sum);
}

} // namespace

class TestCCommandUiWidget : public QObject
{
    Q_OBJECT

    LogManager m_logger{"tst_ccommanduiwidget"};
    CaptureLogger* m_log = new CaptureLogger; // owned by m_logger
    QTimer m_timer;
    Owner m_owner;

private slots:
    void initTestCase() { m_logger.addLogger(m_log); }
    void init()
    {
        m_log->clear();
        m_owner = Owner();
        m_timer.stop();
    }

    void formsOfRealComponents_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("writable");
        QTest::addColumn<QStringList>("titles"); // in grid order, two a row
        QTest::newRow("write form") << "Data Length Update" << true
                                    << QStringList{"Preferred Maximum TX Octets", "Preferred Maximum TX Time(us)"};
        QTest::newRow("enum before masks") << "PHY Update" << true
                                           << QStringList{"Specify options for PHYs", "Transmitter PHYs", "Receiver PHYs"};
        QTest::newRow("read form") << "Get Peer Version" << false
                                   << QStringList{"Manufacturer name", "LMP subversion", "LMP version"};
    }
    void formsOfRealComponents()
    {
        QFETCH(QString, name);
        QFETCH(bool, writable);
        QFETCH(QStringList, titles);
        CCommandUiWidget form(nullptr, &m_logger, &m_owner, name, &m_timer, writable, 3, true);
        QCOMPARE(form.findChild<QPushButton*>("btn_command")->text(), writable ? QString("Update") : QString("Get"));
        const auto* grid = form.findChild<QGridLayout*>("gridLayout");
        for (int i = 0; i < titles.size(); ++i) {
            const auto* label = qobject_cast<QLabel*>(grid->itemAtPosition(i / 2, 2 * (i % 2))->widget());
            QVERIFY(label);
            QCOMPARE(label->text(), titles.at(i));
            QCOMPARE(formControl(form, titles.at(i))->isEnabled(), writable);
        }
        QVERIFY(m_log->lines.isEmpty());
    }

    // What a press of the button sends; Update Connection Parameters Request only while the
    // supervision timeout exceeds (1 + latency) x interval max x 2, which puts the diagram in wait.
    void buttonSends_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("texts"); // title=text pairs typed first
        QTest::addColumn<QByteArray>("frame");   // empty: refused
        QTest::newRow("a read form sends only its condix")
            << "Get Peer Version" << QStringList() << withChecksum("aa014d010003");
        QTest::newRow("a write form sends its fields")
            << "Data Length Update" << QStringList{"Preferred Maximum TX Octets=251", "Preferred Maximum TX Time(us)=2120"}
            << withChecksum("aa0143050003fb004808");
        QTest::newRow("supervision timeout above the bound")
            << "Update Connection Parameters Request"
            << QStringList{"Connection Interval Maximum(ms)=50", "Connection Latency=0", "Supervision Timeout(ms)=110"}
            << withChecksum("aa01370b00" "0600" "2800" "0000" "0b00" "0200" "03");
        QTest::newRow("supervision timeout equal to the bound")
            << "Update Connection Parameters Request"
            << QStringList{"Connection Interval Maximum(ms)=50", "Connection Latency=0", "Supervision Timeout(ms)=100"}
            << QByteArray();
    }
    void buttonSends()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, texts);
        QFETCH(QByteArray, frame);
        PtyPair pty;
        CMsg msg(&m_logger);
        QCOMPARE(msg.openPort(pty.portName()), 0);
        CCommandUiWidget form(&msg, &m_logger, &m_owner, name, &m_timer, name != "Get Peer Version", 3, true);
        for (const QString& text : texts) {
            auto* edit = qobject_cast<CValidateLineEdit*>(formControl(form, text.section('=', 0, 0)));
            QVERIFY(edit);
            edit->setText(text.section('=', 1));
        }
        QString refusal;
        if (frame.isEmpty())
            whenModal([&refusal](QWidget* box) {
                refusal = box->windowTitle() + ": " + box->findChild<QLabel*>("m_text")->text();
                box->close();
            });
        form.findChild<QPushButton*>("btn_command")->click();

        const bool update = name == "Update Connection Parameters Request" && !frame.isEmpty();
        QCOMPARE(m_owner.state, update ? 1 : 0);
        QCOMPARE(m_timer.isActive(), update);
        if (update)
            QCOMPARE(m_timer.interval(), 5000);
        QCOMPARE(m_owner.uplinkEnabled, !frame.isEmpty());
        if (frame.isEmpty()) {
            QCOMPARE(refusal, "Update Connection Parameters Request Error: Supervision Timeout should greater than "
                              "(1+Latency)*Interval Maximum*2.");
            QVERIFY(m_log->contains("Update Connection Parameters Request Error", 4));
            QCOMPARE(msg.isOpen(), true);
            return;
        }
        QByteArray sent;
        QTRY_VERIFY_WITH_TIMEOUT((sent += pty.readAll()).size() >= frame.size(), 5000);
        QCOMPARE(sent.toHex(), frame.toHex());
    }

    void showsResults_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("shown"); // an editor's text, a combo's caption, or the bits set
        QTest::newRow("int, little-endian") << "Get Peer Version" << "lmp_subversion" << QByteArray::fromHex("3412")
                                            << "LMP subversion" << "4660";
        QTest::newRow("signed byte") << "Get Connection RSSI" << "rssi" << QByteArray::fromHex("c4") << "RSSI" << "-60";
        QTest::newRow("address, last byte first") << "Device BD_Address Get" << "identity_addr"
                                                  << QByteArray::fromHex("ffeeddccbbaa") << "BD Address"
                                                  << "AA:BB:CC:DD:EE:FF";
        QTest::newRow("int16double in steps") << "RF Path Compensation Values Get" << "tx_path_comp"
                                              << QByteArray::fromHex("ff00") << "RF TX path compensation(dB)" << "25.5";
        QTest::newRow("int16double negative") << "RF Path Compensation Values Get" << "tx_path_comp"
                                              << QByteArray::fromHex("9cff") << "RF TX path compensation(dB)" << "-10.0";
        QTest::newRow("enum by index") << "Get Selection Algorithm For Connection Channel" << "chanel_selection_algorithm"
                                       << QByteArray::fromHex("01") << "Chanel Selection algorithm"
                                       << "Algorithm #2 is used";
        QTest::newRow("bit table") << "Get Peer Features" << "features" << QByteArray::fromHex("01010000")
                                   << "Features" << "0 8";
        QTest::newRow("half bit table") << "Get Connection PHY" << "lephy_data_transmission"
                                        << QByteArray::fromHex("02") << "LE PHY for data transmission" << "1";
        QTest::newRow("nothing leaves the combo empty") << "Get Selection Algorithm For Connection Channel"
                                                         << "other" << QByteArray() << "Chanel Selection algorithm"
                                                         << "";
        QTest::newRow("nothing leaves the editor empty") << "Get Peer Version" << "other" << QByteArray()
                                                         << "LMP version" << "";
    }
    void showsResults()
    {
        QFETCH(QString, name);
        QFETCH(QString, key);
        QFETCH(QByteArray, value);
        QFETCH(QString, title);
        QFETCH(QString, shown);
        CCommandUiWidget form(nullptr, &m_logger, &m_owner, name, &m_timer, false, 0, true);
        form.setFieldValueInGlayout({{key, value}});
        QWidget* shownBy = formControl(form, title);
        if (auto* edit = qobject_cast<CValidateLineEdit*>(shownBy)) {
            QCOMPARE(edit->text(), shown);
        } else if (auto* combo = qobject_cast<QComboBox*>(shownBy)) {
            QCOMPARE(combo->currentText(), shown);
        } else {
            const auto* model = qobject_cast<UplinkBitTableModel*>(qobject_cast<QTableView*>(shownBy)->model());
            QStringList set;
            for (int bit = 0; bit < 64; ++bit)
                if (model->state(bit))
                    set << QString::number(bit);
            QCOMPARE(set.join(' '), shown);
        }
        QVERIFY(m_log->lines.isEmpty());
    }

    // A one-byte field given two, an address given five: the editor keeps its text.
    void wrongSizedResultIsAnInternalError_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("value");
        QTest::newRow("signed byte") << "Get Connection RSSI" << "rssi" << QByteArray::fromHex("c4ff");
        QTest::newRow("address") << "Device BD_Address Get" << "identity_addr" << QByteArray::fromHex("ffeeddccbb");
    }
    void wrongSizedResultIsAnInternalError()
    {
        QFETCH(QString, name);
        QFETCH(QString, key);
        QFETCH(QByteArray, value);
        CCommandUiWidget form(nullptr, &m_logger, &m_owner, name, &m_timer, false, 0, true);
        const QString before = form.findChild<CValidateLineEdit*>()->text();
        form.setFieldValueInGlayout({{key, value}});
        QCOMPARE(m_log->lines.size(), 1);
        QVERIFY(m_log->lines.first().second.contains(" FUNCTION:CCommandUiWidget::setFieldValueInGlayout Internal error."));
        QCOMPARE(form.findChild<CValidateLineEdit*>()->text(), before);
    }

    void titleFoldsAndUnfolds()
    {
        CCommandUiWidget form(nullptr, &m_logger, &m_owner, "Get Connection RSSI", &m_timer, false, 0, false);
        form.show();
        auto* body = form.findChild<QWidget*>("widget_body");
        QVERIFY(!body->isVisible());
        QTest::mouseClick(form.findChild<QWidget*>("sigWidget"), Qt::LeftButton);
        QVERIFY(body->isVisible());
        QTest::mouseClick(form.findChild<QToolButton*>("toolButton_fold"), Qt::LeftButton);
        QVERIFY(!body->isVisible());
    }
};

QTEST_MAIN(TestCCommandUiWidget)
#include "tst_ccommanduiwidget.moc"
