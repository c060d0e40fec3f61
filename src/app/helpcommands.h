#pragma once

class frmMDIMain;
class OperatorPrompt;
#include <QString>

// Help > "&Help Topics": the help document at its contents page. The help
// file named .hlp is looked for as .html beside it; a missing file is named
// in a message.
// F1 opens it at the topic of the window in front instead (an anchor).
void HelpTopicsCommand(frmMDIMain &main, const QString &helpFile, OperatorPrompt &prompt,
                       const QString &topic = QString());
// Help > "&About KESTRO": the About window, not modal.
void AboutCommand(frmMDIMain &main, OperatorPrompt &prompt);
