#pragma once

#include <QString>

class FileDialogs;
class ModUtility;
class QWidget;

// View > Target Board Interface and toolbar button 13: the operator picks a
// controller project file (a cancelled dialog keeps the one chosen before,
// possibly none) and the target board window opens modally for it.
// programFilePath is the main window's gProgramFilePath.
void OpenProgramFileForTargetBoard(ModUtility &util, FileDialogs &dialogs, QString &programFilePath,
                                   QWidget *parent);
