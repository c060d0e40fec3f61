#pragma once

#include <QList>
#include <QtGlobal>

#include <optional>

// Agreement among repeated reads of one value whose reply carries no echo,
// so that a corrupted reply cannot be told from data by looking at it.
// Two agreeing reads confirm the value while nothing has been seen go wrong;
// once a read failed or two reads differed the link is known to be noisy
// and three agreeing reads are asked, so that two equal corrupted replies
// cannot pass for data.
class RepeatedReads
{
public:
    static constexpr int QuietAgreement = 2;
    static constexpr int NoisyAgreement = 3;

    // A failed read is std::nullopt.
    void add(std::optional<qint64> value)
    {
        ++m_reads;
        if (!value) {
            m_noisy = true;
            return;
        }
        for (const qint64 v : std::as_const(m_values))
            if (v != *value)
                m_noisy = true;
        m_values.append(*value);
    }
    // Asks the stricter agreement whatever this value's own reads showed
    // (noise seen elsewhere in the same block).
    void markNoisy() { m_noisy = true; }
    bool noisy() const { return m_noisy; }
    int reads() const { return m_reads; }

    std::optional<qint64> confirmed() const
    {
        const int needed = m_noisy ? NoisyAgreement : QuietAgreement;
        for (const qint64 v : std::as_const(m_values))
            if (m_values.count(v) >= needed)
                return v;
        return std::nullopt;
    }

private:
    QList<qint64> m_values;
    int m_reads = 0;
    bool m_noisy = false;
};
