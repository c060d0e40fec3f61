#pragma once

#include "fakeserialport.h"

#include <QByteArray>
#include <QMap>

// Minimal board side of the register protocol for unit tests: probe,
// attention/mode handshake, read and write transactions over 64 KiB.
class FakeBoard
{
public:
    QByteArray memory = QByteArray(65536, '\0');
    bool silent = false;
    // Faults that keep the board's place, as real line noise does, by index
    // of the write echo (0-based): the reply changed on the way back, the
    // byte changed on the way in (taken and echoed with bit 0 flipped), or
    // the reply lost.
    enum class EchoFault { WrongReply, Misheard, LostReply };
    QMap<int, EchoFault> echoFaults;
    // This many read transactions from now get a wrong echo of their high byte.
    int wrongReadEchoes = 0;
    // A byte whose every read gives another value (a failing memory cell).
    int flickerAt = -1;
    // Program load (mode byte 03): records LL AH AL data, each answered with
    // its sum; FF between records leaves the mode with 55. Records are
    // counted from 1; the faults below name one of them.
    int wrongSumOnRecord = -1;
    int silentOnRecord = -1;
    int recordsLoaded = 0;
    bool exitedProgramLoad = false;

    void attach(FakeSerialPort &port)
    {
        port.responder = [this](quint8 b, FakeSerialPort &p) { onByte(b, p); };
    }

private:
    enum class Stage { Idle, AwaitMode, Read, Write, ProgramLoad };

    void onByte(quint8 b, FakeSerialPort &p)
    {
        if (silent)
            return;
        if (m_stage == Stage::ProgramLoad)
            return onProgramByte(b, p);
        if (b == 0xFF && m_step == 0) {
            m_stage = Stage::AwaitMode;
            return p.reply(0x55);
        }
        switch (m_stage) {
        case Stage::Idle:
            return p.reply(b);
        case Stage::AwaitMode:
            m_record.clear();
            m_stage = b == 1   ? Stage::Read
                      : b == 2 ? Stage::Write
                      : b == 3 ? Stage::ProgramLoad
                               : Stage::Idle;
            return p.reply(m_stage == Stage::Idle ? b : 0x55);
        case Stage::Read:
            if (m_step == 0) {
                m_high = b;
                m_step = 1;
                return p.reply(wrongReadEchoes > 0 && wrongReadEchoes-- ? quint8(b ^ 0x5A) : b);
            }
            m_step = 0;
            if (m_high * 256 + b == flickerAt)
                return p.reply(quint8(m_flicker++));
            return p.reply(quint8(memory[m_high * 256 + b]));
        case Stage::Write: {
            const bool faulty = echoFaults.contains(m_echoes);
            const EchoFault fault = echoFaults.value(m_echoes++);
            if (faulty && fault == EchoFault::Misheard)
                b ^= 0x01;
            if (m_step == 0)
                m_high = b;
            else if (m_step == 1)
                m_low = b;
            else
                memory[m_high * 256 + m_low] = char(b);
            m_step = (m_step + 1) % 3;
            if (!faulty || fault != EchoFault::LostReply)
                p.reply(faulty && fault == EchoFault::WrongReply ? quint8(b ^ 0x5A) : b);
            return;
        }
        case Stage::ProgramLoad:
            return;
        }
    }
    void onProgramByte(quint8 b, FakeSerialPort &p)
    {
        if (m_record.isEmpty() && b == 0xFF) {
            m_stage = Stage::Idle;
            exitedProgramLoad = true;
            p.reply(0x55);
            return;
        }
        m_record.append(char(b));
        if (m_record.size() < 3 || m_record.size() < 3 + quint8(m_record[0]))
            return;
        const int address = quint8(m_record[1]) * 256 + quint8(m_record[2]);
        int sum = 0;
        for (int i = 0; i < m_record.size(); ++i) {
            sum += quint8(m_record[i]);
            if (i >= 3)
                memory[(address + i - 3) & 0xFFFF] = m_record[i];
        }
        m_record.clear();
        ++recordsLoaded;
        if (recordsLoaded == silentOnRecord)
            return;
        p.reply(quint8(recordsLoaded == wrongSumOnRecord ? ~sum : sum));
    }

    Stage m_stage = Stage::Idle;
    QByteArray m_record;
    int m_step = 0;
    int m_high = 0;
    int m_flicker = 0;
    int m_low = 0;
    int m_echoes = 0;
};
