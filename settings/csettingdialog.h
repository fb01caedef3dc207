#pragma once

#include <functional>

#include <QMap>
#include <QString>

#include "app/flat/cflatdialog.h"
#include "schema/ccommand.h"

class CSetting;
class CSettingGroup;
class LogManager;
class QDomElement;
class QTreeWidgetItem;

namespace Ui {
class CSettingDialog;
}

// Shows one dongle's configuration tree, checks it as a whole and writes it into the dongle's
// settings map. Static settings go to the dongle at once; dynamic ones wait for the pages.
class CSettingDialog : public CFlatDialog
{
    Q_OBJECT
    Q_DISABLE_COPY(CSettingDialog)

public:
    using AirActionCheck = std::function<bool()>;

    CSettingDialog(LogManager* logger, FieldValueMap* config, QWidget* parent = nullptr);
    ~CSettingDialog() override;

    bool parseConfigFile(const QString& path);
    // Every setting back to its default, then the defaults into the map: a new tab's first values.
    void seedConfig();
    // The controls show the map, or the default where the map has no value.
    void fillControls();
    // Settings can't reach the dongle while it is busy on air; the controller knows when.
    void setAirActionCheck(AirActionCheck check) { m_airActionCheck = std::move(check); }
    CSetting* setting(const QString& key) const { return m_settings.value(key); }

signals:
    void staticSettingsUpdated();
    void dynamicSettingsUpdated();
    void sig_openAutomaticConnect(bool autoConnect);
    void sig_isPairEnable(bool pairEnable);

public slots:
    void onCatalogItemClicked(QTreeWidgetItem* item, int column);
    void on_pb_restoreAll_clicked();
    void on_pb_restoreCurrentPage_clicked();
    void on_btn_apply_clicked();
    void on_btn_cancel_clicked();
    void on_pb_setAll_clicked();
    void on_connectTypeChanged(bool isAuto);
    void on_connectPropertiesChanged(int value);
    void on_scanPropertiesChanged(int value);

public:
    // A scan duration (counts of 10 ms) that is not below its period (counts of 1.28 s), both
    // set. In whole milliseconds: 1.28 * 1000 in floating point makes some periods a hair long.
    static bool durationReachesPeriod(quint64 durationCount, quint64 periodCount);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    bool buildSetting(const QDomElement& element, CSetting* parent, QString& error);
    void showFirstSettingGroup();
    void updateEnabledStates();
    void setKeysEnabled(const QStringList& keys, bool enabled);
    uint uintValue(const QString& key) const;
    quint64 countValue(const QString& key) const;
    bool validate();
    void writeConfig();
    bool refuseInAirAction();

    Ui::CSettingDialog* ui;
    LogManager* m_logger = nullptr;
    FieldValueMap* m_config = nullptr;
    QMap<QString, CSetting*> m_settings;
    QList<CSettingGroup*> m_roots;
    CSettingGroup* m_currentSettingGroup = nullptr;
    uint m_lastScanProperties = 0;
    AirActionCheck m_airActionCheck;
};
