#pragma once

#include <QtGlobal>

#include <optional>

class RegisterSpace;

// The board's program-load mode, entered by the mode byte 03 after an
// attention byte. The PC streams records as length, address high, address
// low and the data bytes, with no echo; the board answers each record with
// the low byte of the sum of all its bytes. An FF where a record would start
// leaves the mode and is answered 55. The data lands in the T6800's program
// memory, 4000H..BFFFH, where register reads find it; bytes addressed
// outside it are summed but not kept.
//
// Faults for trying the PC's side: a wrong sum on record N, or no answer at
// all on record N (records counted from 1 in each load, 0 = never).
class ProgramMemory
{
public:
    static constexpr int Start = 0x4000;
    static constexpr int End = 0xBFFF;
    static constexpr quint8 ModeByte = 0x03;

    explicit ProgramMemory(RegisterSpace &registers) : m_registers(registers) {}

    struct Step {
        std::optional<quint8> reply;
        bool leaveMode = false;
    };

    // A new load starts: the record count starts again.
    void begin();
    Step feed(quint8 byte);

    void setWrongSumOnRecord(int n) { m_wrongSumOn = qMax(0, n); }
    void setSilentOnRecord(int n) { m_silentOn = qMax(0, n); }
    int wrongSumOnRecord() const { return m_wrongSumOn; }
    int silentOnRecord() const { return m_silentOn; }

    int recordsLoaded() const { return m_records; }
    // Address of the last complete record; -1 before the first.
    int lastRecordAddress() const { return m_lastAddress; }

private:
    RegisterSpace &m_registers;
    quint8 m_buffer[3 + 255] = {};
    int m_count = 0;
    int m_records = 0;
    int m_lastAddress = -1;
    int m_wrongSumOn = 0;
    int m_silentOn = 0;
};
