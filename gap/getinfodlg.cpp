#include "getinfodlg.h"

#include <QVBoxLayout>

#include "app/flat/tflatscrollarea.h"
#include "link/cmsg.h"
#include "schema/ccfgfileparse.h"
#include "schema/ccommanduiwidget.h"

namespace {

const char* const kSourceFile = ".\\getinfodlg";

} // namespace

GetInfoDlg::GetInfoDlg(CMsg* msg, LogManager* logger, QWidget* parent)
    : CFlatDialog(QStringLiteral("Get Info"), parent)
    , m_msg(msg)
    , m_logger(logger)
{
    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(8, 8, 8, 8);
    auto* scroll = new CFlatScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* host = new QWidget(scroll);
    auto* column = new QVBoxLayout(host);
    column->setSpacing(5);
    for (const UiInfo& info : CCfgFileParse::instance()->m_downlinkUiInfoVec) {
        if (info.father != QLatin1String("GET_INFO"))
            continue;
        auto* form = new CCommandUiWidget(m_msg, m_logger, this, info.name, &m_formTimer, false, 0, true, host);
        column->addWidget(form);
        m_forms.insert(info.name, form);
    }
    column->addStretch();
    scroll->setWidget(host);
    layout->addWidget(scroll);
    resize(760, 640);

    procTable = {
        {"BB@01@6F", &GetInfoDlg::responseProc},
        {"BB@01@47", &GetInfoDlg::responseProc},
        {"BB@01@73", &GetInfoDlg::responseProc},
        {"BB@01@75", &GetInfoDlg::responseProc},
        {"BB@01@77", &GetInfoDlg::responseProc},
        {"BB@01@79", &GetInfoDlg::responseProc},
        {"BB@01@7B", &GetInfoDlg::responseProc},
        {"BB@01@7D", &GetInfoDlg::responseProc},
        {"DD@01@70", &GetInfoDlg::getLocalDeviceInformationProc},
        {"DD@01@48", &GetInfoDlg::getLocalDeviceInformationProc},
        {"DD@01@74", &GetInfoDlg::getLocalDeviceInformationProc},
        {"DD@01@76", &GetInfoDlg::getLocalDeviceInformationProc},
        {"DD@01@78", &GetInfoDlg::getLocalDeviceInformationProc},
        {"DD@01@7A", &GetInfoDlg::getLocalDeviceInformationProc},
        {"DD@01@7C", &GetInfoDlg::getLocalDeviceInformationProc},
        {"DD@01@7E", &GetInfoDlg::getLocalDeviceInformationProc},
    };
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvGapMsg, this, &GetInfoDlg::onRcvMsg);
}

GetInfoDlg::~GetInfoDlg() = default;

void GetInfoDlg::startQuery()
{
    for (CCommandUiWidget* form : qAsConst(m_forms))
        form->on_btn_command_clicked();
}

void GetInfoDlg::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

void GetInfoDlg::responseProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
}

void GetInfoDlg::getLocalDeviceInformationProc(const QByteArray& frame)
{
    UplinkFieldMap fields;
    if (CCommand::parseUplinkMsg(m_logger, frame, fields) != 0)
        return;
    CCommand::logUplink(m_logger, frame, fields);
    CCommandUiWidget* form =
        m_forms.value(CCfgFileParse::instance()->m_uplinkIdToName.value(CCommand::uplinkId(frame)));
    if (!form) {
        CCommand::logInternalError(m_logger, kSourceFile, __LINE__,
                                   QStringLiteral("GetInfoDlg::getLocalDeviceInformationProc"));
        return;
    }
    form->setFieldValueInGlayout(fields);
}
