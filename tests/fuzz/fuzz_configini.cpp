// A config.ini as a user may have edited it by hand: its first group read into a dongle tab's
// settings map, sent as the static and dynamic configuration, and shown in the settings dialog.

#include <memory>

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

#include "app/maindonglewidget.h"
#include "fuzzapp.h"
#include "log/logmanager.h"
#include "settings/csetting.h"
#include "settings/csettingdialog.h"

namespace {

QTemporaryDir* g_dir = nullptr;
// The settings dialog is built once from its XML; each input only fills it.
FieldValueMap* g_shown = nullptr;
CSettingDialog* g_dialog = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzApplication(argc, argv);
    g_dir = new QTemporaryDir;
    g_shown = new FieldValueMap;
    auto* logger = new LogManager(QStringLiteral("Fuzz"));
    logger->setLogFile(QStringLiteral("/dev/null"));
    g_dialog = new CSettingDialog(logger, g_shown);
    g_dialog->parseConfigFile(QStringLiteral(":/config/resources/conf/sample_config_5_0.xml"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString path = g_dir->filePath(QStringLiteral("config.ini"));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return 0;
        file.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    QSettings settings(path, QSettings::IniFormat);
    const QString group = settings.childGroups().value(0, QStringLiteral("Fuzz"));

    MainDongleWidget tab(nullptr, QStringLiteral("Fuzz"));
    tab.logger()->setLogFile(QStringLiteral("/dev/null"));
    tab.loadConfig(settings, group);
    tab.on_staticConfigSet();
    tab.on_DynamicConfigApply();

    *g_shown = tab.config();
    g_dialog->fillControls();
    for (auto it = g_shown->cbegin(); it != g_shown->cend(); ++it)
        if (const CSetting* setting = g_dialog->setting(it.key()))
            setting->value();
    QCoreApplication::processEvents();
    return 0;
}
