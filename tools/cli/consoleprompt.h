#pragma once

#include "comm/operatorprompt.h"

// Operator questions on the console: title and text go to standard error.
// On a terminal the operator answers; otherwise the answer is Cancel, or OK
// where that is the only button, so scripts never hang on a question.
class ConsolePrompt final : public OperatorPrompt
{
public:
    ConsolePrompt();
    PromptAnswer ask(const QString &title, const QString &text, PromptIcon icon,
                     PromptButtons buttons) override;
    int questionsAsked() const { return m_asked; }

private:
    bool m_interactive;
    int m_asked = 0;
};
