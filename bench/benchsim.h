#pragma once

#include <QDir>
#include <QProcess>
#include <QSettings>
#include <QStringList>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QVector>

#include "app/maindonglewidget.h"
#include "app/mainwindow.h"
#include "benchwait.h"
#include "link/cmsg.h"
#include "log/logmanager.h"

// tarvine-sim on a port folder of the benchmark's own working directory, which becomes the
// current one, so that config.ini, the logs and the data files go there and away with it.
class BenchSim
{
public:
    BenchSim()
    {
        QDir::setCurrent(workdir.path());
        LogManager::setDataRoot(workdir.path());
        qputenv("TARVINE_SIM_DIR", QFile::encodeName(ports()));
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }
    ~BenchSim()
    {
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(10000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }

    QString ports() const { return workdir.filePath(QStringLiteral("ports")); }
    qint64 processId() const { return m_process.processId(); }

    // Starts `dongles` dongles with these options, each in a tab "DongleN" of the next window;
    // false when they did not all come.
    bool start(int dongles, const QStringList& options)
    {
        {
            QSettings config(QStringLiteral("config.ini"), QSettings::IniFormat);
            for (int i = 0; i < dongles; ++i)
                config.setValue(QStringLiteral("Dongle%1/TabWidgetNumber").arg(i + 1), i);
        }
        m_process.start(QStringLiteral(TARVINE_SIM_PATH),
                        options + QStringList{"--dongles", QString::number(dongles), "--dir", ports()});
        int lines = 0;
        return waitFor([&] {
                   while (m_process.canReadLine())
                       lines += m_process.readLine().startsWith("ttySIM");
                   return lines == dongles || m_process.state() == QProcess::NotRunning;
               }, 10000)
            && lines == dongles;
    }

    // Sends one control line; its answer, or an empty text when none came.
    QString control(const QString& line)
    {
        m_process.write((line + QLatin1Char('\n')).toUtf8());
        if (!waitFor([this] { return m_process.canReadLine(); }, 5000))
            return QString();
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }

    QTemporaryDir workdir;

private:
    QProcess m_process;
};

// Opens every dongle tab of the window on its simulated dongle and waits for its start-up; the
// tabs, or none with `why` set.
inline QVector<MainDongleWidget*> openDongles(MainWindow& window, const char** why)
{
    auto* dongleTabs = window.findChild<QTabWidget*>(QStringLiteral("m_tabDongleWidget"));
    QVector<MainDongleWidget*> tabs;
    for (int i = 0; i < window.tabs().size(); ++i) {
        MainDongleWidget* tab = window.tabs().at(i).first;
        dongleTabs->setCurrentIndex(i); // a tab builds its pages when first shown
        if (tab->msg()->openPort(QStringLiteral("ttySIM%1").arg(i)) != 0) {
            *why = "a port does not open";
            return {};
        }
        tab->onConnectionStatusChanged(true);
        tabs.append(tab);
    }
    for (MainDongleWidget* tab : qAsConst(tabs)) {
        if (!waitFor([tab] { return !tab->config().value("profile").toByteArray().isEmpty(); }, 20000)) {
            *why = "a start-up never ended";
            return {};
        }
    }
    if (dongleTabs)
        dongleTabs->setCurrentIndex(0);
    return tabs;
}
