#pragma once

#include "comm/operatorprompt.h"

class QWidget;

// The operator's questions as real message boxes. The parent is looked up
// at each question so a box always sits over the window that is in front.
class MessageBoxPrompt final : public OperatorPrompt
{
public:
    PromptAnswer ask(const QString &title, const QString &text, PromptIcon icon,
                     PromptButtons buttons) override;
    QString input(const QString &title, const QString &prompt, const QString &defaultText) override;

    // The system's texts break lines with CR LF or a lone CR.
    static QString displayText(const QString &text);
};
