#pragma once

#include "plsmodel.h"
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
//   limit switch   the programming, recall and configuration modes of
//                  PlsModel (plsmodel.h), chosen by their mode bytes
//   program load   mode byte 03 -> 55, then records answered with their sum
//                  and FF -> 55 back to no mode (ProgramMemory)
//
// 0xFF. At the start of a transaction, in any mode, 0xFF is attention and
// is answered 55: that is how the PC leaves a mode, probes the board and
// resynchronises after a time-out. Inside a transaction (the low address
// byte of a read, the low address or data byte of a write) 0xFF is plain
// data and echoed, so a byte value of 255 can be written. Consequences a PC
// must live with: a register in FF00H..FFFFH can be neither read nor
// written (its high byte is taken as attention), and a PC that has lost its
// place in a transaction gets answers it did not expect (an echo or data
// where it waited for 55) instead of a board that quietly plays along.
// A 0xFF received while the board waits for a mode byte starts the
// handshake again.
//
// Faults for testing a PC: every Nth echo wrong; a random byte instead of
// the answer on every Nth exchange; a wrong answer on exchange N only. An
// exchange is one byte received that is answered, counted from 1. These
// change only the byte on the wire, as line noise would: the board goes on
// as if it had answered right, keeping its place in the transaction.
// Noise on the way in: every Nth address or data byte is misheard (one bit
// flipped); the board takes the wrong byte, echoes it and goes on with it,
// never knowing. A board whose wrong echo drops the transaction (nothing
// stored, back to its start) is kept for comparison.
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

    enum class Mode { None, Read, Write, Query, LimitSwitch };

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

    // Every nth echo of an address or data byte is answered wrongly; 0 turns
    // it off. With dropTransaction the board also forgets the transaction.
    void setWrongEchoEvery(int n, bool dropTransaction = false);
    int wrongEchoEvery() const { return m_wrongEchoEvery; }
    // Every nth address or data byte received is taken with bit 0 flipped.
    void setMisheardEvery(int n);
    int misheardEvery() const { return m_misheardEvery; }

    // A random byte, never the right one, instead of the answer on every
    // nth exchange; 0 turns it off.
    void setGarbageEvery(int n);
    int garbageEvery() const { return m_garbageEvery; }
    // A wrong answer on exchange n only (counted from 1); 0 turns it off.
    void setWrongAnswerAt(int n);
    int wrongAnswerAt() const { return m_wrongAnswerAt; }
    // Exchanges answered so far.
    int exchanges() const { return m_exchanges; }

    void setWriteObserver(WriteObserver observer) { m_writeObserver = std::move(observer); }

    quint32 value(const RegisterAddress &address) const;
    // The value must not exceed address.maxValue().
    void storeValue(const RegisterAddress &address, quint32 value);

    // The word a limit-switch query answers, read from the resolver registers.
    quint16 queryValue(quint8 code) const;

    PlsModel &limitSwitch() { return m_pls; }

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
        LimitSwitch,
        ProgramLoad,
    };

    std::optional<quint8> answer(quint8 byte);
    std::optional<quint8> attention();
    std::optional<quint8> selectMode(quint8 modeByte);
    std::optional<quint8> refuse(quint8 byte) const;
    std::optional<quint8> echo(quint8 byte, Phase next);
    bool nextEchoIsWrong();
    quint8 heard(quint8 byte);
    Phase transactionStart() const;
    void notifyWritten(int address);

    RegisterSpace m_registers;
    ProgramMemory m_program{m_registers};
    Phase m_phase = Phase::Idle;
    quint8 m_high = 0;
    quint8 m_low = 0;
    quint8 m_queryCode = 0;
    quint16 m_queryWord = 0;
    int m_wrongEchoEvery = 0;
    bool m_wrongEchoDrops = false;
    int m_echoCount = 0;
    int m_misheardEvery = 0;
    int m_transactionBytes = 0;
    int m_garbageEvery = 0;
    int m_wrongAnswerAt = 0;
    int m_exchanges = 0;
    WriteObserver m_writeObserver;
    PlsModel m_pls;
};
