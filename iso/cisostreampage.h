#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QWidget>

#include "schema/ccommand.h"

class CMsg;
class LogManager;
class QAbstractItemModel;
class QLabel;
class QTableView;
class QVBoxLayout;
class manageCISWidget;

// What every isochronous page shares: the working pages of its established streams by handle,
// one of them shown in a pane on the right under a label that names its handle, and the road
// of the dongle's answers about one stream to the page of the handle they name. Pages that keep
// a list of streams stand a disabled placeholder page in the pane while none is chosen, so that
// the pane never is empty.
class CIsoStreamPage : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(CIsoStreamPage)

public:
    // The key of the placeholder: the tool's "no stream", which no controller gives.
    static constexpr quint16 kPlaceholder = 0xFFF;

    const QMap<quint16, manageCISWidget*>& manageCisPages() const { return manageWidgets; }
    // The stream page on the right.
    manageCISWidget* shownManageCis() const { return m_shown; }

protected:
    CIsoStreamPage(CMsg* msg, LogManager* logger, FieldValueMap* settings, QWidget* parent);
    ~CIsoStreamPage() override;

    // The pane that shows one stream page at a time under `label`, whose text starts with
    // `labelPrefix`; with a placeholder when the page lists streams.
    void setUpManagePane(QLabel* label, QVBoxLayout* pane, const QString& labelPrefix, bool placeholder);
    static void setUpTable(QTableView* view, QAbstractItemModel* model);

    // A new stream page for `handle`, kept under it and hidden until shown; one that stood
    // there before goes.
    manageCISWidget* addStream(quint16 handle);
    // The stream's page goes; the pane falls back to the placeholder when it showed it.
    bool removeStream(quint16 handle);
    void showStream(quint16 handle);
    void showPlaceholder();

    bool parse(const QByteArray& frame, UplinkFieldMap& fields);
    // The answer's status: true for success; a failure logged as the dongle's result.
    bool succeeded(const QByteArray& frame, const UplinkFieldMap& fields);
    void showError(const QString& text);
    static quint64 numberOf(const UplinkFieldMap& fields, const char* key);

    // The handlers of every page's table.
    void ackProc(const QByteArray& frame);
    void readIsoTxSyncProc(const QByteArray& frame);
    void setupDataPathProc(const QByteArray& frame);
    void removeDataPathProc(const QByteArray& frame);
    void receiveIsoDataProc(const QByteArray& frame);

    CMsg* m_msg = nullptr;
    LogManager* m_logger = nullptr;
    FieldValueMap* m_settings = nullptr;
    QMap<quint16, manageCISWidget*> manageWidgets;

private:
    void showInPane(manageCISWidget* page, const QString& label);
    // Hands an answer about one stream to the page of the handle it names, if there is one.
    using StreamProc = void (manageCISWidget::*)(const QByteArray&, const UplinkFieldMap&);
    void forward(const QByteArray& frame, StreamProc proc, bool logged);

    QLabel* m_label = nullptr;
    QVBoxLayout* m_pane = nullptr;
    QString m_labelPrefix;
    manageCISWidget* m_shown = nullptr;
};
