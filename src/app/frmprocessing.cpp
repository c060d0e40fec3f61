#include "frmprocessing.h"

#include "comm/operatorprompt.h"
#include "comm/rscomm.h"
#include "modutility.h"

#include <QCoreApplication>
#include <QGroupBox>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

frmProcessing::frmProcessing(TransferMode mode, RSComm &rsComm, DataSet &data,
                             OperatorPrompt &prompt, QWidget *parent)
    : QDialog(parent), m_mode(mode), m_rsComm(rsComm), m_data(data), m_prompt(prompt)
{
    setWindowTitle(QStringLiteral("KESTRO"));
    setModal(true);
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);

    auto *layout = new QVBoxLayout(this);
    fraProcessing = new QGroupBox(QStringLiteral("Processing Request:"), this);
    auto *frameLayout = new QVBoxLayout(fraProcessing);
    lblProcessing = new QLabel(QStringLiteral("Status"), fraProcessing);
    lblProcessing->setAlignment(Qt::AlignCenter);
    frameLayout->addWidget(lblProcessing);
    prgProcessing = new QProgressBar(fraProcessing);
    frameLayout->addWidget(prgProcessing);
    layout->addWidget(fraProcessing);
    cmdCancel = new QPushButton(QStringLiteral("&Cancel"), this);
    cmdCancel->setAutoDefault(false);
    layout->addWidget(cmdCancel, 0, Qt::AlignHCenter);
    connect(cmdCancel, &QPushButton::clicked, this, &frmProcessing::cmdCancel_Click);

    // Load step: the window is ready for the mode before it is shown.
    prgProcessing->setMinimum(0);
    prgProcessing->setValue(0);
    prgProcessing->setMaximum(transferCount(mode));
    lblProcessing->setText(transferCaption(mode));
    setMinimumWidth(fontMetrics().horizontalAdvance(lblProcessing->text()) + 80);
    adjustSize();
    ModUtility::CenterForm(this);
}

void frmProcessing::cmdCancel_Click()
{
    CancelRequested = true;
}

void frmProcessing::reject()
{
    if (m_started)
        CancelRequested = true;
    else
        QDialog::reject();
}

void frmProcessing::showEvent(QShowEvent *event)
{
    QDialog::showEvent(event);
    if (m_started)
        return;
    m_started = true;
    // Activation: the window paints once, then the transfer runs.
    QTimer::singleShot(0, this, &frmProcessing::ProcessTransfer);
}

void frmProcessing::ProcessTransfer()
{
    QCoreApplication::processEvents();
    CancelRequested = false;
    TransferCallbacks callbacks;
    callbacks.yieldEvents = [] { QCoreApplication::processEvents(); };
    callbacks.progress = [this](int value, int) { prgProcessing->setValue(value); };
    callbacks.cancelRequested = [this] { return CancelRequested; };
    DataTransfer transfer(m_rsComm, m_data);
    m_result = transfer.ProcessTransfer(m_mode, callbacks);
    m_ran = true;
    if (m_rsComm.CommError) {
        m_prompt.ask(TransferErrorTitle, TransferErrorText, PromptIcon::Exclamation,
                     PromptButtons::Ok);
    } else if (m_result.Outcome == TransferOutcome::Completed && !m_result.Failed.isEmpty()) {
        // The link held, but registers did not move: name them.
        m_prompt.ask(TransferErrorTitle, shortfallText(m_mode, m_result, m_data),
                     PromptIcon::Exclamation, PromptButtons::Ok);
    }
    hide();
}
