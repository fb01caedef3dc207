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

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    startFuzzApplication(argc, argv);
    g_dir = new QTemporaryDir;
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

    FieldValueMap config = tab.config();
    CSettingDialog dialog(tab.logger(), &config);
    if (dialog.parseConfigFile(QStringLiteral(":/config/resources/conf/sample_config_5_0.xml"))) {
        dialog.fillControls();
        for (auto it = config.cbegin(); it != config.cend(); ++it)
            if (const CSetting* setting = dialog.setting(it.key()))
                setting->value();
    }
    QCoreApplication::processEvents();
    return 0;
}
