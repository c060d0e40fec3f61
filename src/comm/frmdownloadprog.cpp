#include "frmdownloadprog.h"

#include "rscomm.h"

#include <QCoreApplication>
#include <QGroupBox>
#include <QGuiApplication>
#include <QLabel>
#include <QProgressBar>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>

frmDownloadProg::frmDownloadProg(RSComm &rsComm, QWidget *parent)
    : QDialog(parent), m_rsComm(rsComm)
{
    // No caption: a frame with the address line only.
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint);
    setModal(true);

    auto *layout = new QVBoxLayout(this);
    fraWaitDisplay = new QGroupBox(this);
    auto *frameLayout = new QVBoxLayout(fraWaitDisplay);
    lblWaitDisplay =
        new QLabel(QStringLiteral("Sending Program at Address: 0000H"), fraWaitDisplay);
    lblWaitDisplay->setAlignment(Qt::AlignCenter);
    frameLayout->addWidget(lblWaitDisplay);
    prgWaitDisplay = new QProgressBar(fraWaitDisplay);
    prgWaitDisplay->setRange(0, 100);
    prgWaitDisplay->setValue(0);
    frameLayout->addWidget(prgWaitDisplay);
    lblTimeLeft = new QLabel(fraWaitDisplay);
    lblTimeLeft->setAlignment(Qt::AlignCenter);
    frameLayout->addWidget(lblTimeLeft);
    layout->addWidget(fraWaitDisplay);

    Timer1 = new QTimer(this);
    Timer1->setInterval(250);
    connect(Timer1, &QTimer::timeout, this, &frmDownloadProg::Timer1_Timer);

    setMinimumWidth(
        fontMetrics().horizontalAdvance(QStringLiteral("Reading From Program Address: 0000H")) +
        80);
    Form_Load();
}

frmDownloadProg::~frmDownloadProg() = default;

void frmDownloadProg::SetTransferMode(int mode)
{
    m_mode = mode == 1 ? 1 : 0;
    Form_Load();
}

void frmDownloadProg::Form_Load()
{
    lblWaitDisplay->setText(m_mode == 0 ? QStringLiteral("Sending Program at Address: ")
                                        : QStringLiteral("Reading Program at Address: "));
    adjustSize();
    if (const QScreen *screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        move(area.center() - rect().center());
    }
    Timer1->stop();
    QCoreApplication::processEvents();
}

void frmDownloadProg::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (m_started)
        return;
    m_started = true;
    // No other exchange from the moment the window is up.
    m_hold.emplace(m_rsComm.holdLink());
    QTimer::singleShot(0, this, &frmDownloadProg::Form_Activate);
}

void frmDownloadProg::Form_Activate()
{
    Timer1->start();
    m_recordsAtClockStart = -1;
    if (m_mode == 0)
        m_rsComm.DumpProgram();
    else
        m_rsComm.UploadProgram();
    Timer1->stop();
    m_mode = 0;
    QCoreApplication::processEvents();
    m_hold.reset();
    accept();
}

void frmDownloadProg::reject() {}

void frmDownloadProg::Timer1_Timer()
{
    if (m_mode == 0) {
        if (!m_rsComm.InProgramMode())
            return;
        lblWaitDisplay->setText(m_rsComm.WritingIdent()
                                    ? QStringLiteral("Writing Program Ident ... ")
                                    : QStringLiteral("Writing to Program Address: ") +
                                          m_rsComm.CurrentProgramAdd());
    } else {
        if (!m_rsComm.InUploadMode())
            return;
        lblWaitDisplay->setText(m_rsComm.ReadingIdent()
                                    ? QStringLiteral("Reading Program Ident ... ")
                                    : QStringLiteral("Reading From Program Address: ") +
                                          m_rsComm.CurrentProgramAdd());
    }

    const int total = m_rsComm.programRecordCount();
    const int done = m_rsComm.programRecordsDone();
    if (total <= 0)
        return;
    prgWaitDisplay->setValue(100 * done / total);
    // The rate from the first record seen on: the confirmation and the
    // ident reads before it say nothing about the stream.
    if (m_recordsAtClockStart < 0) {
        m_recordsAtClockStart = done;
        m_streamClock.start();
        return;
    }
    const int streamed = done - m_recordsAtClockStart;
    if (streamed <= 0)
        return;
    const qint64 leftS = m_streamClock.elapsed() * (total - done) / streamed / 1000;
    lblTimeLeft->setText(QStringLiteral("Time left: %1:%2")
                             .arg(leftS / 60)
                             .arg(leftS % 60, 2, 10, QLatin1Char('0')));
}
