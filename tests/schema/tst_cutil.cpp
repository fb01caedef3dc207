#include <QtTest>

#include "schema/cutil.h"

namespace {

// "result value" of arrayToValue, the value in hex.
QString toValue(int byteOrder, const char* bytes)
{
    quint64 value = 0xdeadbeef;
    const int result = CUtil::arrayToValue(byteOrder, QByteArray::fromHex(bytes), value);
    return QStringLiteral("%1 %2").arg(result).arg(value, 0, 16);
}

// "lowest..highest" of many draws.
QString draws(int low, int high)
{
    int lowest = INT_MAX, highest = INT_MIN;
    for (int i = 0; i < 2000; ++i) {
        const int v = CUtil::randomInRange(low, high);
        lowest = qMin(lowest, v);
        highest = qMax(highest, v);
    }
    return QStringLiteral("%1..%2").arg(lowest).arg(highest);
}

} // namespace

class TstCUtil : public QObject
{
    Q_OBJECT

private slots:
    void conversions_data()
    {
        QTest::addColumn<QString>("got");
        QTest::addColumn<QString>("expected");

        QTest::newRow("arrayToValue, little-endian") << toValue(0, "3412") << "0 1234";
        QTest::newRow("arrayToValue, big-endian") << toValue(1, "1234") << "0 1234";
        QTest::newRow("arrayToValue, eight bytes") << toValue(0, "0807060504030281") << "0 8102030405060708";
        QTest::newRow("arrayToValue, nine bytes refused") << toValue(0, "010203040506070809") << "-1 0";
        QTest::newRow("valueToArray, little-endian, cut") << QString(CUtil::valueToArray(0, 0x123456, 2).toHex())
                                                          << "5634";
        QTest::newRow("valueToArray, big-endian, widened") << QString(CUtil::valueToArray(1, 0x1234, 4).toHex())
                                                           << "00001234";
        QTest::newRow("valueToArray, zero past eight bytes")
            << QString(CUtil::valueToArray(0, ~quint64(0), 10).toHex()) << "ffffffffffffffff0000";
        QTest::newRow("byteAraryToShort") << QString::number(CUtil::byteAraryToShort("\x03\x28\xff", 0), 16) << "2803";
        QTest::newRow("reverseString, whole text") << CUtil::reverseString("AABBCC", 1) << "CCBBAA";
        QTest::newRow("reverseString, blocks") << CUtil::reverseString("ABCDEF", 3) << "CBAFED";
        QTest::newRow("reverseString, uneven") << CUtil::reverseString("ABCDE", 2) << "CUtil::reverseString";
        QTest::newRow("fitArray pads") << QString(CUtil::fitArray("\x01\x02\x03", 6).toHex()) << "010203000000";
        QTest::newRow("fitArray cuts") << QString(CUtil::fitArray("\x01\x02\x03", 2).toHex()) << "0102";
        QTest::newRow("randomInRange, high never drawn") << draws(0, 3) << "0..2";
        QTest::newRow("randomInRange, negative") << draws(-10, -5) << "-10..-6";
        QTest::newRow("randomInRange, empty range") << draws(4, 4) << "4..4";
        QTest::newRow("randomInRange, reversed") << draws(3, 0) << "-1..-1";
    }

    void conversions()
    {
        QFETCH(QString, got);
        QFETCH(QString, expected);
        QCOMPARE(got, expected);
    }
};

QTEST_GUILESS_MAIN(TstCUtil)
#include "tst_cutil.moc"
