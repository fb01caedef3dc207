#include <QPushButton>
#include <QtTest>

#include "capturelogger.h"
#include "log/logmanager.h"
#include "settings/clineeditsetting.h"
#include "settings/cprofiletablemodel.h"
#include "settings/csettingdialog.h"
#include "settingsui.h"
#include "whenmodal.h"

class TestCSettingDialog : public QObject
{
    Q_OBJECT
    LogManager* m_logger = nullptr;
    CaptureLogger* m_log = nullptr;
    FieldValueMap m_config;
    CSettingDialog* m_dialog = nullptr;

    void click(const char* button) { m_dialog->findChild<QPushButton*>(button)->click(); }

private slots:
    void init()
    {
        m_logger = new LogManager("SettingsTest");
        m_logger->addLogger(m_log = new CaptureLogger);
        m_config.clear();
        m_dialog = new CSettingDialog(m_logger, &m_config);
        QVERIFY(m_dialog->parseConfigFile(":/config/resources/conf/sample_config_5_0.xml"));
        m_dialog->seedConfig();
        m_dialog->fillControls();
    }

    void cleanup()
    {
        delete m_dialog;
        delete m_logger;
    }

    // Each kind of setting seeds the map in the form its command takes.
    void defaultsSeedTheMap()
    {
        const FieldValueMap expected{{"identity_addr", "112233445566"},
                                     {"per_interval_min", "0006"}, // 7.5 ms in 1.25 ms steps
                                     {"max_nb_lecb", "0a"},        // an int of one byte
                                     {"appearance", "0000"},
                                     {"5_0_scan_properties", 63u}, // mask of all six bits
                                     {"pair_enable_flag", 1u},
                                     {"profile", QByteArray()}};
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            QVERIFY2(m_config.value(it.key()) == it.value(), qPrintable(it.key()));
    }

    // Defaults take the editor's forms (tst_cvalidatelineedit), but for littleEnd.
    void defaultValueForms_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("step");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("value");

        QTest::newRow("three tenths are three steps") << "int16double" << "0.1" << "0.3" << "0003";
        QTest::newRow("littleEnd stays in typed order") << "littleEnd" << "" << "01:02" << "0102";
        QTest::newRow("negative int in two's complement, as the editor sends it") << "int" << "" << "-2" << "fffe";
    }

    void defaultValueForms()
    {
        QFETCH(QString, type);
        QFETCH(QString, step);
        QFETCH(QString, text);
        CLineEditSetting::Limits limits;
        limits.type = type;
        limits.singleStep = step;
        limits.length = "2";
        QTEST(CLineEditSetting::valueForm(limits, text), "value");
    }

    void malformedXmlIsReported_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<QString>("message"); // logged at level 4; empty: not checked

        const QByteArray head = "<SettingScreen><SettingGroup title=\"G\"><SettingCategory title=\"C\">";
        const QByteArray tail = "</SettingCategory></SettingGroup></SettingScreen>";
        QTest::newRow("texts and values differ in number")
            << head + "<ComboBoxSetting key=\"k\" title=\"K\" defaultValue=\"0\"><UserTexts><UserText>A</UserText>"
                      "<UserText>B</UserText></UserTexts><UserValues><UserValue>0</UserValue></UserValues>"
                      "</ComboBoxSetting>" + tail
            << "Invalid Configuare XML!ComboBoxSetting";
        QTest::newRow("bool that is neither true nor false")
            << head + "<CheckBoxSetting key=\"k\" title=\"K\" defaultValue=\"yes\"/>" + tail
            << "Invalid bool string:yes";
        QTest::newRow("not XML") << QByteArray("<SettingScreen><SettingGroup") << QString();
    }

    void malformedXmlIsReported()
    {
        QFETCH(QByteArray, xml);
        QFETCH(QString, message);
        QTemporaryFile file;
        QVERIFY(file.open());
        file.write(xml);
        file.flush();
        QVERIFY(!m_dialog->parseConfigFile(file.fileName()));
        if (!message.isEmpty())
            QVERIFY2(m_log->contains(message, 4), qPrintable(m_log->texts().join('\n')));
    }

    // "Set All Static" after these changes: refused with a box (and the map left alone when a value
    // is invalid), or applied, written to the map and the dialog accepted.
    void setAllStatic_data()
    {
        QTest::addColumn<FieldValueMap>("changes");
        QTest::addColumn<bool>("airAction");
        QTest::addColumn<QString>("refusal"); // the box's title, or "title: text"; empty: applied

        const auto row = [](const char* name, const FieldValueMap& changes, const QString& refusal,
                            bool airAction = false) { QTest::newRow(name) << changes << airAction << refusal; };
        const QString scanError = "Scan Parameters Setting Error";
        const auto general = [](const char* duration) {
            return FieldValueMap{{"5_0_scan_type", 0u}, {"5_0_scan_duration", duration}};
        };
        // Durations count 10 ms and periods 1.28 s, in hexadecimal as the map keeps them.
        row("zero identity address", {{"identity_addr", "000000000000"}}, "Identity Address Setting Error");
        row("duration equal to a period of one count (1280 ms)",
            {{"5_0_scan_duration", "0080"}, {"5_0_scan_period", "0001"}}, scanError);
        row("duplicate filter per period without a period",
            {{"5_0_scan_duplicate_filter_policy", 2u}, {"5_0_scan_duration", "0010"}}, scanError);
        row("general discovery for 10240 ms", general("0400"), "");
        row("general discovery for 10230 ms", general("03ff"), scanError);
        row("general discovery without end", general("0000"), "");
        row("resolvable own address without privacy", {{"5_0_scan_own_addr_type", 1u}, {"privacy_config", 0u}},
            scanError);
        row("static address without its two top bits", {{"identity_addr_type", 1u}, {"identity_addr", "BF1122334455"}},
            scanError);
        row("static address with its two top bits", {{"identity_addr_type", 1u}, {"identity_addr", "C01122334455"}},
            "");
        row("during an air action only the map is written", {{"appearance", "0341"}},
            "error: cannot set params when air action is on", true);
    }

    void setAllStatic()
    {
        QFETCH(FieldValueMap, changes);
        QFETCH(bool, airAction);
        QFETCH(QString, refusal);

        m_dialog->setAirActionCheck([airAction] { return airAction; });
        for (auto it = changes.cbegin(); it != changes.cend(); ++it)
            m_dialog->setting(it.key())->setValue(it.value());
        const FieldValueMap before = m_config;
        QSignalSpy applied(m_dialog, &CSettingDialog::staticSettingsUpdated);
        ModalCatcher boxes;
        click("btn_apply");
        const QString shown = boxes.shown.join('\n');

        QVERIFY2(refusal.isEmpty() ? shown.isEmpty() : shown.startsWith(refusal), qPrintable(shown));
        QCOMPARE(applied.count(), refusal.isEmpty() ? 1 : 0);
        QCOMPARE(m_dialog->result(), int(refusal.isEmpty() ? QDialog::Accepted : QDialog::Rejected));
        const bool invalid = !refusal.isEmpty() && !airAction;
        QCOMPARE(m_log->contains(refusal, 4), invalid);
        if (invalid)
            QCOMPARE(m_config, before);
        for (auto it = changes.cbegin(); it != changes.cend() && !invalid; ++it)
            QVERIFY2(m_config.value(it.key()) == it.value(), qPrintable(it.key()));
    }

    // Every period count whose length a duration can reach (up to 0xFFFF counts of 10 ms).
    void durationMustStayBelowEveryPeriod()
    {
        for (quint64 period = 1; period * 128 <= 0xFFFF; ++period) {
            QVERIFY2(CSettingDialog::durationReachesPeriod(period * 128, period), qPrintable(QString::number(period)));
            QVERIFY(!CSettingDialog::durationReachesPeriod(period * 128 - 1, period));
        }
        QVERIFY(!CSettingDialog::durationReachesPeriod(0, 1));
        QVERIFY(!CSettingDialog::durationReachesPeriod(0xFFFF, 0));
    }

    void restoreChangesNoMap()
    {
        m_dialog->setting("identity_addr")->setValue("A1A2A3A4A5A6");
        m_dialog->setting("5_0_scan_type")->setValue(4u);
        const FieldValueMap before = m_config;

        click("pb_restoreCurrentPage");
        QCOMPARE(m_dialog->setting("identity_addr")->value(), QVariant("112233445566"));
        QCOMPARE(m_dialog->setting("5_0_scan_type")->value(), QVariant(4u));
        click("pb_restoreAll");
        QCOMPARE(m_dialog->setting("5_0_scan_type")->value(), QVariant(2u));
        QCOMPARE(m_config, before);
    }

    void scanPropertiesStayConsistent_data()
    {
        QTest::addColumn<uint>("before");
        QTest::addColumn<uint>("clicked");
        QTest::addColumn<uint>("after");
        QTest::addColumn<bool>("oneMEnabled");
        QTest::addColumn<bool>("codedEnabled");

        QTest::newRow("clearing 1M clears its active scan") << 5u << 4u << 0u << false << false;
        QTest::newRow("active scan on 1M turns 1M on") << 0u << 4u << 5u << true << false;
        QTest::newRow("active scan on Coded turns Coded on") << 1u << 9u << 11u << true << true;
        QTest::newRow("a PHY alone is left alone") << 0u << 2u << 2u << false << true;
    }

    void scanPropertiesStayConsistent()
    {
        QFETCH(uint, before);
        QFETCH(uint, clicked);

        showPage(m_dialog, "Scan Parameters");
        m_config.insert("5_0_scan_properties", before);
        m_dialog->fillControls();
        // A click changes the boxes first, then tells the dialog.
        m_dialog->setting("5_0_scan_properties")->setValue(clicked);
        m_dialog->on_scanPropertiesChanged(int(clicked));
        QTEST(m_dialog->setting("5_0_scan_properties")->value().toUInt(), "after");
        QTEST(m_dialog->setting("5_0_scan_window_1m")->isEnabled(), "oneMEnabled");
        QTEST(m_dialog->setting("5_0_scan_interval_coded")->isEnabled(), "codedEnabled");
    }

    void screenshots()
    {
        applyFlatStyle();
        m_dialog->show();
        QVERIFY(m_dialog->grab().save(SCREENSHOT_DIR "settings-device.png"));
        showPage(m_dialog, "Connection Parameters");
        QCOMPARE(m_dialog->findChild<QPushButton*>("btn_apply")->text(), QStringLiteral("Apply All Dynamic"));
        QVERIFY(m_dialog->grab().save(SCREENSHOT_DIR "settings-connection.png"));
    }

    // The profile list's model reads and writes [flag, length, id, name] records.
    // A record cut short is dropped, an empty one passed over; a tick sets the record's flag.
    void profileRecordsRoundTrip()
    {
        CProfileTableModel model;
        model.setValue(QByteArray::fromHex("010403414243" "0000" "00020741" "000907"));
        QCOMPARE(model.value(), QByteArray::fromHex("010403414243" "00020741"));
        QCOMPARE(model.data(model.index(1, 1)).toInt(), 7);
        QCOMPARE(model.data(model.index(1, 2)).toString(), QStringLiteral("A"));
        QVERIFY(model.setData(model.index(1, 0), Qt::Checked, Qt::CheckStateRole));
        QCOMPARE(model.value(), QByteArray::fromHex("010403414243" "01020741"));
    }
};

QTEST_MAIN(TestCSettingDialog)
#include "tst_csettingdialog.moc"
