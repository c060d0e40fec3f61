// File > Download Program (mode 0): pick a controller project, check it,
// confirm, and send it through the program transfer window. View > Target
// Board Interface (mode 1): the target board window for the project.
#include "frmmdimain.h"

#include "comm/frmdownloadprog.h"
#include "comm/operatorprompt.h"
#include "comm/rscomm.h"
#include "filedialogs.h"
#include "modutility.h"
#include "targetboard/targetboardcommand.h"

#include <QFileInfo>
#include <QTimer>

void frmMDIMain::OpenProgramFile(int Mode)
{
    RSComm &comm = *m_util->gRSComm;
    if (Mode == 0 && !comm.OnlineMode && !m_util->OfflinePrompt())
        return;

    const std::optional<QString> chosen = m_fileDialogs.openFile(
        this, QStringLiteral("Pradex Files(*.pdx)|*.pdx|"), gProgramFilePath);
    if (!chosen) {
        // The target board window opens all the same, for the project chosen before.
        if (Mode == 1)
            ShowTargetBoard(*m_util, gProgramFilePath, this);
        return;
    }
    gProgramFilePath = *chosen;
    comm.DownloadFile(gProgramFilePath);
    if (!comm.ValidProgram())
        return;
    if (Mode == 1) {
        ShowTargetBoard(*m_util, gProgramFilePath, this);
        return;
    }

    const PromptAnswer answer = m_prompt.ask(
        QStringLiteral("Program Download"),
        QStringLiteral("You are about to download \"") + QFileInfo(gProgramFilePath).fileName() +
            QStringLiteral("\" to the T6800.\r\n\r\nDo you wish to continue?"),
        PromptIcon::Question, PromptButtons::YesNo);
    if (answer != PromptAnswer::Yes)
        return;

    // The record stream lets events run: the background cycle stays off
    // until the window has closed.
    tmrBackgroungUpdate->stop();
    {
        frmDownloadProg window(comm, this);
        window.SetTransferMode(0);
        window.exec();
    }
    tmrBackgroungUpdate->start();
    m_util->ApplyCommMode();
}
