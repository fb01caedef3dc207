#include <QtTest>

#include "proto/commandtable.h"
#include "proto/responder.h"
#include "uplinkbytes.h"

Q_DECLARE_METATYPE(Responder::Fields)

// Uplinks laid out by their rows, and refused, with checks on, when a handler's fields disagree.
class tst_Responder : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Responder::setChecking(true); }
    void layout_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<Responder::Fields>("fields");
        QTest::addColumn<QByteArray>("body"); // for rows without fields
        QTest::addColumn<QString>("result"); // the frame, or why it was refused

        const auto u8 = [](int value) { return QByteArray(1, char(value)); };
        QTest::newRow("fields in any order, laid out by the row")
            << "DD@01@08" << Responder::Fields{{"condix", u8(2)}, {"status", u8(0)}, {"reason", u8(0x16)}} << QByteArray()
            << "DD 01 08 03 00 00 16 02 FF";
        QTest::newRow("a body for a row without fields") << "DD@01@5C" << Responder::Fields{} << hex("02 41 42")
                                                          << "DD 01 5C 03 00 02 41 42 3E";
        QTest::newRow("a field missing")
            << "DD@01@08" << Responder::Fields{{"status", u8(0)}, {"reason", u8(0x16)}} << QByteArray()
            << "refused: 2 fields given, the row has 3";
        QTest::newRow("a key of another row")
            << "DD@01@08" << Responder::Fields{{"status", u8(0)}, {"reason", u8(0x16)}, {"handle", u8(2)}} << QByteArray()
            << "refused: no value for \"condix\"";
        QTest::newRow("a field of the wrong length")
            << "DD@01@08" << Responder::Fields{{"status", u8(0)}, {"reason", hex("1600")}, {"condix", u8(2)}}
            << QByteArray() << "refused: \"reason\" takes 1 bytes, not 2";
        QTest::newRow("a body for a row with fields") << "DD@01@08" << Responder::Fields{} << hex("00 16 02")
                                                       << "refused: its row has fields, the body must follow them";
        QTest::newRow("no row") << "DD@01@99" << Responder::Fields{{"status", u8(0)}} << QByteArray() << "refused: no row";
    }
    void layout()
    {
        QFETCH(QString, id);
        QFETCH(Responder::Fields, fields);
        QFETCH(QByteArray, body);
        QFETCH(QString, result);

        const Responder responder(SimCommandTable::instance());
        const QByteArray head = hex(QString(id).replace('@', ' '));
        if (result.startsWith("refused: "))
            QTest::ignoreMessage(QtCriticalMsg, qPrintable("tarvine-sim: uplink " + id + " " + result));
        const QByteArray frame = fields.isEmpty() ? responder.frame(quint8(head.at(0)), quint8(head.at(1)), quint8(head.at(2)), body)
                                                  : responder.frame(quint8(head.at(0)), quint8(head.at(1)), quint8(head.at(2)), fields);
        QCOMPARE(frame.toHex(' '), result.startsWith("refused: ") ? QByteArray() : hex(result).toHex(' '));
    }
};

QTEST_GUILESS_MAIN(tst_Responder)
#include "tst_responder.moc"
