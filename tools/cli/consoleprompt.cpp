#include "consoleprompt.h"

#include <QList>
#include <QTextStream>
#include <cstdio>
#include <unistd.h>

namespace
{
QList<PromptAnswer> choices(PromptButtons buttons)
{
    switch (buttons) {
    case PromptButtons::Ok:
        return {PromptAnswer::Ok};
    case PromptButtons::OkCancel:
        return {PromptAnswer::Ok, PromptAnswer::Cancel};
    case PromptButtons::RetryCancel:
        return {PromptAnswer::Retry, PromptAnswer::Cancel};
    case PromptButtons::YesNo:
        return {PromptAnswer::Yes, PromptAnswer::No};
    case PromptButtons::YesNoCancel:
        return {PromptAnswer::Yes, PromptAnswer::No, PromptAnswer::Cancel};
    case PromptButtons::AbortRetryIgnore:
        return {PromptAnswer::Abort, PromptAnswer::Retry, PromptAnswer::Ignore};
    }
    return {PromptAnswer::Ok};
}

} // namespace

ConsolePrompt::ConsolePrompt() : m_interactive(::isatty(STDIN_FILENO) && ::isatty(STDERR_FILENO)) {}

PromptAnswer ConsolePrompt::ask(const QString &title, const QString &text, PromptIcon,
                                PromptButtons buttons)
{
    ++m_asked;
    QTextStream err(stderr);
    err << "[" << title << "] " << promptDisplayText(text) << Qt::endl;

    m_lastTitle = title;
    m_lastText = text;

    const QList<PromptAnswer> offered = choices(buttons);
    if (!m_yesTo.isEmpty() && title.startsWith(m_yesTo) && offered.contains(PromptAnswer::Yes)) {
        err << "  -> Yes (--yes)" << Qt::endl;
        return PromptAnswer::Yes;
    }
    if (offered.size() == 1 || !m_interactive) {
        const PromptAnswer answer = escapeAnswer(buttons);
        if (offered.size() > 1)
            err << "  -> " << promptAnswerName(answer) << " (no terminal to ask)" << Qt::endl;
        return answer;
    }
    QTextStream in(stdin);
    for (;;) {
        QStringList names;
        for (PromptAnswer a : offered)
            names << QStringLiteral("[%1]%2").arg(promptAnswerName(a).left(1),
                                                  promptAnswerName(a).mid(1));
        err << "  " << names.join(QLatin1Char(' ')) << "? " << Qt::flush;
        const QString line = in.readLine();
        if (line.isNull())
            return escapeAnswer(buttons);
        for (PromptAnswer a : offered)
            if (line.trimmed().compare(promptAnswerName(a).left(line.trimmed().size()),
                                       Qt::CaseInsensitive) == 0 &&
                !line.trimmed().isEmpty())
                return a;
    }
}
