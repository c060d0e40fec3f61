#pragma once

class frmMDIMain;
class OperatorPrompt;
class QString;

// Help > "&Help Topics": the help document at its contents page. The help
// file named .hlp is looked for as .html beside it; a missing file is named
// in a message.
void HelpTopicsCommand(frmMDIMain &main, const QString &helpFile, OperatorPrompt &prompt);
// Help > "&About KESTRO": the About window, not modal.
void AboutCommand(frmMDIMain &main, OperatorPrompt &prompt);
