#include <QtTest>

#include "schema/ccfgfileparse.h"
#include "schema/cutil.h"

class TstCUtil : public QObject
{
    Q_OBJECT

private slots:
    void arrayToValue_data();
    void arrayToValue();
    void valueToArray_data();
    void valueToArray();
    void reverseString_data();
    void reverseString();
    void smallHelpers();
    void findUiFields();
    void randomInRange_data();
    void randomInRange();
};

void TstCUtil::arrayToValue_data()
{
    QTest::addColumn<int>("order");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("result");
    QTest::addColumn<quint64>("value");

    QTest::newRow("little-endian word") << 0 << QByteArray::fromHex("3412") << 0 << quint64(0x1234);
    QTest::newRow("big-endian word") << 1 << QByteArray::fromHex("1234") << 0 << quint64(0x1234);
    QTest::newRow("empty is zero") << 0 << QByteArray() << 0 << quint64(0);
    QTest::newRow("eight bytes, top bit set") << 0 << QByteArray::fromHex("0807060504030281") << 0
                                              << quint64(0x8102030405060708ULL);
    QTest::newRow("nine bytes refused") << 0 << QByteArray::fromHex("010203040506070809") << -1 << quint64(0);
    QTest::newRow("unknown byte order") << 2 << QByteArray::fromHex("01") << -1 << quint64(0);
}

void TstCUtil::arrayToValue()
{
    QFETCH(int, order);
    QFETCH(QByteArray, bytes);
    QFETCH(int, result);
    QFETCH(quint64, value);

    quint64 out = 0xdeadbeef;
    QCOMPARE(CUtil::arrayToValue(order, bytes, out), result);
    QCOMPARE(out, value);
}

void TstCUtil::valueToArray_data()
{
    QTest::addColumn<int>("order");
    QTest::addColumn<quint64>("value");
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("little-endian, cut") << 0 << quint64(0x123456) << 2 << QByteArray::fromHex("5634");
    QTest::newRow("big-endian, widened") << 1 << quint64(0x1234) << 4 << QByteArray::fromHex("00001234");
    QTest::newRow("size 0 is empty") << 0 << quint64(7) << 0 << QByteArray();
    QTest::newRow("past eight bytes is zero") << 0 << quint64(0xffffffffffffffffULL) << 10
                                              << QByteArray::fromHex("ffffffffffffffff0000");
}

void TstCUtil::valueToArray()
{
    QFETCH(int, order);
    QFETCH(quint64, value);
    QFETCH(int, size);
    QFETCH(QByteArray, bytes);

    QCOMPARE(CUtil::valueToArray(order, value, size), bytes);
    if (size > 0 && size <= 8) {
        quint64 back = 0;
        QCOMPARE(CUtil::arrayToValue(order, bytes, back), 0);
        QCOMPARE(back, size == 8 ? value : value & ((quint64(1) << (8 * size)) - 1));
    }
}

void TstCUtil::reverseString_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("unit");
    QTest::addColumn<QString>("result");

    QTest::newRow("whole text") << "ABCD" << 1 << "DCBA";
    QTest::newRow("pairs reversed in place") << "ABCD" << 2 << "BADC";
    QTest::newRow("blocks of three") << "ABCDEF" << 3 << "CBAFED";
    QTest::newRow("length not a multiple") << "ABCDE" << 2 << "CUtil::reverseString";
    QTest::newRow("empty") << "" << 2 << "";
    QTest::newRow("address bytes to wire order") << "AABBCC" << 1 << "CCBBAA";
}

void TstCUtil::reverseString()
{
    QFETCH(QString, text);
    QFETCH(int, unit);
    QFETCH(QString, result);
    QCOMPARE(CUtil::reverseString(text, unit), result);
}

void TstCUtil::smallHelpers()
{
    QCOMPARE(CUtil::byteAraryToShort(QByteArray::fromHex("0328ff"), 0), quint16(0x2803));
    QCOMPARE(CUtil::byteAraryToShort(QByteArray::fromHex("2803"), 1), quint16(0x2803));
    QCOMPARE(CUtil::byteAraryToShort(QByteArray::fromHex("03"), 0), quint16(0));

    QCOMPARE(CUtil::fitArray(QByteArray::fromHex("010203"), 6), QByteArray::fromHex("010203000000"));
    QCOMPARE(CUtil::fitArray(QByteArray::fromHex("010203"), 2), QByteArray::fromHex("0102"));

    QCOMPARE(CUtil::cmpArray(QByteArray::fromHex("0102"), QByteArray::fromHex("0102")), 0);
    QCOMPARE(CUtil::cmpArray(QByteArray::fromHex("0102"), QByteArray::fromHex("0103")), -1);
    QCOMPARE(CUtil::cmpArray(QByteArray::fromHex("0102"), QByteArray::fromHex("010200")), -1);
}

void TstCUtil::findUiFields()
{
    UiField first;
    first.key = QStringLiteral("first");
    UiField second;
    second.key = QStringLiteral("second");
    const QVector<UiNameToFields> forms{{"Create COC", {first}}, {"Register PSM", {}},
                                        {"Create COC", {second}}};

    UiNameToFields found;
    QCOMPARE(CUtil::findUiFields(forms, "Create COC", found), 0);
    QCOMPARE(found.name, QString("Create COC"));
    QCOMPARE(found.fields.size(), 1);
    QCOMPARE(found.fields.first().key, QString("first"));

    QCOMPARE(CUtil::findUiFields(forms, "Register PSM", found), 0);
    QVERIFY(found.fields.isEmpty());
    QCOMPARE(CUtil::findUiFields(forms, "create coc", found), -1);
}

void TstCUtil::randomInRange_data()
{
    QTest::addColumn<int>("low");
    QTest::addColumn<int>("high");

    QTest::newRow("small range") << 0 << 3;
    QTest::newRow("negative range") << -10 << -5;
    QTest::newRow("across zero") << -2 << 2;
    QTest::newRow("wide") << 0 << 0x7fffffff;
}

void TstCUtil::randomInRange()
{
    QFETCH(int, low);
    QFETCH(int, high);

    QSet<int> seen;
    for (int i = 0; i < 2000; ++i) {
        const int v = CUtil::randomInRange(low, high);
        QVERIFY2(v >= low && v < high, qPrintable(QString::number(v)));
        seen.insert(v);
    }
    // Small ranges must be covered whole: high itself is never drawn.
    if (qint64(high) - low <= 8)
        QCOMPARE(seen.size(), high - low);
    QCOMPARE(CUtil::randomInRange(high, low), -1);
    // An empty range has no value below high; low is the only sensible answer.
    QCOMPARE(CUtil::randomInRange(low, low), low);
}

QTEST_GUILESS_MAIN(TstCUtil)
#include "tst_cutil.moc"
