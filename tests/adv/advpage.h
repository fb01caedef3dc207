#pragma once

#include <memory>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStringList>
#include <QTimer>
#include <QtTest>

#include "adv/cadvbasewidget.h"
#include "adv/cadvdatawidget.h"
#include "capturelogger.h"
#include "link/cmsg.h"
#include "log/logmanager.h"
#include "ptypair.h"

// Closes every modal box as soon as it is up and keeps "title: text" of each, so that a
// refusal is read after the call that showed it, and a box nobody expected can't hang a test.
class ModalCatcher
{
public:
    ModalCatcher()
    {
        m_timer.setInterval(5);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            QWidget* box = QApplication::activeModalWidget();
            if (!box)
                return;
            const auto* text = box->findChild<QLabel*>(QStringLiteral("m_text"));
            shown.append(box->windowTitle() + QStringLiteral(": ") + (text ? text->text() : QString()));
            box->close();
        });
        m_timer.start();
    }

    QStringList shown;

private:
    QTimer m_timer;
};

// Adds a row to a list of the editor as the user does: the type picked, the value typed.
inline void addAdRow(CAdvDataWidget* editor, const QString& title, const QString& value, bool scanResponse = false)
{
    editor->findChild<QComboBox*>(QStringLiteral("ADtypeCombox"))->setCurrentText(title);
    auto* edit = editor->findChild<QLineEdit*>(QStringLiteral("valueLineEdit"));
    edit->clear();
    QTest::keyClicks(edit, value);
    editor->findChild<QPushButton*>(scanResponse ? QStringLiteral("addResponceData")
                                                 : QStringLiteral("addDataButton"))
        ->click();
}

// A custom AD structure of `size` bytes in all: its length byte, 0xFF, then filler.
inline QString customOfSize(int size)
{
    QString text = QStringLiteral("%1:FF").arg(size - 1, 2, 16, QLatin1Char('0'));
    for (int i = 2; i < size; ++i)
        text += QStringLiteral(":A5");
    return text;
}

// Sets a page as the user would, by settings "objectName=value": a combo's index, a box's
// 1 or 0, an editor's text. "adv=N" and "rsp=N" add a custom structure of N bytes to the
// advertising data or the scan response, "adv:TYPE=VALUE" and "rsp:TYPE=VALUE" a row of that
// type, "padv=TEXT" sets the periodic data.
inline void applySettings(CAdvBaseWidget* page, const QStringList& settings)
{
    for (const QString& setting : settings) {
        const QString name = setting.section('=', 0, 0);
        const QString value = setting.section('=', 1);
        if (name.startsWith(QLatin1String("adv:")) || name.startsWith(QLatin1String("rsp:"))) {
            addAdRow(page->advDataWidget(), name.mid(4), value, name.startsWith(QLatin1String("rsp")));
        } else if (name == QLatin1String("adv") || name == QLatin1String("rsp")) {
            addAdRow(page->advDataWidget(), QStringLiteral("Custom AD type"), customOfSize(value.toInt()),
                     name == QLatin1String("rsp"));
        } else if (name == QLatin1String("padv")) {
            page->findChild<QLineEdit*>(QStringLiteral("le_periodicadvdatda"))->setText(value);
        } else if (auto* combo = page->findChild<QComboBox*>(name)) {
            combo->setCurrentIndex(value.toInt());
        } else if (auto* box = page->findChild<QCheckBox*>(name)) {
            box->setChecked(value == QLatin1String("1"));
        } else if (auto* edit = page->findChild<QLineEdit*>(name)) {
            edit->setText(value);
        } else {
            QTest::qFail(qPrintable(QStringLiteral("no control ") + name), __FILE__, __LINE__);
        }
    }
}

// A page of the kind on a port whose far end the test reads.
class PageBench
{
public:
    explicit PageBench(const char* kind)
        : logger("tst_adv")
    {
        logger.addLogger(log = new CaptureLogger);
        msg.openPort(pty.portName());
        page.reset(CAdvBaseWidget::create(QLatin1String(kind), &msg, &logger, &config));
        page->resize(980, 760);
        log->clear();
    }

    // What reached the port, once at least `size` bytes did.
    QByteArray sent(int size)
    {
        QByteArray bytes;
        if (!QTest::qWaitFor([&] { return (bytes += pty.readAll()).size() >= size; }, 5000))
            qWarning("only %d of %d bytes sent", bytes.size(), size);
        return bytes;
    }

    PtyPair pty;
    LogManager logger;
    CaptureLogger* log = nullptr;
    CMsg msg{&logger};
    FieldValueMap config;
    std::unique_ptr<CAdvBaseWidget> page;
    ModalCatcher boxes;
};

// The columns of a page's rows: its settings, the set's index, the refusal as "title: text"
// (none for a row that passes), what the log says of it where that differs from the box, and
// the frame with its checksum for a row that passes.
inline void addPageColumns()
{
    QTest::addColumn<QStringList>("settings");
    QTest::addColumn<int>("advIndex");
    QTest::addColumn<QString>("refusal");
    QTest::addColumn<QString>("logged");
    QTest::addColumn<QByteArray>("frame");
}

inline void refusedRow(const char* tag, const QStringList& settings, const QString& refusal,
                       const QString& logged = QString())
{
    QTest::newRow(tag) << settings << 0 << refusal << logged << QByteArray();
}

inline void passingRow(const char* tag, const QStringList& settings, int advIndex, const char* frameHex)
{
    QTest::newRow(tag) << settings << advIndex << QString() << QString() << QByteArray::fromHex(frameHex);
}

// A row of a page's rules or of its data frame: the page set, then sendParameters or sendData
// (named `dataName` in the log); the refusal, or the frame on the port.
inline void checkPageRow(const char* kind, const QString& dataName = QString())
{
    QFETCH(QStringList, settings);
    QFETCH(int, advIndex);
    QFETCH(QString, refusal);
    QFETCH(QString, logged);
    QFETCH(QByteArray, frame);
    PageBench bench(kind);
    applySettings(bench.page.get(), settings);
    const QByteArray index(1, char(advIndex));
    const bool sent = dataName.isEmpty() ? bench.page->sendParameters(index) : bench.page->sendData(index);
    // A frame the page builds is logged before it is queued; a refusal logs none.
    const bool framed = bench.log->texts().join('\n').contains(QLatin1String("Downlink Command Name"));
    if (!refusal.isEmpty()) {
        // Logged at level 4: a rule's title, an "ERROR" box's text, or the row's own words.
        const QString title = refusal.section(QStringLiteral(": "), 0, 0);
        if (logged.isEmpty())
            logged = title == QLatin1String("ERROR") ? refusal.section(QStringLiteral(": "), 1) : title;
        QVERIFY(!sent);
        QCOMPARE(bench.boxes.shown, QStringList{refusal});
        QVERIFY2(bench.log->contains(logged, 4), qPrintable(bench.log->texts().join('\n')));
        QVERIFY(!framed);
        return;
    }
    QVERIFY(sent);
    QCOMPARE(bench.boxes.shown, QStringList());
    QCOMPARE(bench.sent(frame.size()).toHex(), frame.toHex());
    if (!dataName.isEmpty()) {
        QVERIFY(bench.log->contains(QStringLiteral("Downlink Command Name: ") + dataName + QStringLiteral("\r\nRaw Data: ")
                                        + QLatin1String(frame.left(frame.size() - 1).toHex())
                                        + QStringLiteral("\r\nField Data: "),
                                    2));
    }
}

// The page as users see it, in the application's style, with a payload in its lists.
inline void saveScreenshot(const char* kind, const QStringList& settings, const char* file)
{
    PageBench bench(kind);
    applySettings(bench.page.get(), settings);
    bench.page->show();
    QVERIFY(QTest::qWaitForWindowExposed(bench.page.get()));
    QVERIFY(bench.page->grab().save(QStringLiteral(SCREENSHOT_DIR) + QLatin1String(file)));
}
