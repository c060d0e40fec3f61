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
    // An input box: the text typed, or an empty text when the box was
    // cancelled. With nobody there to ask, the box counts as cancelled.
    virtual QString input(const QString &title, const QString &prompt, const QString &defaultText)
    {
        Q_UNUSED(title);
        Q_UNUSED(prompt);
        Q_UNUSED(defaultText);
        return QString();
    }
};

QString promptAnswerName(PromptAnswer answer);
// The answer of a box closed without a choice (Esc, close box, nobody there
// to ask): Cancel, Abort or No where the box offers one, else OK.
PromptAnswer escapeAnswer(PromptButtons buttons);
// The text with its carriage returns (alone or before a line feed) as line breaks.
QString promptDisplayText(const QString &text);
