#pragma once

#include <QString>

class ModUtility;
class QWidget;

// The target board window for a controller project file (possibly none),
// shown modally; returns when it closes.
void ShowTargetBoard(ModUtility &util, const QString &programFilePath, QWidget *parent);
