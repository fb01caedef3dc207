#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QTimer>
#include <QToolButton>
#include <QtTest>

#include "capturelogger.h"
#include "frames.h"
#include "formcontrol.h"
#include "linkbench.h"
#include "log/logmanager.h"
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

    // A read form's fields are read-only, a write form's editable, two a row. What a press of the
    // button sends; Update Connection Parameters Request only while the supervision timeout exceeds
    // (1 + latency) x interval max x 2, which puts the diagram in wait.
    void buttonSends_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("titles"); // in grid order from the top, or none checked
        QTest::addColumn<QStringList>("texts"); // title=text pairs typed first
        QTest::addColumn<QByteArray>("frame");   // empty: refused
        QTest::newRow("a read form sends only its condix")
            << "Get Peer Version" << QStringList{"Manufacturer name", "LMP subversion", "LMP version"} << QStringList()
            << withChecksum(QByteArray::fromHex("aa014d010003"));
        QTest::newRow("a write form sends its fields")
            << "Data Length Update" << QStringList{"Preferred Maximum TX Octets", "Preferred Maximum TX Time(us)"}
            << QStringList{"Preferred Maximum TX Octets=251", "Preferred Maximum TX Time(us)=2120"}
            << withChecksum(QByteArray::fromHex("aa0143050003fb004808"));
        QTest::newRow("supervision timeout above the bound")
            << "Update Connection Parameters Request" << QStringList()
            << QStringList{"Connection Interval Maximum(ms)=50", "Connection Latency=0", "Supervision Timeout(ms)=110"}
            << withChecksum(QByteArray::fromHex("aa01370b00" "0600" "2800" "0000" "0b00" "0200" "03"));
        QTest::newRow("supervision timeout equal to the bound")
            << "Update Connection Parameters Request" << QStringList()
            << QStringList{"Connection Interval Maximum(ms)=50", "Connection Latency=0", "Supervision Timeout(ms)=100"}
            << QByteArray();
    }
    void buttonSends()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, titles);
        QFETCH(QStringList, texts);
        QFETCH(QByteArray, frame);
        LinkBench bench;
        const bool writable = name != "Get Peer Version";
        CCommandUiWidget form(&bench.msg, &bench.logger, &m_owner, name, &m_timer, writable, 3, true);
        QCOMPARE(form.findChild<QPushButton*>("btn_command")->text(), writable ? QString("Update") : QString("Get"));
        const auto* grid = form.findChild<QGridLayout*>("gridLayout");
        for (int i = 0; i < titles.size(); ++i) {
            const auto* label = qobject_cast<QLabel*>(grid->itemAtPosition(i / 2, 2 * (i % 2))->widget());
            QVERIFY(label);
            QCOMPARE(label->text(), titles.at(i));
            QCOMPARE(formControl(form, titles.at(i))->isEnabled(), writable);
        }
        QVERIFY(bench.log->lines.isEmpty());
        for (const QString& text : texts) {
            auto* edit = qobject_cast<CValidateLineEdit*>(formControl(form, text.section('=', 0, 0)));
            QVERIFY(edit);
            edit->setText(text.section('=', 1));
        }
        ModalCatcher boxes;
        form.findChild<QPushButton*>("btn_command")->click();

        const bool update = name == "Update Connection Parameters Request" && !frame.isEmpty();
        QCOMPARE(m_owner.state, update ? 1 : 0);
        QCOMPARE(m_timer.isActive(), update);
        if (update)
            QCOMPARE(m_timer.interval(), 5000);
        QCOMPARE(m_owner.uplinkEnabled, !frame.isEmpty());
        if (frame.isEmpty()) {
            QCOMPARE(boxes.shown, QStringList{"Update Connection Parameters Request Error: Supervision Timeout should "
                                              "greater than (1+Latency)*Interval Maximum*2."});
            QVERIFY(bench.log->contains("Update Connection Parameters Request Error", 4));
            QCOMPARE(bench.msg.isOpen(), true);
            return;
        }
        QCOMPARE(boxes.shown, QStringList());
        QCOMPARE(bench.pty.read(frame.size()).toHex(), frame.toHex());
    }

    void showsResults_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("shown"); // an editor's text, a combo's caption, or the bits set
        QTest::addColumn<bool>("internalError"); // a value of the wrong size, which leaves the editor as it was
        const auto row = [](const char* tag, const char* name, const char* key, const char* value, const char* title,
                            const char* shown, bool internalError = false) {
            QTest::newRow(tag) << name << key << QByteArray::fromHex(value) << title << shown << internalError;
        };
        const char* const rf = "RF Path Compensation Values Get";
        const char* const algorithm = "Get Selection Algorithm For Connection Channel";
        row("int, little-endian", "Get Peer Version", "lmp_subversion", "3412", "LMP subversion", "4660");
        row("signed byte", "Get Connection RSSI", "rssi", "c4", "RSSI", "-60");
        row("address, last byte first", "Device BD_Address Get", "identity_addr", "ffeeddccbbaa", "BD Address",
            "AA:BB:CC:DD:EE:FF");
        row("int16double in steps", rf, "tx_path_comp", "ff00", "RF TX path compensation(dB)", "25.5");
        row("enum by index", algorithm, "chanel_selection_algorithm", "01", "Chanel Selection algorithm",
            "Algorithm #2 is used");
        row("bit table", "Get Peer Features", "features", "01010000", "Features", "0 8");
        row("half bit table", "Get Connection PHY", "lephy_data_transmission", "02", "LE PHY for data transmission", "1");
        row("nothing leaves the combo empty", algorithm, "other", "", "Chanel Selection algorithm", "");
        row("signed byte given two", "Get Connection RSSI", "rssi", "c4ff", "RSSI", "", true);
        row("address given five", "Device BD_Address Get", "identity_addr", "ffeeddccbb", "BD Address", "", true);
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
        QFETCH(bool, internalError);
        QCOMPARE(m_log->lines.size(), int(internalError));
        QVERIFY(!internalError
                || m_log->texts().first().contains(" FUNCTION:CCommandUiWidget::setFieldValueInGlayout Internal error."));
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
