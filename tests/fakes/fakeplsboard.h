#pragma once

#include "fakeserialport.h"

#include <QByteArray>
#include <QList>

// The limit-switch side of the board for unit tests: the attention/mode
// handshake, the four word queries, channel, word and configuration block
// programming with the ready poll, configuration read and channel recall.
// Every reply takes a millisecond of fake time, so a busy board is polled
// through fake seconds rather than forever at one instant.
class FakePlsBoard
{
public:
    struct Programmed {
        quint8 modeByte;
        QByteArray bytes;
    };

    explicit FakePlsBoard(FakeClock &clock) : m_clock(clock) {}

    int scale = 360;
    int offset = 0;
    int position = 0;
    // Busy for this long after the last byte of a programming exchange.
    qint64 busyMs = 0;
    // Status answers that are neither ready nor busy, before the real ones.
    int notReadyAnswers = 0;
    // Answers to the three 0x55 of a channel recall.
    quint8 recallAnswers[3] = {0, 0, 0};
    quint8 recallChannelReply = 0x55;
    // Answers to the nineteen 0x55 of a configuration read.
    QList<quint8> configValues;
    // Index (0-based, over the data bytes of one programming exchange) of a
    // byte to refuse; -1 for none.
    int refuseDataByte = -1;
    // Mode bytes the board refuses in the handshake.
    QList<quint8> refusedModes;
    // Goes silent after answering this many more bytes from now.
    void silenceAfter(int more) { m_silentAfter = m_answered + more; }

    // Completed programming exchanges, in order.
    QList<Programmed> programmed;

    void attach(FakeSerialPort &port)
    {
        port.responder = [this](quint8 b, FakeSerialPort &p) { onByte(b, p); };
    }

private:
    enum class Stage {
        Idle,
        AwaitMode,
        Query,
        Data,
        PollAck,
        PollStatus,
        PollDone,
        Recall,
        Config
    };

    void answer(FakeSerialPort &p, quint8 byte)
    {
        if (m_silentAfter >= 0 && m_answered >= m_silentAfter)
            return;
        ++m_answered;
        p.reply(byte, 1);
    }

    // Channel records (1B..6B) carry six bytes, scale and offset (1A, 2A) two.
    static int dataLength(quint8 mode)
    {
        return (mode & 0x0F) == 0x0B && mode >= 0x1B && mode <= 0x6B ? 6
               : mode == 0x1A || mode == 0x2A                        ? 2
                                                                     : 0;
    }
    int queryWord(quint8 code) const
    {
        return code == 0x18 ? scale : code == 0x28 ? offset : code == 0x48 ? position : 0;
    }

    void onByte(quint8 b, FakeSerialPort &p)
    {
        // In a data stage every byte is data, 0xFF included.
        if (b == 0xFF && m_stage != Stage::Data) {
            m_stage = Stage::AwaitMode;
            answer(p, 0x55);
            return;
        }
        switch (m_stage) {
        case Stage::Idle:
            answer(p, b);
            return;
        case Stage::AwaitMode:
            if (refusedModes.contains(b)) {
                m_stage = Stage::Idle;
                answer(p, 0xAA);
                return;
            }
            m_mode = b;
            m_step = 0;
            m_data.clear();
            if (b == 0x18 || b == 0x28 || b == 0x48 || b == 0x58)
                m_stage = Stage::Query;
            else if (dataLength(b) > 0)
                m_stage = Stage::Data;
            else if (b == 0x09)
                m_stage = Stage::Recall;
            else if (b == 0x0C)
                m_stage = Stage::Config;
            else {
                m_stage = Stage::Idle;
                answer(p, 0xAA);
                return;
            }
            answer(p, 0x55);
            return;
        case Stage::Query: {
            const int word = queryWord(m_mode);
            answer(p, quint8(m_step == 0 ? word & 0xFF : (word >> 8) & 0xFF));
            if (++m_step == 2)
                m_stage = Stage::Idle;
            return;
        }
        case Stage::Data:
            if (m_data.size() == refuseDataByte) {
                m_stage = Stage::Idle;
                answer(p, 0xAA);
                return;
            }
            m_data.append(char(b));
            if (m_data.size() == dataLength(m_mode)) {
                programmed.append({m_mode, m_data});
                if (m_mode == 0x2A)
                    offset = quint8(m_data[0]) + 256 * quint8(m_data[1]);
                if (m_mode == 0x1A)
                    scale = quint8(m_data[0]) + 256 * quint8(m_data[1]);
                m_busyUntil = m_clock.nowMs() + busyMs;
                m_stage = Stage::PollAck;
            }
            answer(p, 0x55);
            return;
        case Stage::PollAck:
            if (b == 0x38) {
                m_stage = Stage::PollStatus;
                answer(p, 0x55);
            } else {
                answer(p, 0xAA);
            }
            return;
        case Stage::PollStatus:
            if (notReadyAnswers > 0) {
                --notReadyAnswers;
                m_stage = Stage::PollAck;
                answer(p, 0x07);
            } else if (m_clock.nowMs() < m_busyUntil) {
                m_stage = Stage::PollAck;
                answer(p, 0x55);
            } else {
                m_stage = Stage::PollDone;
                answer(p, 0x00);
            }
            return;
        case Stage::PollDone:
            m_stage = Stage::Idle;
            answer(p, 0x55);
            return;
        case Stage::Recall:
            if (m_step == 0) {
                ++m_step;
                if (recallChannelReply != 0x55)
                    m_stage = Stage::Idle;
                answer(p, recallChannelReply);
                return;
            }
            answer(p, recallAnswers[m_step - 1]);
            if (++m_step == 4)
                m_stage = Stage::Idle;
            return;
        case Stage::Config:
            answer(p, m_step < configValues.size() ? configValues[m_step] : 0);
            if (++m_step == 19)
                m_stage = Stage::Idle;
            return;
        }
    }

    FakeClock &m_clock;
    Stage m_stage = Stage::Idle;
    quint8 m_mode = 0;
    int m_step = 0;
    int m_answered = 0;
    int m_silentAfter = -1;
    QByteArray m_data;
    qint64 m_busyUntil = 0;
};
