#include "crfcalibrationdialog.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "link/cmsg.h"
#include "schema/ccommand.h"
#include "schema/cvalidatelineedit.h"

namespace {

const char* const kCommand = "RF Calibration Set";

} // namespace

CRfCalibrationDialog::CRfCalibrationDialog(CMsg* msg, LogManager* logger, QWidget* parent)
    : CFlatDialog(QStringLiteral("RF Calibration"), parent)
    , m_msg(msg)
    , m_logger(logger)
    , m_offset(new CValidateLineEdit(this))
{
    // "0x" and four digits: at most 0xFFFF.
    m_offset->setHexType(QStringLiteral("6"), QLatin1String(CValidateLineEdit::kHexPattern), QString(), QString());
    m_offset->setObjectName(QStringLiteral("lineEdit_xoOffset"));
    auto* calibrate = new QPushButton(QStringLiteral("Calibration"), this);
    calibrate->setObjectName(QStringLiteral("PB_Calibration"));

    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(16, 12, 16, 12);
    auto* row = new QHBoxLayout;
    row->addWidget(new QLabel(QStringLiteral("XO offset"), this));
    row->addWidget(m_offset, 1);
    layout->addLayout(row);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(calibrate);
    layout->addLayout(buttons);
    resize(340, 130);

    connect(calibrate, &QPushButton::clicked, this, &CRfCalibrationDialog::on_PB_Calibration_clicked);
    procTable = {{"BB@01@83", &CRfCalibrationDialog::responseProc}};
    if (m_msg)
        connect(m_msg, &CMsg::sig_rcvGapMsg, this, &CRfCalibrationDialog::onRcvMsg);
}

CRfCalibrationDialog::~CRfCalibrationDialog() = default;

void CRfCalibrationDialog::onRcvMsg(const QByteArray& rcvMsg)
{
    dispatchUplink(this, procTable, m_logger, rcvMsg);
}

void CRfCalibrationDialog::responseProc(const QByteArray& frame)
{
    CCommand::SDKProc(m_logger, frame);
}

void CRfCalibrationDialog::on_PB_Calibration_clicked()
{
    const QString digits = m_offset->value();
    if (digits.isEmpty())
        return;
    const quint16 offset = quint16(digits.toUInt(nullptr, 16));
    if (!CCommand::sendMsg(m_msg, m_logger, QLatin1String(kCommand), {{QStringLiteral("rf_value"), uint(offset)}}))
        CCommand::logSendFailed(m_logger, QLatin1String(kCommand));
    close();
}
