#pragma once

#include <QString>
#include <QWidget>

class CMsg;
class LogManager;
class LogSwtich;
class QTextBrowser;

namespace Ui {
class LogWidget;
}

// One log pane of a dongle tab, tool or dongle log: shows the latest lines, clears them and
// saves the run's whole log file.
class CLogWidget : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CLogWidget)

public:
    static constexpr int MaxBlocks = 2000;

    // `type` 0 is the tool log, 1 the dongle log. Neither the port nor the logger is owned.
    CLogWidget(CMsg* msg, LogManager* logger, int type, QWidget* parent = nullptr);
    ~CLogWidget() override;

    QTextBrowser* textBrowser() const { return m_textBrowser; }
    LogSwtich* logSwitch() const { return m_logSwitch; }
    void setTitle(const QString& title);
    // The run's log file that this pane shows.
    QString logFilePath() const;

public slots:
    void onLogClear();
    void onLogSave();
    void on_m_tbLevel_clicked();

protected:
    // The target chosen by the user; empty when the dialog was cancelled.
    virtual QString askSavePath();

private:
    bool copyLogFile(QString target) const;

    Ui::LogWidget* ui;
    QTextBrowser* m_textBrowser = nullptr;
    LogSwtich* m_logSwitch = nullptr;
    LogManager* m_logger = nullptr;
    CMsg* m_msg = nullptr;
    int m_type = 0;
};
