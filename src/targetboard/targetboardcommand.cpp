#include "targetboardcommand.h"

#include "app/filedialogs.h"
#include "app/modutility.h"
#include "frmtargetboard.h"

void OpenProgramFileForTargetBoard(ModUtility &util, FileDialogs &dialogs, QString &programFilePath,
                                   QWidget *parent)
{
    const std::optional<QString> chosen =
        dialogs.openFile(parent, QStringLiteral("Pradex Files(*.pdx)|*.pdx|"), programFilePath);
    if (chosen)
        programFilePath = *chosen;
    frmTargetBoard window(util, parent);
    window.InitializeForm(programFilePath);
}
