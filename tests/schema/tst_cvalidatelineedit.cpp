#include <QFocusEvent>
#include <QtTest>

#include "schema/cvalidatelineedit.h"

namespace {

// Set-up arguments as the forms pass them; the patterns are the ones the forms use.
const QStringList Int{"27", "251", "2", ""};
const QStringList Int8{"-128", "127", "1", "0"};
const QStringList Dbl{"7.5", "4000", "1.25", "2", "2", "7.50"};
const QStringList Dbl10{"0", "655350", "10", "0", "2", "0"};
const QStringList I16d{"-128", "128", "0.1", "1", "2", "0"};
const QStringList Hex6{"6", "", ""};
const QStringList Hex0{"0", "", ""};
const QStringList Addr{"17", "00:00:00:00:00:00"};
const QStringList Le{"47", ""};
const QStringList Str{"128", ""};
const QStringList U16{"5", "00:00"};
const QStringList U32{"11", "00:00:00:00"};
const QStringList U128{"47", ""};

void configure(CValidateLineEdit& e, const QString& kind, const QStringList& a)
{
    const QString hex = "0x[0-9a-fA-F]*", colon = "[0-9a-fA-F:]*", list = "[0-9a-fA-F:,]*";
    if (kind == "int")
        e.setIntType(a[0], a[1], a[2], a[3]);
    else if (kind == "int8")
        e.setInt8Type(a[0], a[1], a[2], a[3]);
    else if (kind == "double")
        e.setDoubleType(a[0], a[1], a[2], a[3], a[4], a[5]);
    else if (kind == "int16double")
        e.setInt16DoubleType(a[0], a[1], a[2], a[3], a[4], a[5]);
    else if (kind == "hex")
        e.setHexType(a[0], hex, a[1], a[2]);
    else if (kind == "addr")
        e.setAddrType(a[0], colon, a[1]);
    else if (kind == "littleEnd")
        e.setLittleEndType(a[0], colon, a[1]);
    else if (kind == "string")
        e.setStringType(a[0], a[1]);
    else
        QVERIFY(e.setAdvDataType(a[0], list, a[1]));
}

} // namespace

class TstCValidateLineEdit : public QObject
{
    Q_OBJECT
private slots:
    // What value() makes of a text, what the text becomes on the way, and what setValue()
    // of that value shows again ("back", when it differs from "shown").
    void value_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("back");
        auto row = [](const char* name, const char* kind, const QStringList& args, const char* typed,
                      const char* shown, const char* value, const char* back = nullptr) {
            QTest::newRow(name) << kind << args << typed << shown << value << (back ? back : shown);
        };
        row("int below min takes min", "int", Int, "5", "27", "001b");
        row("int empty takes min", "int", Int, "", "27", "001b");
        row("int above max left alone", "int", Int, "600", "600", "0258");
        row("int8 negative", "int8", Int8, "-5", "-5", "fb");
        row("int8 below min", "int8", Int8, "-200", "-128", "80");
        row("int8 empty reads as zero", "int8", Int8, "", "", "00", "0");
        row("double snaps down", "double", Dbl, "9.9", "8.75", "0007");
        row("double max not snapped", "double", Dbl, "4000", "4000.00", "0c80");
        row("double empty takes min", "double", Dbl, "", "7.50", "0006");
        row("double in wire units", "double", Dbl10, "1280", "1280", "0080");
        row("int16double negative", "int16double", I16d, "-5.5", "-5.5", "ffc9");
        row("int16double snaps away from zero", "int16double", I16d, "-0.05", "-0.1", "ffff");
        row("int16double below min", "int16double", I16d, "-200", "-128.0", "fb00");
        row("string bytes last first", "string", Str, "AB", "AB", "4241");
        row("hex padded after 0x", "hex", Hex6, "0x1", "0x0001", "0001");
        row("hex free length, odd", "hex", Hex0, "0x123", "0x0123", "0123");
        row("addr typical", "addr", Addr, "AA:BB:CC:DD:EE:FF", "AA:BB:CC:DD:EE:FF", "AABBCCDDEEFF");
        row("addr short left-filled", "addr", Addr, "1:2", "00:00:00:00:00:12", "000000000012");
        row("addr 13 digits zeroed", "addr", Addr, "1234567890ABC", "00:00:00:00:00:00", "000000000000");
        row("littleEnd pairs reversed", "littleEnd", Le, "01:02:03", "01:02:03", "030201", "03:02:01");
        row("littleEnd odd digits", "littleEnd", Le, "1:2:3", "01:23", "2301", "23:01");
        row("16bit list", "uuid", U16, "1800,2A", "18:00,00:2A", "18:00,00:2A");
        row("32bit list", "uuid", U32, "1,0000180A", "00:00:00:01,00:00:18:0A", "00:00:00:01,00:00:18:0A");
        row("128bit short", "uuid", U128, "1", "00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:01",
            "00:00:00:00:00:00:00:00:00:00:00:00:00:00:00:01");
    }
    void value()
    {
        QFETCH(QString, kind);
        QFETCH(QStringList, args);
        QFETCH(QString, typed);
        CValidateLineEdit e;
        configure(e, kind, args);
        e.setText(typed);
        QFocusEvent out(QEvent::FocusOut);
        QApplication::sendEvent(&e, &out); // leaving the field repairs the text as value() does
        QTEST(e.text(), "shown");
        QTEST(e.value(), "value");
        e.setValue(e.value());
        QTEST(e.text(), "back");
    }

    void setUp_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("maxLength");
        QTest::newRow("int without default shows min") << "int" << Int << "27" << 255;
        QTest::newRow("int with default") << "int" << QStringList{"0", "9", "1", "4"} << "4" << 255;
        QTest::newRow("hex zeros to the length") << "hex" << Hex6 << "0x0000" << 6;
        QTest::newRow("hex default") << "hex" << QStringList{"6", "0x12", "0xFFFF"} << "0x12" << 6;
        QTest::newRow("hex free length") << "hex" << QStringList{"0", "0x12", ""} << "0x00" << 34;
        QTest::newRow("addr bad default") << "addr" << QStringList{"17", "nope"} << "00:00:00:00:00:00" << 17;
        QTest::newRow("littleEnd unlimited") << "littleEnd" << QStringList{"0", "x"} << "" << 32767;
        QTest::newRow("string default too long") << "string" << QStringList{"7", "Tarvine"} << "" << 7;
    }
    void setUp()
    {
        QFETCH(QString, kind);
        QFETCH(QStringList, args);
        CValidateLineEdit e;
        configure(e, "string", Str); // its hint and connection must not survive the next set-up
        configure(e, kind, args);
        QTEST(e.text(), "text");
        QTEST(e.maxLength(), "maxLength");
        QCOMPARE(e.placeholderText(), QString(e.text().isEmpty() && kind == "string" ? "Default Name(String)" : ""));
    }

    // The UUID kind comes from the length (rows of value()); a length of no kind is refused.
    void advDataOfNoKind()
    {
        CValidateLineEdit e;
        configure(e, "uuid", U32);
        QVERIFY(!e.setAdvDataType("7", "[0-9a-fA-F:,]*", ""));
        QCOMPARE(e.type(), QString());
    }

    // Keys go through the validator and the textEdited slots, as when the user types.
    void typing_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("start");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("text");
        QTest::newRow("hex prefix can't be deleted") << "hex" << Hex0 << "0x1" << "\b\b\b" << "0x";
        QTest::newRow("hex rejects other characters") << "hex" << Hex0 << "0x" << "1g2" << "0x12";
        QTest::newRow("int stops at max digits") << "int" << Int << "" << "2519" << "251";
        QTest::newRow("16bit comma after each UUID") << "uuid" << U16 << "" << "18002A" << "1800,2A";
        QTest::newRow("16bit colons dropped") << "uuid" << U16 << "" << "18:00" << "1800,";
        QTest::newRow("emptied string") << "string" << QStringList{"128", "Tarvine"} << "A" << "\b" << "";
        QTest::newRow("hex settings are gone") << "int" << Int << "1" << "\b" << "";
    }
    void typing()
    {
        QFETCH(QString, kind);
        QFETCH(QStringList, args);
        QFETCH(QString, start);
        QFETCH(QString, keys);
        CValidateLineEdit e;
        configure(e, "hex", Hex0);
        configure(e, kind, args);
        e.setText(start);
        QTest::keyClicks(&e, keys); // '\b' is Backspace
        QTEST(e.text(), "text");
        // An emptied name shows its hint again.
        QCOMPARE(e.placeholderText(), QString(kind == "string" && e.text().isEmpty() ? "Default Name(String)" : ""));
    }
};

QTEST_MAIN(TstCValidateLineEdit)
#include "tst_cvalidatelineedit.moc"
