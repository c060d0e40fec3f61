#pragma once

#include "programmemory.h"
#include "registeraddress.h"
#include "registerspace.h"

#include <QtGlobal>

#include <functional>
#include <optional>

// The board's end of the PROG port dialogue: every byte received yields at
// most one reply byte. Knows nothing about time or the device; the server
// feeds it and sends what it answers.
//
// Dialogue, PC byte -> board reply:
//   attention      FF -> 55, then a mode byte -> 55 (01 read, 02 write,
//                  18/28/48/58 limit-switch word query); any other mode byte
//                  is refused with a reply other than 55 and leaves no mode.
//   read mode      high -> high, low -> data at high*256+low
//   write mode     high -> high, low -> low, data -> data (stored)
//   query mode     55 -> low byte, 55 -> high byte, then no mode
//   program load   mode byte 03 -> 55, then records answered with their sum
//                  and FF -> 55 back to no mode (ProgramMemory)
//
// 0xFF in read mode. The PC sends 0xFF both as attention and as the high
// byte of addresses FF00H..FFFFH, and it expects an echo for the latter. A
// 0xFF that opens a read transaction is therefore echoed like any high byte.
// A PC that meant attention sees no 55 and sends 0xFF again, which as a low
// byte answers the data at FFFFH; the third 0xFF in a row at the start of a
// transaction is taken as attention and answered 55. So FFxx reads work, a
// switch out of read mode costs two extra round trips, and only a read that
// starts with 0xFF right after a read of FFFFH is mistaken for attention.
// Should FFFFH hold 0x55, the PC takes that answer for the acknowledge and
// sends its mode byte next; a mode byte in that spot is accepted as one.
//
// In write mode 0xFF at the start of a transaction is always attention (the
// address, low and data bytes may be 0xFF): writes to FF00H..FFFFH are not
// possible, whereas reading is.
class BoardModel
{
public:
    static constexpr quint8 Attention = 0xFF;
    static constexpr quint8 Acknowledge = 0x55;
    static constexpr quint8 ReadModeByte = 0x01;
    static constexpr quint8 WriteModeByte = 0x02;
    static constexpr quint8 QueryScaleFactor = 0x18;
    static constexpr quint8 QueryOffset = 0x28;
    static constexpr quint8 QueryPosition = 0x48;
    static constexpr quint8 QuerySpeed = 0x58;

    enum class Mode { None, Read, Write, Query };

    // Told of every byte stored from outside the board (the wire or the
    // console), after it is stored.
    using WriteObserver = std::function<void(int address)>;

    BoardModel();

    RegisterSpace &registers() { return m_registers; }
    const RegisterSpace &registers() const { return m_registers; }

    std::optional<quint8> feed(quint8 byte);

    Mode mode() const;
    // Program-load mode (mode byte 03): see ProgramMemory.
    bool inProgramLoad() const { return m_phase == Phase::ProgramLoad; }
    ProgramMemory &programMemory() { return m_program; }
    const ProgramMemory &programMemory() const { return m_program; }
    // Between an acknowledged attention and the mode byte.
    bool awaitingModeByte() const { return m_phase == Phase::AwaitMode; }

    // Every nth echo of an address or data byte is answered wrongly and the
    // transaction is dropped (nothing stored); 0 turns it off.
    void setWrongEchoEvery(int n);
    int wrongEchoEvery() const { return m_wrongEchoEvery; }

    void setWriteObserver(WriteObserver observer) { m_writeObserver = std::move(observer); }

    quint32 value(const RegisterAddress &address) const;
    // The value must not exceed address.maxValue().
    void storeValue(const RegisterAddress &address, quint32 value);

    // The word a limit-switch query answers, read from the resolver registers.
    quint16 queryValue(quint8 code) const;

private:
    enum class Phase {
        Idle,
        AwaitMode,
        ReadHigh,
        ReadLow,
        WriteHigh,
        WriteLow,
        WriteData,
        QueryLow,
        QueryHigh,
        ProgramLoad,
    };

    static bool isModeByte(quint8 byte);
    std::optional<quint8> attention();
    std::optional<quint8> selectMode(quint8 modeByte);
    std::optional<quint8> refuse(quint8 byte) const;
    std::optional<quint8> echo(quint8 byte, Phase next);
    bool nextEchoIsWrong();
    Phase transactionStart() const;
    void notifyWritten(int address);

    RegisterSpace m_registers;
    ProgramMemory m_program{m_registers};
    Phase m_phase = Phase::Idle;
    quint8 m_high = 0;
    quint8 m_low = 0;
    quint8 m_queryCode = 0;
    quint16 m_queryWord = 0;
    int m_attentionRun = 0;
    bool m_ambiguousAck = false;
    int m_wrongEchoEvery = 0;
    int m_echoCount = 0;
    WriteObserver m_writeObserver;
};
