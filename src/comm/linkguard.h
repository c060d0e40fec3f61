#pragma once

#include "operatorprompt.h"

// The link carries one exchange at a time. An exchange that waits on the
// operator (its message box runs an event loop) or a transfer that lets the
// events run between its records holds the link; a timer, refresh step or
// command that comes in through that event loop finds it busy and must wait
// or skip, never touch the port.
class LinkGuard
{
public:
    class Hold
    {
    public:
        explicit Hold(LinkGuard &guard) : m_guard(&guard) { ++m_guard->m_holds; }
        Hold(Hold &&other) noexcept : m_guard(other.m_guard) { other.m_guard = nullptr; }
        Hold(const Hold &) = delete;
        Hold &operator=(const Hold &) = delete;
        Hold &operator=(Hold &&) = delete;
        ~Hold()
        {
            if (m_guard)
                --m_guard->m_holds;
        }

    private:
        LinkGuard *m_guard;
    };

    bool busy() const { return m_holds > 0; }
    [[nodiscard]] Hold hold() { return Hold(*this); }

private:
    int m_holds = 0;
};

// Every question the link asks holds it while the box is open.
class HoldingPrompt final : public OperatorPrompt
{
public:
    HoldingPrompt(OperatorPrompt &prompt, LinkGuard &guard) : m_prompt(prompt), m_guard(guard) {}

    PromptAnswer ask(const QString &title, const QString &text, PromptIcon icon,
                     PromptButtons buttons) override
    {
        const LinkGuard::Hold hold = m_guard.hold();
        return m_prompt.ask(title, text, icon, buttons);
    }

private:
    OperatorPrompt &m_prompt;
    LinkGuard &m_guard;
};
