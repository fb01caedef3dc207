#include <QtTest>

#include "air/blecrypto.h"

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

    // The core's samples of the legacy pairing functions, with a zero TK.
    void legacyPairing()
    {
        const QByteArray k(16, '\0');
        const QByteArray confirm = BleCrypto::c1(k, QByteArray::fromHex("5783D52156AD6F0E6388274EC6702EE0"),
                                                 QByteArray::fromHex("05000800000302"), QByteArray::fromHex("07071000000101"),
                                                 1, QByteArray::fromHex("A1A2A3A4A5A6"), 0, QByteArray::fromHex("B1B2B3B4B5B6"));
        QCOMPARE(confirm.toHex(), QByteArray("1e1e3fef878988ead2a74dc5bef13b86"));
        const QByteArray stk = BleCrypto::s1(k, QByteArray::fromHex("000F0E0D0C0B0A091122334455667788"),
                                             QByteArray::fromHex("010203040506070899AABBCCDDEEFF00"));
        QCOMPARE(stk.toHex(), QByteArray("9a1fe1f0e8b0f49b5b4216ae796da062"));
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
