#pragma once

#include <QByteArray>
#include <QtGlobal>

// When the retained state goes out: at most once a second, and only when
// it says something new or the last one is 30 s old.
class StateThrottle
{
public:
    static constexpr qint64 MinGapMs = 1000;
    static constexpr qint64 RepeatMs = 30000;

    // content: the state without its time stamp.
    bool due(qint64 nowMs, const QByteArray &content) const
    {
        if (!m_sent)
            return true;
        const qint64 age = nowMs - m_sentMs;
        return age >= MinGapMs && (content != m_content || age >= RepeatMs);
    }
    void sent(qint64 nowMs, const QByteArray &content)
    {
        m_sent = true;
        m_sentMs = nowMs;
        m_content = content;
    }
    // After a new broker connection the next state goes out at once.
    void forget() { m_sent = false; }

private:
    bool m_sent = false;
    qint64 m_sentMs = 0;
    QByteArray m_content;
};
