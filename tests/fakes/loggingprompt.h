#pragma once

#include "comm/operatorprompt.h"

#include <cstdio>

// Nobody is there to answer: every question is written to stderr and gets
// the answer that changes nothing, the one its box gives to Esc.
class LoggingPrompt final : public OperatorPrompt
{
public:
    PromptAnswer ask(const QString &title, const QString &text, PromptIcon,
                     PromptButtons buttons) override
    {
        std::fprintf(stderr, "[%s] %s\n", qPrintable(title), qPrintable(text));
        return escapeAnswer(buttons);
    }
};
