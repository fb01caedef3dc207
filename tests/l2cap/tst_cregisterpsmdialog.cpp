#include <QListWidget>
#include <QPushButton>
#include <QtTest>

#include <memory>

#include "frames.h"
#include "l2cap/cregisterpsmdialog.h"
#include "linkbench.h"
#include "schema/cvalidatelineedit.h"

// The dongle's PSMs: listed once the dongle took them, gone once it let them go.
class TestCRegisterPSMDialog : public QObject
{
    Q_OBJECT

    std::unique_ptr<LinkBench> m_bench;
    std::unique_ptr<CRegisterPSMDialog> m_dialog;

    void expectSent(const QByteArray& expected)
    {
        QCOMPARE(m_bench->pty.read(expected.size()).toHex(' '), expected.toHex(' '));
    }
    void ack(quint8 opcode, quint8 status) { m_dialog->onRcvMsg(uplink(0xBB, 0x04, opcode, QByteArray(1, char(status)))); }
    void registerPsm(const QString& psm)
    {
        m_dialog->findChild<CValidateLineEdit*>("lineEditPsm")->setText(psm);
        m_dialog->findChild<QPushButton*>("pushButtonRegister")->click();
        expectSent(withChecksum(QByteArray::fromHex("aa040d0300") + char(psm.toInt()) + QByteArray(2, '\0')));
    }

private slots:
    void init()
    {
        m_bench = std::make_unique<LinkBench>();
        m_dialog = std::make_unique<CRegisterPSMDialog>(&m_bench->msg, &m_bench->logger);
    }
    void cleanup()
    {
        m_dialog.reset();
        m_bench.reset();
    }

    void registersInTheOrderTheAnswersCome()
    {
        registerPsm("128");
        registerPsm("129");
        ack(0x0D, 0);
        ack(0x0D, 24); // 129 was taken already
        QCOMPARE(m_dialog->registered(), QStringList{"128"});

        registerPsm("130");
        ack(0x0D, 0);
        auto* list = m_dialog->findChild<QListWidget*>("listWidget");
        list->setCurrentRow(0);
        m_dialog->findChild<QPushButton*>("pushButtonUnRegister")->click();
        expectSent(withChecksum(QByteArray::fromHex("aa040f010080")));
        QCOMPARE(m_dialog->registered(), (QStringList{"128", "130"}));
        ack(0x0F, 0);
        QCOMPARE(m_dialog->registered(), QStringList{"130"});

        m_dialog->reset();
        QVERIFY(m_dialog->registered().isEmpty());
    }
};

QTEST_MAIN(TestCRegisterPSMDialog)
#include "tst_cregisterpsmdialog.moc"
