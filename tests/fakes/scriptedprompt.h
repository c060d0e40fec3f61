#pragma once

#include "comm/operatorprompt.h"

#include <QList>
#include <functional>

// Answers operator questions from a queue and records every one asked.
class ScriptedPrompt final : public OperatorPrompt
{
public:
    struct Asked {
        QString title;
        QString text;
        PromptIcon icon;
        PromptButtons buttons;
    };

    PromptAnswer ask(const QString &title, const QString &text, PromptIcon icon,
                     PromptButtons buttons) override
    {
        asked.append({title, text, icon, buttons});
        if (onAsk)
            onAsk(asked.last());
        if (!answers.isEmpty())
            return answers.takeFirst();
        // Unscripted: the safest answer the box offers.
        return escapeAnswer(buttons);
    }

    struct Input {
        QString title;
        QString prompt;
        QString defaultText;
    };
    QString input(const QString &title, const QString &prompt, const QString &defaultText) override
    {
        inputs.append({title, prompt, defaultText});
        // Unscripted: cancelled.
        return inputAnswers.isEmpty() ? QString() : inputAnswers.takeFirst();
    }

    QList<PromptAnswer> answers;
    QList<Asked> asked;
    QList<QString> inputAnswers;
    QList<Input> inputs;
    std::function<void(const Asked &)> onAsk;
};
