#pragma once

#include <QString>

// The core never shows a window itself: every question or alert goes through
// this interface. The GUI shows a QMessageBox, the command-line tool writes
// to the terminal, tests answer from a script.
enum class PromptIcon { None, Critical, Question, Exclamation, Information };
enum class PromptButtons { Ok, OkCancel, RetryCancel, YesNo, YesNoCancel, AbortRetryIgnore };
enum class PromptAnswer { Ok, Cancel, Retry, Yes, No, Abort, Ignore };

class OperatorPrompt
{
public:
    virtual ~OperatorPrompt() = default;
    // Texts are the system's own, line breaks included ("\r" or "\r\n");
    // an implementation may render them as it likes but must not alter them.
    virtual PromptAnswer ask(const QString &title, const QString &text, PromptIcon icon,
                             PromptButtons buttons) = 0;
};

QString promptAnswerName(PromptAnswer answer);
