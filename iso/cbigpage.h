#pragma once

#include <functional>

#include <QMap>
#include <QPersistentModelIndex>
#include <QString>
#include <QVector>

#include "iso/cisostreampage.h"
#include "iso/isoparameters.h"

class BisDataTableModel;
class QTableView;
class QToolButton;

// What the two pages of a broadcast share: a table of BIGs over a table of the BISes of the one
// chosen, a BIG made on the dongle with one stream page per BIS, and the BIG's end, which takes
// its stream pages with it. The receiver and the broadcaster keep different BIG records, which
// they reach for this base by row.
class CBigPage : public CIsoStreamPage
{
    Q_OBJECT
    Q_DISABLE_COPY(CBigPage)

public:
    // A BIG that the dongle runs or follows keeps the page open.
    bool hasRunningBig() const;
    BisDataTableModel* bisModel() const { return m_bisModel; }

    // A press on a BIG row shows its BISes; on a BIS row, the stream page of the BIS. Connected
    // by pointer: slots by these names would be taken for widgets of the page.
    void on_BIGTableView_changed(QModelIndex index);
    void on_BISTableView_changed(QModelIndex index);

protected:
    // The BIS buttons are the receiver's: the broadcaster's BISes follow from its BIG.
    CBigPage(CMsg* msg, LogManager* logger, FieldValueMap* settings, const QString& terminateText,
             const QString& createText, bool bisButtons, QWidget* parent);
    ~CBigPage() override;

    // The bytes of a broadcast code as typed, in wire order; the command's field pads a short
    // or empty code with zeros to its sixteen bytes.
    static QByteArray broadcastCode(const QString& text);

    // The BIG records, by row.
    virtual int bigCount() const = 0;
    virtual QString bigIdAt(int row) const = 0;
    virtual bool bigCreatedAt(int row) const = 0;
    virtual void setBigCreated(int row) = 0;
    virtual void removeBigRecord(int row) = 0;

    // The BIG row last pressed, or -1 when there is none any more.
    int currentBigRow() const;
    // Makes a row the current one, as a press does.
    void selectBig(int row);
    // The BIS table's rows are the current BIG's: they are stored back after every change.
    void storeBisRows();
    // Removes the current row with its BISes, without a word to the dongle: a BIG the dongle
    // runs or follows stays, ended only by its terminate command, which then removes its row.
    void removeCurrentBig();
    // Sends a command that names the current BIG by its id.
    void sendForCurrentBig(const QString& command);
    // The answer to the BIG's creation, checked against the current row and the BISes it
    // lists: on success every BIS gets its handle and a stream page, which `setUp` prepares,
    // and the first is shown.
    void bigCreated(const QByteArray& frame, const char* wrongIdText, const char* wrongCountText,
                    const std::function<void(manageCISWidget*)>& setUp);
    // The BIG has ended: its stream pages go, then the row with its BISes.
    void bigEnded(int row);

    QToolButton* toolButton_addBIG = nullptr;
    QToolButton* toolButton_editBIG = nullptr;
    QToolButton* toolButton_removeBIG = nullptr;
    QToolButton* toolButton_terminateBIG = nullptr;
    QToolButton* toolButton_createBIG = nullptr;
    QToolButton* toolButton_addBIS = nullptr;
    QToolButton* toolButton_editBIS = nullptr;
    QToolButton* toolButton_removeBIS = nullptr;
    QTableView* tableView_BIG = nullptr;
    QTableView* tableView_BIS = nullptr;
    BisDataTableModel* m_bisModel = nullptr;
    QMap<QString, QVector<bisParameter>> bisByBig;

private:
    QPersistentModelIndex m_bigIndex;
};

// The BIG records of a page, kept in a model of rows that have `big_id` and `created`.
template <class Model>
class CBigPageOf : public CBigPage
{
public:
    Model* bigModel() const { return m_bigModel; }

protected:
    CBigPageOf(CMsg* msg, LogManager* logger, FieldValueMap* settings, const QString& terminateText,
               const QString& createText, bool bisButtons, QWidget* parent)
        : CBigPage(msg, logger, settings, terminateText, createText, bisButtons, parent)
        , m_bigModel(new Model(this))
    {
        setUpTable(tableView_BIG, m_bigModel);
    }

    int bigCount() const override { return m_bigModel->rowCount(); }
    QString bigIdAt(int row) const override { return m_bigModel->at(row).big_id; }
    bool bigCreatedAt(int row) const override { return m_bigModel->at(row).created == 1; }
    void setBigCreated(int row) override
    {
        auto big = m_bigModel->at(row);
        big.created = 1;
        m_bigModel->replace(row, big);
    }
    void removeBigRecord(int row) override { m_bigModel->remove(row); }

    Model* m_bigModel = nullptr;
};
