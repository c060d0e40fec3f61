#pragma once

class ChildForm;
class ModUtility;
class QWidget;

// The four child windows of the Window menu, by index:
// 0 frmMain, 1 frmSetup, 2 frmData, 3 frmDisplayIO.
inline constexpr int ChildFormCount = 4;
ChildForm *loadChildForm(int index, ModUtility &util, QWidget *parent);
