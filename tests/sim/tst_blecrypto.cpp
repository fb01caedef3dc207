#include <QtTest>

#include "dongle/blecrypto.h"

class TestBleCrypto : public QObject
{
    Q_OBJECT

private slots:
    void cipher_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("plaintext");
        QTest::addColumn<QByteArray>("ciphertext");
        QTest::newRow("FIPS-197 appendix C.1")
            << QByteArray::fromHex("000102030405060708090a0b0c0d0e0f")
            << QByteArray::fromHex("00112233445566778899aabbccddeeff")
            << QByteArray::fromHex("69c4e0d86a7b0430d8cdb78070b4c55a");
        QTest::newRow("FIPS-197 appendix B")
            << QByteArray::fromHex("2b7e151628aed2a6abf7158809cf4f3c")
            << QByteArray::fromHex("3243f6a8885a308d313198a2e0370734")
            << QByteArray::fromHex("3925841d02dc09fbdc118597196a0b32");
    }
    void cipher()
    {
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, plaintext);
        QTEST(BleCrypto::e(key, plaintext), "ciphertext");
    }

    // The core's sample: IRK ec0234a357c8ad05341010a60a397d9b, prand 708194, hash 0dfbaa.
    void addressHash()
    {
        const QByteArray irk = QByteArray::fromHex("ec0234a357c8ad05341010a60a397d9b");
        QCOMPARE(BleCrypto::ah(irk, 0x708194), quint32(0x0dfbaa));
        QCOMPARE(BleCrypto::resolvableAddress(irk, 0x308194).toHex(), QByteArray("aafb0d948170"));
    }

    void resolving_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::addColumn<bool>("resolves");
        QTest::newRow("made from the key") << QByteArray::fromHex("aafb0d948170") << true;
        QTest::newRow("one bit of the hash off") << QByteArray::fromHex("abfb0d948170") << false;
        QTest::newRow("static random, not resolvable") << QByteArray::fromHex("aafb0d9481f0") << false;
        QTest::newRow("too short") << QByteArray::fromHex("aafb0d9481") << false;
    }
    void resolving()
    {
        QFETCH(QByteArray, address);
        const QByteArray irk = QByteArray::fromHex("ec0234a357c8ad05341010a60a397d9b");
        QTEST(BleCrypto::resolves(irk, address), "resolves");
    }
};

QTEST_GUILESS_MAIN(TestBleCrypto)
#include "tst_blecrypto.moc"
