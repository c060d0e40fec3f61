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
