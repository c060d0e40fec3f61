#include "targetboardcommand.h"

#include "frmtargetboard.h"

void ShowTargetBoard(ModUtility &util, const QString &programFilePath, QWidget *parent)
{
    frmTargetBoard window(util, parent);
    window.InitializeForm(programFilePath);
}
