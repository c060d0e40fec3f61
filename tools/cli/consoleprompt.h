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
    // Questions whose title starts with this are answered Yes unasked
    // (the command line's --yes).
    void answerYesTo(const QString &titlePrefix) { m_yesTo = titlePrefix; }
    QString lastTitle() const { return m_lastTitle; }
    QString lastText() const { return m_lastText; }

private:
    QString m_yesTo;
    QString m_lastTitle;
    QString m_lastText;
    bool m_interactive;
    int m_asked = 0;
};
