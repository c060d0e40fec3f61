#include "modutility.h"

#include "comm/operatorprompt.h"
#include "comm/projectfile.h"
#include "comm/recordfile.h"
#include "comm/rscomm.h"
#include "machine/registermap.h"
#include "machine/valuetext.h"

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLineEdit>
#include <QScreen>
#include <QWidget>

ModUtility::ModUtility(RSComm &rsComm, SerialPort &commPort, OperatorPrompt &prompt, Clock &clock,
                       MachineData &data, const QString &programDir)
    : gRSComm(&rsComm), gCommPort(&commPort), gData(data), m_prompt(prompt), m_clock(clock),
      m_programDir(programDir)
{
}

void ModUtility::ApplyCommMode()
{
    RSComm &comm = *gRSComm;
    if (comm.OnlineMode) {
        comm.OpenRSComm(*gCommPort);
        // A port that would not open leaves the mode as it was asked for;
        // the program is offline all the same and shows it.
        if (!gCommPort->isOpen())
            comm.OnlineMode = false;
    } else {
        comm.CloseRSComm();
    }

    if (m_modeView)
        m_modeView->showCommMode(comm.OnlineMode);

    // The board constants are read once per run, at the first connection
    // that gets them all without a link error.
    if (comm.OnlineMode && !gBoardInfoRead) {
        if (!comm.CommError)
            gData.gSpindleCount =
                (roundedTextValue(comm.RSRead(LiveRegister::SpindleCountRegister)));
        if (!comm.CommError)
            comm.RSRead(QStringLiteral("F31"));
        if (!comm.CommError)
            comm.RSRead(QStringLiteral("W58"));
        if (!comm.CommError)
            gBoardInfoRead = true;
    }

    // The next ApplyCommMode shows the offline state.
    if (comm.CommError)
        comm.OnlineMode = false;
}

void ModUtility::InitializeGlobals()
{
    gData.buildDefaults();
    gFileUnnamed = true;
}

bool ModUtility::OfflinePrompt()
{
    if (gRSComm->OnlineMode)
        return true;
    const PromptAnswer answer =
        m_prompt.ask(QStringLiteral("Program Offline"),
                     QStringLiteral("Program is Currently OFFLINE\r\n\r\n"
                                    "Do You Wish to Switch to ONLINE MODE to Continue?"),
                     PromptIcon::Question, PromptButtons::YesNo);
    if (answer != PromptAnswer::Yes)
        return false;
    gRSComm->OnlineMode = true;
    ApplyCommMode();
    return true;
}

void ModUtility::CenterForm(QWidget *frm)
{
    if (!frm)
        return;
    QScreen *screen = frm->screen();
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QRect area = screen->geometry();
    const QSize size = frm->frameGeometry().size();
    frm->move(area.x() + (area.width() - size.width()) / 2,
              area.y() + (area.height() - size.height()) / 2);
}

void ModUtility::SelectAllText(QLineEdit *txt)
{
    if (txt)
        txt->setSelection(0, int(txt->text().size()));
}

qint16 ModUtility::ProjectBoardType(const QString &path, bool *emptyItem)
{
    return projectBoardType(path, emptyItem);
}

QString ModUtility::ChangeExtension(const QString &path, const QString &ext)
{
    return changeExtension(path, ext);
}
