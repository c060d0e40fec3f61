#include "operatorprompt.h"

QString promptAnswerName(PromptAnswer answer)
{
    switch (answer) {
    case PromptAnswer::Ok:
        return QStringLiteral("OK");
    case PromptAnswer::Cancel:
        return QStringLiteral("Cancel");
    case PromptAnswer::Retry:
        return QStringLiteral("Retry");
    case PromptAnswer::Yes:
        return QStringLiteral("Yes");
    case PromptAnswer::No:
        return QStringLiteral("No");
    case PromptAnswer::Abort:
        return QStringLiteral("Abort");
    case PromptAnswer::Ignore:
        return QStringLiteral("Ignore");
    }
    return {};
}

PromptAnswer escapeAnswer(PromptButtons buttons)
{
    switch (buttons) {
    case PromptButtons::Ok:
        return PromptAnswer::Ok;
    case PromptButtons::YesNo:
        return PromptAnswer::No;
    case PromptButtons::AbortRetryIgnore:
        return PromptAnswer::Abort;
    case PromptButtons::OkCancel:
    case PromptButtons::RetryCancel:
    case PromptButtons::YesNoCancel:
        break;
    }
    return PromptAnswer::Cancel;
}

QString promptDisplayText(const QString &text)
{
    QString shown = text;
    shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    shown.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return shown;
}
