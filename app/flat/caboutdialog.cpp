#include "caboutdialog.h"

#include <QIcon>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/flat/tflatscrollarea.h"

CAboutDialog::CAboutDialog(QWidget* parent)
    : CFlatDialog(QStringLiteral("About"), parent)
    , m_text(new CFlatTextBrowser(contentFrame()))
    , m_close(new QPushButton(QStringLiteral("Close"), this))
{
    setWindowIcon(QIcon(QStringLiteral(":/icons/launcher")));
    setFixedSize(515, 290);

    m_text->setObjectName(QStringLiteral("m_text"));
    m_text->setFrameShape(QFrame::NoFrame);
    m_text->setOpenExternalLinks(true);
    m_text->setStyleSheet(QStringLiteral("font-size: 12px;"));
    m_text->setHtml(QStringLiteral(
        "<p style=\"font-size: 14px;\"><b>Tarvine</b><br><b>%1</b></p>"
        "<p>A desktop tool for Bluetooth Low Energy development dongles: scan, connect, "
        "advertise, browse GATT, open L2CAP channels, run isochronous streams and RF tests, "
        "load firmware and read the logs of tool and dongle.</p>"
        "<p>Copyright &copy; the Tarvine developers. Provided as is, without warranty of any "
        "kind.</p>").arg(versionText().toHtmlEscaped()));

    auto* layout = new QVBoxLayout(contentFrame());
    layout->setContentsMargins(16, 12, 16, 32);
    layout->addWidget(m_text);

    m_close->setObjectName(QStringLiteral("m_close"));
    // Placed on the dialog, not in the layout: its place is fixed.
    m_close->setGeometry(420, 260, 80, 20);
    m_close->raise();
    connect(m_close, &QPushButton::clicked, this, &QDialog::accept);
}

CAboutDialog::~CAboutDialog() = default;

QString CAboutDialog::versionText()
{
    return QStringLiteral("Version ") + QLatin1String(TARVINE_VERSION);
}
