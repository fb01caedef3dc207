#pragma once

#include <QString>
#include <QWidget>

#include "schema/ccommand.h"
#include "schema/cformgrid.h"

class CCommandUiOwner;
class CMsg;
class LogManager;
class QTimer;

namespace Ui {
class CCommandUiWidget;
}

// One downlink command as a folding panel: its generated form, two fields a row, and the button
// that sends it ("Update") or asks for its result ("Get"), which the form then shows.
class CCommandUiWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CCommandUiWidget)

public:
    // `timer` is the owner's, shared by all its forms; neither it, the owner, the port nor the
    // logger is owned.
    CCommandUiWidget(CMsg* msg, LogManager* logger, CCommandUiOwner* owner, const QString& name, QTimer* timer,
                     bool writable, uint8_t condix, bool expanded, QWidget* parent = nullptr);
    ~CCommandUiWidget() override;

    QString name() const { return m_name; }
    bool isWritable() const { return m_writable; }
    bool isExpanded() const { return m_expanded; }
    void readFormValues(FieldValueMap& values, bool rawText = false) const;
    void setFieldValueInGlayout(const UplinkFieldMap& fields) const;
    // What the editors show, by field key.
    QMap<QString, QString> formTexts() const { return m_grid.formTexts(); }

    // Whether the interval, latency and supervision timeout of a connection parameters request
    // keep the link alive: (1 + latency) x interval max x 2 below the timeout. Counts as on the
    // wire: 1.25 ms, events, 10 ms.
    static bool supervisionHolds(quint64 intervalMax, quint64 latency, quint64 supervisionTimeout);

public slots:
    void on_btn_command_clicked();
    void onWidgetPressed();

private:
    void setExpanded(bool expanded);

    Ui::CCommandUiWidget* ui;
    bool m_writable = false;
    bool m_expanded = false;
    QString m_name;
    uint8_t m_condix = 0;
    QTimer* m_timer = nullptr;
    CCommandUiOwner* m_owner = nullptr;
    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    CFormGrid m_grid;
};
