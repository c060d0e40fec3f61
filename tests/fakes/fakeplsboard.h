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

    // Answers and moves on to the next stage.
    void go(Stage next, FakeSerialPort &p, quint8 byte)
    {
        m_stage = next;
        answer(p, byte);
    }

    void onByte(quint8 b, FakeSerialPort &p)
    {
        // In a data stage every byte is data, 0xFF included.
        if (b == 0xFF && m_stage != Stage::Data)
            return go(Stage::AwaitMode, p, 0x55);
        switch (m_stage) {
        case Stage::Idle:
            return go(Stage::Idle, p, b);
        case Stage::AwaitMode:
            m_mode = b;
            m_step = 0;
            m_data.clear();
            if (refusedModes.contains(b))
                return go(Stage::Idle, p, 0xAA);
            if (b == 0x18 || b == 0x28 || b == 0x48 || b == 0x58)
                return go(Stage::Query, p, 0x55);
            if (dataLength(b) > 0)
                return go(Stage::Data, p, 0x55);
            if (b == 0x09 || b == 0x0C)
                return go(b == 0x09 ? Stage::Recall : Stage::Config, p, 0x55);
            return go(Stage::Idle, p, 0xAA);
        case Stage::Query: {
            const int byte = queryWord(m_mode) >> (8 * m_step);
            return go(++m_step == 2 ? Stage::Idle : Stage::Query, p, quint8(byte));
        }
        case Stage::Data:
            if (m_data.size() == refuseDataByte)
                return go(Stage::Idle, p, 0xAA);
            m_data.append(char(b));
            if (m_data.size() < dataLength(m_mode))
                return go(Stage::Data, p, 0x55);
            programmed.append({m_mode, m_data});
            if (m_mode == 0x2A || m_mode == 0x1A)
                (m_mode == 0x2A ? offset : scale) = quint8(m_data[0]) + 256 * quint8(m_data[1]);
            m_busyUntil = m_clock.nowMs() + busyMs;
            return go(Stage::PollAck, p, 0x55);
        case Stage::PollAck:
            return go(b == 0x38 ? Stage::PollStatus : Stage::PollAck, p, b == 0x38 ? 0x55 : 0xAA);
        case Stage::PollStatus:
            if (notReadyAnswers > 0) {
                --notReadyAnswers;
                return go(Stage::PollAck, p, 0x07);
            }
            if (m_clock.nowMs() < m_busyUntil)
                return go(Stage::PollAck, p, 0x55);
            return go(Stage::PollDone, p, 0x00);
        case Stage::PollDone:
            return go(Stage::Idle, p, 0x55);
        case Stage::Recall:
            if (m_step++ == 0)
                return go(recallChannelReply == 0x55 ? Stage::Recall : Stage::Idle, p,
                          recallChannelReply);
            return go(m_step == 4 ? Stage::Idle : Stage::Recall, p, recallAnswers[m_step - 2]);
        case Stage::Config: {
            const quint8 value = m_step < configValues.size() ? configValues[m_step] : 0;
            return go(++m_step == 19 ? Stage::Idle : Stage::Config, p, value);
        }
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
