#include "helpcommands.h"

#include "comm/operatorprompt.h"
#include "frmabout.h"
#include "frmhelp.h"
#include "frmmdimain.h"
#include "modutility.h"

#include <QFileInfo>
#include <QPointer>
#include <QString>

void HelpTopicsCommand(frmMDIMain &main, const QString &helpFile, OperatorPrompt &prompt,
                       const QString &topic)
{
    const QString path = ModUtility::ChangeExtension(helpFile, QStringLiteral("html"));
    if (!QFileInfo(path).isFile()) {
        prompt.ask(QStringLiteral("KESTRO"),
                   QStringLiteral("The help file could not be found:\r\n") + path,
                   PromptIcon::Exclamation, PromptButtons::Ok);
        return;
    }
    // One help window: asking again brings it to the front at its contents.
    static QPointer<frmHelp> window;
    if (!window)
        window = new frmHelp(path, &main);
    window->showTopic(topic);
    window->show();
    window->raise();
    window->activateWindow();
}

void AboutCommand(frmMDIMain &main, OperatorPrompt &prompt)
{
    auto *window = new frmAbout(prompt, &main);
    window->show();
}
