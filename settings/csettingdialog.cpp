#include "csettingdialog.h"
#include "ui_csettingdialog.h"

#include <QDomDocument>
#include <QFile>
#include <QKeyEvent>
#include <QTreeWidget>

#include "app/flat/cflatmessage.h"
#include "log/logmanager.h"
#include "settings/ccheckboxsetting.h"
#include "settings/ccomboboxsetting.h"
#include "settings/ccomboboxwithcheckboxsetting.h"
#include "settings/clineeditsetting.h"
#include "settings/cprofiletablesetting.h"
#include "settings/csettinggroup.h"

namespace {

const char* const kStaticRoot = "Static Configuration";
const char* const kDynamicRoot = "Dynamic Configuration";
const char* const kSetAllStatic = "Set All Static";
const char* const kApplyAllDynamic = "Apply All Dynamic";

// The editors that each bit of the connection properties governs. The coded scan keys stand
// with the 1M bit because the dongle reads them with it.
const QStringList kConnect1mKeys = {
    "5_0_conn_scan_interval_1m",     "5_0_conn_scan_window_1m",   "5_0_conn_scan_interval_coded",
    "5_0_conn_scan_window_coded",    "5_0_conn_interval_min_1m",  "5_0_conn_interval_max_1m",
    "5_0_conn_latency_1m",           "5_0_conn_supervision_timeout_1m", "5_0_conn_ce_1m",
};
const QStringList kConnect2mKeys = {
    "5_0_conn_interval_min_2m", "5_0_conn_interval_max_2m", "5_0_conn_latency_2m",
    "5_0_conn_supervision_timeout_2m", "5_0_conn_ce_2m",
};
const QStringList kConnectCodedKeys = {
    "5_0_conn_interval_min_coded", "5_0_conn_interval_max_coded", "5_0_conn_latency_coded",
    "5_0_conn_supervision_timeout_coded", "5_0_conn_ce_coded",
};
const QStringList kScan1mKeys = {"5_0_scan_interval_1m", "5_0_scan_window_1m"};
const QStringList kScanCodedKeys = {"5_0_scan_interval_coded", "5_0_scan_window_coded"};

// Scan property bits: the PHYs and the active scan on each.
constexpr uint kScan1m = 1;
constexpr uint kScanCoded = 2;
constexpr uint kActive1m = 4;
constexpr uint kActiveCoded = 8;
constexpr uint kAcceptUnresolvedDirected = 16;

QTreeWidgetItem* topLevelAncestor(QTreeWidgetItem* item)
{
    while (item->parent())
        item = item->parent();
    return item;
}

QTreeWidgetItem* firstLeafGroupItem(QTreeWidgetItem* item)
{
    if (item->childCount() == 0)
        return item;
    for (int i = 0; i < item->childCount(); ++i) {
        if (QTreeWidgetItem* leaf = firstLeafGroupItem(item->child(i)))
            return leaf;
    }
    return nullptr;
}

} // namespace

CSettingDialog::CSettingDialog(LogManager* logger, FieldValueMap* config, QWidget* parent)
    : CFlatDialog(QStringLiteral("Settings"), parent)
    , ui(new Ui::CSettingDialog)
    , m_logger(logger)
    , m_config(config)
{
    auto* body = new QWidget(contentFrame());
    ui->setupUi(body);
    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(body);
    resize(1000, 700);

    connect(ui->treeWidget_catalog, &QTreeWidget::itemClicked, this,
            &CSettingDialog::onCatalogItemClicked);
    connect(ui->pb_restoreAll, &QPushButton::clicked, this, &CSettingDialog::on_pb_restoreAll_clicked);
    connect(ui->pb_restoreCurrentPage, &QPushButton::clicked, this,
            &CSettingDialog::on_pb_restoreCurrentPage_clicked);
    connect(ui->pb_setAll, &QPushButton::clicked, this, &CSettingDialog::on_pb_setAll_clicked);
    connect(ui->btn_apply, &QPushButton::clicked, this, &CSettingDialog::on_btn_apply_clicked);
    connect(ui->btn_cancel, &QPushButton::clicked, this, &CSettingDialog::on_btn_cancel_clicked);
}

CSettingDialog::~CSettingDialog()
{
    delete ui;
}

bool CSettingDialog::parseConfigFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QDomDocument document;
    if (!document.setContent(&file))
        return false;

    for (QDomNode node = document.documentElement().firstChild(); !node.isNull();
         node = node.nextSibling()) {
        QString error;
        if (node.isElement() && !buildSetting(node.toElement(), nullptr, error)) {
            m_logger->log(error, 4);
            return false;
        }
    }
    for (CSettingGroup* root : qAsConst(m_roots))
        root->addToTree(ui->treeWidget_catalog);
    ui->treeWidget_catalog->expandAll();
    showFirstSettingGroup();
    return true;
}

bool CSettingDialog::buildSetting(const QDomElement& element, CSetting* parent, QString& error)
{
    const QString tag = element.tagName();
    const QString key = element.attribute("key");
    const QString title = element.attribute("title");
    const QString defaultText = element.attribute("defaultValue");

    if (tag == "SettingGroup" || tag == "SettingCategory") {
        CSetting* node = nullptr;
        if (tag == "SettingGroup") {
            auto* group = new CSettingGroup(title, parent);
            if (!parent) {
                // Roots wait hidden inside the dialog; their pages move into the page area.
                group->setParent(this);
                group->hide();
                m_roots.append(group);
            }
            node = group;
        } else {
            node = new CSettingCategory(title, parent);
        }
        for (QDomNode child = element.firstChild(); !child.isNull(); child = child.nextSibling()) {
            if (child.isElement() && !buildSetting(child.toElement(), node, error))
                return false;
        }
        return true;
    }

    CSetting* leaf = nullptr;
    if (tag == "LineEditSetting") {
        CLineEditSetting::Limits limits;
        limits.type = element.attribute("type");
        limits.min = element.attribute("minValue");
        limits.max = element.attribute("maxValue");
        limits.singleStep = element.attribute("singleStep");
        limits.precision = element.attribute("precision");
        limits.length = element.attribute("length");
        leaf = new CLineEditSetting(key, title, limits, defaultText, parent);
    } else if (tag == "ComboBoxSetting") {
        const QDomNodeList texts = element.firstChildElement("UserTexts").elementsByTagName("UserText");
        const QDomNodeList values = element.firstChildElement("UserValues").elementsByTagName("UserValue");
        if (texts.isEmpty() || texts.size() != values.size()) {
            error = "Invalid Configuare XML!" + tag;
            return false;
        }
        QList<CComboBoxSetting::Item> items;
        for (int i = 0; i < texts.size(); ++i)
            items.append({texts.at(i).toElement().text(), values.at(i).toElement().text().toUInt()});
        auto* combo = new CComboBoxSetting(key, title, items, defaultText.toUInt(), parent);
        if (key == "5_0_conn_type") {
            connect(combo, &CComboBoxSetting::valueChanged, this,
                    [this](uint value) { on_connectTypeChanged(value == 1); });
        }
        leaf = combo;
    } else if (tag == "ComboBoxWithCheckBoxSetting") {
        QMap<uint, QString> items;
        for (QDomElement elem = element.firstChildElement("elem"); !elem.isNull();
             elem = elem.nextSiblingElement("elem"))
            items.insert(elem.attribute("value").toUInt(), elem.attribute("valueDesc"));
        auto* mask = new CComboBoxWithCheckBoxSetting(key, title, items, defaultText.toUInt(), parent);
        if (key == "5_0_conn_properties") {
            connect(mask, &CComboBoxWithCheckBoxSetting::valueChanged, this,
                    &CSettingDialog::on_connectPropertiesChanged);
        } else if (key == "5_0_scan_properties") {
            connect(mask, &CComboBoxWithCheckBoxSetting::valueChanged, this,
                    &CSettingDialog::on_scanPropertiesChanged);
        }
        leaf = mask;
    } else if (tag == "CheckBoxSetting") {
        if (defaultText != "true" && defaultText != "false") {
            error = "Invalid bool string:" + defaultText;
            return false;
        }
        leaf = new CCheckBoxSetting(key, title, defaultText == "true", parent);
    } else if (tag == "ProfileTableSetting") {
        leaf = new CProfileTableSetting(key, title, defaultText.toLatin1(), parent);
    } else {
        return true;
    }
    leaf->setDescription(element.attribute("description"));
    leaf->setToolTip(leaf->description());
    m_settings.insert(leaf->key(), leaf);
    return true;
}

void CSettingDialog::showFirstSettingGroup()
{
    QTreeWidgetItem* item = nullptr;
    if (ui->treeWidget_catalog->topLevelItemCount() > 0)
        item = firstLeafGroupItem(ui->treeWidget_catalog->topLevelItem(0));
    if (!item) {
        m_logger->log("CSettingDialog::showFirstSettingGroup: can't find the first leaf setting group.", 1);
        return;
    }
    ui->treeWidget_catalog->setCurrentItem(item);
    onCatalogItemClicked(item, 0);
}

void CSettingDialog::seedConfig()
{
    for (CSetting* setting : qAsConst(m_settings))
        setting->setValue(setting->defaultValue());
    for (CSetting* setting : qAsConst(m_settings))
        m_config->insert(setting->key(), setting->value());
}

void CSettingDialog::fillControls()
{
    for (CSetting* setting : qAsConst(m_settings)) {
        const QVariant value = m_config->value(setting->key());
        setting->setValue(value.isNull() ? setting->defaultValue() : value);
    }
    m_lastScanProperties = uintValue("5_0_scan_properties");
    updateEnabledStates();
}

void CSettingDialog::onCatalogItemClicked(QTreeWidgetItem* item, int)
{
    auto* group = item ? qobject_cast<CSettingGroup*>(
                             item->data(0, Qt::UserRole).value<QObject*>())
                       : nullptr;
    if (!group) {
        m_logger->log("CSettingDialog::onCatalogItemClicked:SettingGroup is null.", 1);
        return;
    }
    const QString root = topLevelAncestor(item)->text(0);
    if (root == kStaticRoot)
        ui->btn_apply->setText(kSetAllStatic);
    else if (root == kDynamicRoot)
        ui->btn_apply->setText(kApplyAllDynamic);
    if (group->hasSubGroups())
        return;

    ui->label_pageCaption->setText(group->title());
    if (m_currentSettingGroup && m_currentSettingGroup != group) {
        ui->pageAreaLayout->removeWidget(m_currentSettingGroup);
        m_currentSettingGroup->hide();
    }
    m_currentSettingGroup = group;
    group->addToLayout(ui->pageAreaLayout);
    updateEnabledStates();
}

void CSettingDialog::updateEnabledStates()
{
    on_connectTypeChanged(uintValue("5_0_conn_type") == 1);
    on_connectPropertiesChanged(int(uintValue("5_0_conn_properties")));
    on_scanPropertiesChanged(int(uintValue("5_0_scan_properties")));
}

void CSettingDialog::setKeysEnabled(const QStringList& keys, bool enabled)
{
    for (const QString& key : keys) {
        if (CSetting* setting = m_settings.value(key))
            setting->setEnabled(enabled);
    }
}

// The connection timeout counts for both ways of initiating, so it stays enabled.
void CSettingDialog::on_connectTypeChanged(bool)
{
    setKeysEnabled({"5_0_conn_timeout"}, true);
}

void CSettingDialog::on_connectPropertiesChanged(int value)
{
    setKeysEnabled(kConnect1mKeys, value & 1);
    setKeysEnabled(kConnect2mKeys, value & 2);
    setKeysEnabled(kConnectCodedKeys, value & 4);
}

// An active scan needs its PHY: clearing a PHY clears its active bit, and asking for an active
// scan turns its PHY on.
void CSettingDialog::on_scanPropertiesChanged(int value)
{
    uint properties = uint(value);
    const uint last = m_lastScanProperties;
    const auto writeBack = [this, &properties] {
        if (CSetting* setting = m_settings.value("5_0_scan_properties"))
            setting->setValue(properties);
    };
    const auto keepConsistent = [&](uint phy, uint active) {
        if ((last & phy) && (properties & active) && !(properties & phy)) {
            properties &= ~(phy | active);
            writeBack();
        }
        if (!(last & active) && (properties & active) && !(properties & phy)) {
            properties |= phy;
            writeBack();
        }
    };
    keepConsistent(kScan1m, kActive1m);
    keepConsistent(kScanCoded, kActiveCoded);
    m_lastScanProperties = properties;
    setKeysEnabled(kScan1mKeys, properties & (kScan1m | kActive1m));
    setKeysEnabled(kScanCodedKeys, properties & (kScanCoded | kActiveCoded));
}

uint CSettingDialog::uintValue(const QString& key) const
{
    const CSetting* setting = m_settings.value(key);
    return setting ? setting->value().toUInt() : 0;
}

// A line edit's value is a count in wire units, written in hexadecimal.
quint64 CSettingDialog::countValue(const QString& key) const
{
    const CSetting* setting = m_settings.value(key);
    return setting ? setting->value().toString().toULongLong(nullptr, 16) : 0;
}

bool CSettingDialog::durationReachesPeriod(quint64 durationCount, quint64 periodCount)
{
    return durationCount != 0 && periodCount != 0 && durationCount * 10 >= periodCount * 1280;
}

bool CSettingDialog::validate()
{
    const quint64 durationCount = countValue("5_0_scan_duration");
    const quint64 periodCount = countValue("5_0_scan_period");
    const QString identityAddress = m_settings.contains("identity_addr")
                                        ? m_settings.value("identity_addr")->value().toString()
                                        : QString();
    const uint scanType = uintValue("5_0_scan_type");

    struct Rule
    {
        bool failed;
        const char* title;
        const char* text;
    };
    const Rule rules[] = {
        {identityAddress == "000000000000", "Identity Address Setting Error",
         "Identity Address: 00:00:00:00:00:00 is invalid."},
        {durationReachesPeriod(durationCount, periodCount), "Scan Parameters Setting Error",
         "Scan Parameter's Period should greater than Duration."},
        {uintValue("5_0_scan_duplicate_filter_policy") == 2 && (durationCount == 0 || periodCount == 0),
         "Scan Parameters Setting Error",
         "This Duplicate Filter policy need both Duration and Period are not Zero"},
        {(scanType == 0 || scanType == 1) && durationCount != 0 && durationCount * 10 < 10240,
         "Scan Parameters Setting Error",
         "When Scan Type is General discovery or Limited discovery, the Duration should be 0 or "
         "bigger than 10240ms"},
        {uintValue("5_0_scan_own_addr_type") == 1 && uintValue("privacy_config") == 0
             && (uintValue("5_0_scan_properties") & kAcceptUnresolvedDirected),
         "Scan Parameters Setting Error",
         "When Own Address Type is Generated resolvable private random address and the Privacy "
         "Config is\r\nDisable, directed advertising packets with an unresolved RPA can't be "
         "accepted."},
        {uintValue("identity_addr_type") == 1
             && (identityAddress.leftRef(2).toUInt(nullptr, 16) & 0xC0) != 0xC0,
         "Scan Parameters Setting Error",
         "Static addr: The two most significant bits of the address shall be equal to 1"},
    };
    for (const Rule& rule : rules) {
        if (rule.failed) {
            CFlatMessage::information(this, rule.title, rule.text);
            m_logger->log(rule.title, 4);
            return false;
        }
    }
    return true;
}

void CSettingDialog::writeConfig()
{
    for (CSetting* setting : qAsConst(m_settings))
        m_config->insert(setting->key(), setting->value());
}

bool CSettingDialog::refuseInAirAction()
{
    if (!m_airActionCheck || !m_airActionCheck())
        return false;
    const QString text = QStringLiteral("cannot set params when air action is on");
    if (m_logger)
        m_logger->log(text, 4);
    CFlatMessage::information(this, "error", text);
    return true;
}

void CSettingDialog::on_btn_apply_clicked()
{
    if (!validate())
        return;
    writeConfig();
    if (ui->btn_apply->text() == kSetAllStatic) {
        if (refuseInAirAction())
            return;
        emit staticSettingsUpdated();
        emit sig_isPairEnable(uintValue("pair_enable_flag") != 0);
    } else {
        emit dynamicSettingsUpdated();
        emit sig_openAutomaticConnect(uintValue("5_0_conn_type") == 1);
    }
    accept();
}

void CSettingDialog::on_pb_setAll_clicked()
{
    if (!validate())
        return;
    writeConfig();
    if (refuseInAirAction())
        return;
    emit staticSettingsUpdated();
    emit dynamicSettingsUpdated();
    emit sig_openAutomaticConnect(uintValue("5_0_conn_type") == 1);
    emit sig_isPairEnable(uintValue("pair_enable_flag") != 0);
    accept();
}

void CSettingDialog::on_btn_cancel_clicked()
{
    reject();
}

void CSettingDialog::on_pb_restoreAll_clicked()
{
    for (CSetting* setting : qAsConst(m_settings))
        setting->setValue(setting->defaultValue());
    m_lastScanProperties = uintValue("5_0_scan_properties");
    updateEnabledStates();
}

void CSettingDialog::on_pb_restoreCurrentPage_clicked()
{
    if (!m_currentSettingGroup) {
        m_logger->log("CSettingDialog::on_btn_default_pressed:m_currentSettingGroup is null.", 1);
        return;
    }
    for (int i = 0; i < m_currentSettingGroup->childCount(); ++i) {
        auto* category = dynamic_cast<CSettingCategory*>(m_currentSettingGroup->childAt(i));
        if (!category) {
            m_logger->log("CSettingDialog::on_btn_default_pressed: dynamic_cast to psettingCategory failed.", 1);
            continue;
        }
        for (int j = 0; j < category->childCount(); ++j) {
            CSetting* leaf = category->childAt(j);
            leaf->setValue(leaf->defaultValue());
        }
    }
    m_lastScanProperties = uintValue("5_0_scan_properties");
    updateEnabledStates();
}

// Enter finishes typing in a field; it must not apply or close the whole dialog.
void CSettingDialog::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
        event->accept();
        return;
    }
    CFlatDialog::keyPressEvent(event);
}
