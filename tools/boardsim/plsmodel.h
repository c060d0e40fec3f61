#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringView>
#include <QtGlobal>

#include <array>
#include <functional>
#include <optional>

class RegisterSpace;

// The board's programmable limit switch: output channels that switch at
// resolver positions, the resolver's scale factor and offset (kept in the
// resolver registers, so the word queries and the machine see them), and a
// configuration of 24 bytes. BoardModel hands it the bytes of its modes once
// the handshake has chosen one.
//
// Modes, after FF -> 55 and the mode byte -> 55 (PC byte -> board reply):
//   1B setpoint / 2B pulse train  6 bytes, each -> 55, then the ready poll
//        record: channel, first value low, high, second value low, high, kind
//        1B kind 1: ON position, OFF position (each below the scale)
//        1B kind 0, all values 0: the channel is cleared
//        2B kind 0: START position, then ON division (low) and OFF division
//                   (high), both above 0, ON + OFF dividing the scale
//   2A offset / 1A scale factor   low, high, each -> 55, then the ready poll
//   3B 4B 5B 6B                   configuration bytes 0-5, 6-11, 12-17,
//                                 18-23, each -> 55, then the ready poll
//   0C                            19 times 55 -> configuration byte 0..18
//   09                            channel -> 55, then 3 times 55 -> state,
//                                 position low, position high
// Ready poll: 38 -> 55, then 55 -> 55 while busy or 00 when ready; after 00
// one more byte -> 55 ends the exchange.
//
// A record that breaks the rules above is refused: its channel byte (a channel
// beyond the last) or its last byte is answered with something other than 55
// and nothing is stored. A recall answers the kind (1 setpoint, 0 pulse train
// or clear) and the first value (ON or START position, 0 when clear).
//
// Data bytes may be FF; anywhere else FF is attention and ends the exchange.
// After every stored record the board is busy for busyMs: the poll answers
// 55 until that time has passed.
class PlsModel
{
public:
    static constexpr int ChannelCount = 32; // channels 0..31
    static constexpr int ConfigCount = 24;
    static constexpr int ConfigUploadCount = 19;
    static constexpr int DefaultBusyMs = 20;

    static constexpr quint8 SetpointCode = 0x1B;
    static constexpr quint8 PulseTrainCode = 0x2B;
    static constexpr quint8 OffsetCode = 0x2A;
    static constexpr quint8 ScaleFactorCode = 0x1A;
    static constexpr quint8 ConfigBlockCodes[4] = {0x3B, 0x4B, 0x5B, 0x6B};
    static constexpr quint8 ConfigReadCode = 0x0C;
    static constexpr quint8 RecallCode = 0x09;
    static constexpr quint8 ReadyPoll = 0x38;

    struct Channel {
        enum class Kind { Clear, Setpoint, PulseTrain };
        Kind kind = Kind::Clear;
        quint16 first = 0;  // ON position or START position
        quint16 second = 0; // OFF position, or OFF division * 256 + ON division
    };

    // Milliseconds on a steady scale.
    using Clock = std::function<qint64()>;
    // Stores a word at a register address and tells whoever watches writes.
    using WordStore = std::function<void(int address, quint16 value)>;

    PlsModel(const RegisterSpace &registers, WordStore store);

    static bool isModeByte(quint8 byte);

    // The handshake chose modeByte: true when it opens one of these exchanges.
    bool begin(quint8 modeByte);
    // In an exchange, FF is data only while a record or word is coming in.
    bool takesAttention() const { return m_phase != Phase::Data; }
    void abandon() { m_phase = Phase::Idle; }
    std::optional<quint8> feed(quint8 byte);
    // False once the exchange is over (or refused).
    bool inExchange() const { return m_phase != Phase::Idle; }

    void setClock(Clock clock) { m_clock = std::move(clock); }
    void setBusyMs(int ms) { m_busyMs = qMax(0, ms); }
    int busyMs() const { return m_busyMs; }
    bool busy() const { return m_clock() < m_busyUntil; }

    const Channel &channel(int number) const { return m_channels[size_t(number)]; }
    const std::array<quint8, ConfigCount> &config() const { return m_config; }
    quint16 scaleFactor() const;
    quint16 offset() const;

    // The console's "pls ..." commands; one line of answer.
    //   pls busy MS    -> ok          pls channel N  -> clear | setpoint ON OFF
    //   pls config     -> 24 values                     | pulse START ON OFF
    QString consoleCommand(const QList<QStringView> &args);

private:
    enum class Phase {
        Idle,
        Data,
        PollAck,
        PollStatus,
        PollDone,
        RecallChannel,
        RecallAnswers,
        ConfigRead,
    };

    static int dataLength(quint8 modeByte);
    std::optional<quint8> refuse(quint8 byte);
    bool store();
    bool storeChannel();

    const RegisterSpace &m_registers;
    WordStore m_storeWord;
    Clock m_clock;
    Phase m_phase = Phase::Idle;
    quint8 m_modeByte = 0;
    QByteArray m_data;
    int m_step = 0;
    quint8 m_recallAnswers[3] = {0, 0, 0};
    int m_busyMs = DefaultBusyMs;
    qint64 m_busyUntil = 0;
    std::array<Channel, ChannelCount> m_channels{};
    std::array<quint8, ConfigCount> m_config{};
};
