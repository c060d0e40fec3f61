#include "boardplace.h"

#include <algorithm>

namespace
{
constexpr quint8 kAttention = 0xFF;
constexpr quint8 kAcknowledge = 0x55;
constexpr quint8 kReadMode = 0x01;
constexpr quint8 kWriteMode = 0x02;
// Explanations needing more faults than the best one plus this are dropped.
constexpr int kFaultMargin = 1;
constexpr qsizetype kMostHypotheses = 64;
} // namespace

BoardPlace::BoardPlace()
{
    m_hypotheses.append(Hypothesis{});
}

std::optional<quint8> BoardPlace::step(Hypothesis &h, quint8 received)
{
    switch (h.place) {
    case Place::WriteStart:
        if (received == kAttention) {
            h.place = Place::Await;
            return kAcknowledge;
        }
        h.high = received;
        h.place = Place::WriteLow;
        return received;
    case Place::WriteLow:
        h.low = received;
        h.place = Place::WriteData;
        return received;
    case Place::WriteData:
        h.writes.append(Write{h.high * 256 + h.low, received});
        h.place = Place::WriteStart;
        return received;
    case Place::Await:
        if (received == kAttention)
            return kAcknowledge;
        if (received == kReadMode || received == kWriteMode) {
            h.place = received == kReadMode ? Place::ReadStart : Place::WriteStart;
            return kAcknowledge;
        }
        h.place = Place::Lost;
        return std::nullopt;
    case Place::ReadStart:
        if (received == kAttention) {
            h.place = Place::Await;
            return kAcknowledge;
        }
        h.place = Place::ReadLow;
        return received;
    case Place::ReadLow:
        h.place = Place::ReadStart;
        return std::nullopt; // the data byte: anything
    case Place::Lost:
        break;
    }
    return std::nullopt;
}

void BoardPlace::add(QList<Hypothesis> &into, Hypothesis h) const
{
    for (Hypothesis &known : into) {
        if (known.sameBoard(h)) {
            known.faults = std::min(known.faults, h.faults);
            return;
        }
    }
    into.append(std::move(h));
}

void BoardPlace::sent(quint8 byte, std::optional<quint8> reply)
{
    QList<Hypothesis> next;
    for (const Hypothesis &h : std::as_const(m_hypotheses)) {
        // Received as sent; the reply right, wrong or lost.
        Hypothesis asSent = h;
        const std::optional<quint8> answer = step(asSent, byte);
        if (!reply || (answer && *answer != *reply))
            ++asSent.faults;
        add(next, asSent);
        // Received as the echo shows: the board echoes what it took.
        if (reply && *reply != byte) {
            Hypothesis misheard = h;
            const std::optional<quint8> echoed = step(misheard, *reply);
            if (!echoed || *echoed == *reply) {
                ++misheard.faults;
                add(next, misheard);
            }
        }
        // Never received.
        if (!reply) {
            Hypothesis unheard = h;
            ++unheard.faults;
            add(next, unheard);
        }
    }
    std::stable_sort(next.begin(), next.end(),
                     [](const Hypothesis &a, const Hypothesis &b) { return a.faults < b.faults; });
    const int best = next.isEmpty() ? 0 : next.front().faults;
    qsizetype keep = 0;
    while (keep < next.size() && keep < kMostHypotheses && next[keep].faults <= best + kFaultMargin)
        ++keep;
    next.resize(keep);
    m_hypotheses = std::move(next);
}

bool BoardPlace::insideTriplet() const
{
    return std::any_of(m_hypotheses.cbegin(), m_hypotheses.cend(), [](const Hypothesis &h) {
        return h.place == Place::WriteLow || h.place == Place::WriteData;
    });
}

bool BoardPlace::lost() const
{
    return std::any_of(m_hypotheses.cbegin(), m_hypotheses.cend(),
                       [](const Hypothesis &h) { return h.place == Place::Lost; });
}

quint8 BoardPlace::nextClosingByte(int intendedAddress, quint8 intendedData) const
{
    const int best = m_hypotheses.isEmpty() ? 0 : m_hypotheses.front().faults;
    const quint8 high = quint8(intendedAddress / 256);
    for (const Hypothesis &h : m_hypotheses) {
        if (h.faults > best)
            break;
        if (h.place == Place::WriteLow && h.high == high)
            return quint8(intendedAddress % 256);
        if (h.place == Place::WriteData && h.high * 256 + h.low == intendedAddress)
            return intendedData;
    }
    // Attention to a board between transactions; for one inside a foreign
    // triplet, a write that cannot be avoided and will be read back.
    return kAttention;
}

QList<BoardPlace::Write> BoardPlace::possibleWrites() const
{
    QList<Write> all;
    for (const Hypothesis &h : m_hypotheses) {
        // What the board has written, and what the attention bytes of the
        // next handshake would write if it is still inside a triplet.
        Hypothesis ahead = h;
        for (int i = 0; i < 2 && (ahead.place == Place::WriteLow || ahead.place == Place::WriteData);
             ++i)
            step(ahead, kAttention);
        for (const Write &w : std::as_const(ahead.writes)) {
            if (!all.contains(w))
                all.append(w);
        }
    }
    return all;
}
