// Limit-switch channel programming of the communications object: channels,
// offset and configuration, each an exchange of its own mode followed by the
// ready poll.
#include "rscomm.h"

#include "clock.h"
#include "commlog.h"
#include "operatorprompt.h"
#include "repeatedreads.h"

namespace
{

constexpr int kReadyPoll = 0x38;
constexpr qint64 kFirstReadyMs = 3000;
constexpr qint64 kRetryReadyMs = 2000;
constexpr qint64 kModeTimeoutMs = 2000;
// A recalled position above this high byte is not a position the board holds.
constexpr int kHighestRecallHighByte = 16;

constexpr quint8 kScaleFactorQuery = 0x18;
constexpr quint8 kOffsetQuery = 0x28;
constexpr quint8 kPositionQuery = 0x48;

constexpr qint16 kChannelMode = 3;
constexpr quint8 kSetpointCode = 0x1B;
constexpr quint8 kPulseTrainCode = 0x2B;
constexpr qint16 kWordMode = 5;
constexpr quint8 kOffsetWord = 0x2A;
constexpr quint8 kScaleFactorWord = 0x1A;
constexpr qint16 kRecallMode = 6;
constexpr quint8 kRecallCode = 0x09;
constexpr qint16 kConfigBlockMode = 7;
constexpr quint8 kConfigBlockCodes[4] = {0x3B, 0x4B, 0x5B, 0x6B};
constexpr qint16 kConfigReadMode = 8;
constexpr quint8 kConfigReadCode = 0x0C;

const QString kTwoBreaks = QStringLiteral("\r\n\r\n");
constexpr int kMostQueries = 8;

QString queryName(quint8 code)
{
    switch (code) {
    case kScaleFactorQuery:
        return QStringLiteral("scale factor");
    case kOffsetQuery:
        return QStringLiteral("offset");
    case kPositionQuery:
        return QStringLiteral("position");
    default:
        return QStringLiteral("query %1").arg(code, 2, 16, QLatin1Char('0'));
    }
}

QByteArray channelRecord(qint16 chan, int first, int second, int kind)
{
    QByteArray record;
    record.append(char(chan & 0xFF));
    record.append(char(first & 0xFF));
    record.append(char((first >> 8) & 0xFF));
    record.append(char(second & 0xFF));
    record.append(char((second >> 8) & 0xFF));
    record.append(char(kind));
    return record;
}

QByteArray wordBytes(int value)
{
    QByteArray bytes;
    bytes.append(char(value & 0xFF));
    bytes.append(char((value >> 8) & 0xFF));
    return bytes;
}

} // namespace

int RSComm::ConfirmedQuery(quint8 code, std::optional<int> firstRead)
{
    RepeatedReads reads;
    if (firstRead)
        reads.add(*firstRead == QueryFailed ? std::nullopt : std::optional<qint64>(*firstRead));
    while (!reads.confirmed()) {
        if (reads.reads() >= kMostQueries || CommError)
            return QueryFailed;
        const int value = Query(code);
        reads.add(value == QueryFailed ? std::nullopt : std::optional<qint64>(value));
    }
    return int(*reads.confirmed());
}

bool RSComm::plsReadFailed(int value, quint8 code)
{
    if (value != QueryFailed && !CommError)
        return false;
    m_plsOutcome = PLSOutcome::NoAnswer;
    m_plsFault = QStringLiteral("the %1 could not be read cleanly").arg(queryName(code));
    return true;
}

// A query's word has no echo. Read once, as always; but before the
// operator's value is refused for it, it is read again until it agrees with
// itself: a corrupted word is a link fault, not the operator's mistake.
bool RSComm::plsConfirmBeforeRefusing(int &value, quint8 code)
{
    value = ConfirmedQuery(code, value);
    return !plsReadFailed(value, code);
}

bool RSComm::plsRefuse(const QString &title, const QString &text, PromptIcon icon)
{
    m_prompt.ask(title, text, icon, PromptButtons::Ok);
    m_plsOutcome = PLSOutcome::ValueRefused;
    return false;
}

// Modes 3, 5 and 7: the handshake, each byte acknowledged, then the ready
// poll. Inside the exchange every byte is the board's data, FF too, so after
// the mode byte an FF may only follow once the board is known to be out of
// the exchange: a mode byte answered neither 55 nor refused is settled by
// the record's first byte, which a board that refused the mode echoes
// harmlessly. A setpoint record answered with something else than 55 is
// sent to its end (unless an FF is left in it) and what the channel then
// holds is read back: line noise is not the board's refusal.
bool RSComm::programPLS(qint16 mode, quint8 modeByte, const QByteArray &bytes)
{
    if (refusedWhileBusy("limit-switch programming")) {
        m_plsOutcome = PLSOutcome::NoAnswer;
        return false;
    }
    m_currentMode = 0;
    const bool setpoint = modeByte == kSetpointCode && bytes.size() == 6 && bytes[5] == 1;
    bool doubt = false;
    const bool result = [&] {
        qsizetype next = 0;
        if (!plsHandshake(mode, modeByte, bytes, next))
            return false;
        for (; next < bytes.size(); ++next) {
            const int reply = ExchangeByte(quint8(bytes[next]), ReplyWait::Await, InputFlush::Keep);
            if (reply == NoReply)
                return false;
            if (reply == Acknowledge)
                continue;
            qCInfo(lcComm, "limit switch mode %02X: byte %02X answered %d", modeByte,
                   quint8(bytes[next]), reply);
            if (!setpoint || bytes.mid(next + 1).contains(char(Attention))) {
                m_plsOutcome = PLSOutcome::BoardRefused;
                return false;
            }
            doubt = true;
        }
        if (CommError)
            return false;
        if (plsReadyPoll())
            return true;
        // A board out of the exchange answers the poll with echoes.
        if (!CommError && setpoint)
            doubt = true;
        else if (!CommError)
            m_plsOutcome = PLSOutcome::BoardRefused;
        return false;
    }();
    m_currentMode = 0;
    if (result && !doubt)
        return true;
    if (CommError) {
        if (m_plsOutcome == PLSOutcome::Done)
            m_plsOutcome = PLSOutcome::NoAnswer;
        return false;
    }
    if (doubt)
        return plsSettleDoubt(bytes);
    if (m_plsOutcome == PLSOutcome::Done)
        m_plsOutcome = PLSOutcome::NoAnswer;
    return false;
}

// FF -> 55 and the mode byte -> 55, in time, as SetPLCMode; next is how many
// bytes of the record the board has already taken.
bool RSComm::plsHandshake(qint16 mode, quint8 modeByte, const QByteArray &bytes, qsizetype &next)
{
    next = 0;
    qint64 deadline = m_clock.nowMs() + kModeTimeoutMs;
    for (;;) {
        if (!modeDeadlineKept(deadline)) {
            m_plsOutcome = PLSOutcome::NoAnswer;
            return false;
        }
        int reply = ExchangeByte(Attention, ReplyWait::Await, InputFlush::FlushFirst);
        if (reply == NoReply)
            return false;
        if (reply != Acknowledge)
            continue;
        reply = ExchangeByte(modeByte, ReplyWait::Await, InputFlush::Keep);
        if (reply == NoReply)
            return false;
        if (reply == Acknowledge)
            break;
        if (bytes.isEmpty() || quint8(bytes[0]) == Attention) {
            m_plsFault = QStringLiteral("the limit switch did not confirm mode %1")
                             .arg(modeByte, 2, 16, QLatin1Char('0'))
                             .toUpper();
            m_plsOutcome = PLSOutcome::NoAnswer;
            return false;
        }
        reply = ExchangeByte(quint8(bytes[0]), ReplyWait::Await, InputFlush::Keep);
        if (reply == NoReply)
            return false;
        if (reply == Acknowledge) {
            next = 1;
            break;
        }
        // The board had refused the mode and echoed the byte: ask again.
    }
    m_currentMode = mode;
    return true;
}

// Read back what a channel holds after a setpoint exchange whose answers
// were garbled: the setpoint as asked is success, anything else the board's
// refusal; a read-back that fails leaves it unknown, a link fault.
bool RSComm::plsSettleDoubt(const QByteArray &bytes)
{
    const qint16 chan = qint16(quint8(bytes[0]));
    const int on = quint8(bytes[1]) | (quint8(bytes[2]) << 8);
    // The recall's three answers have no echo either: each must agree with
    // itself over repeated recalls. A recall the board refuses at the
    // channel the same way each time (a channel it does not have) settles it
    // too.
    RepeatedReads answers[3];
    RepeatedReads refusal;
    auto settled = [&] {
        return refusal.confirmed() ||
               (answers[0].confirmed() && answers[1].confirmed() && answers[2].confirmed());
    };
    for (int recalls = 0; !settled() && recalls < 2 * kMostQueries && !CommError; ++recalls) {
        const bool recalled = RecallChannel(chan);
        const bool refused = !recalled && m_plsOutcome == PLSOutcome::BoardRefused;
        if (refused && (m_recallRefusal >> 32) == 1) {
            refusal.add(m_recallRefusal & 0xFF);
            continue;
        }
        // Answered, or its position rejected: the three answers as they came.
        const qint64 raw = recalled ? (qint64(m_channelRecallState & 0xFF) << 16) |
                                          (m_channelRecallPos & 0xFF) << 8 |
                                          ((m_channelRecallPos >> 8) & 0xFF)
                           : refused ? m_recallRefusal & 0xFFFFFF
                                     : -1;
        for (int k = 0; k < 3; ++k)
            answers[k].add(raw < 0 ? std::nullopt
                                   : std::optional<qint64>((raw >> (16 - 8 * k)) & 0xFF));
    }
    if (!settled()) {
        m_plsOutcome = PLSOutcome::NoAnswer;
        m_plsFault = QStringLiteral("channel %1: the answers were garbled and the channel could "
                                    "not be read back")
                         .arg(chan);
        return false;
    }
    const bool asked = !refusal.confirmed() && *answers[0].confirmed() == 1 &&
                       *answers[1].confirmed() == (on & 0xFF) &&
                       *answers[2].confirmed() == (on >> 8);
    m_plsOutcome = asked ? PLSOutcome::Done : PLSOutcome::BoardRefused;
    return asked;
}

bool RSComm::plsReadyPoll()
{
    qint64 deadline = m_clock.nowMs() + kFirstReadyMs;
    int strange = 0;
    for (;;) {
        if (m_clock.nowMs() > deadline) {
            const PromptAnswer answer =
                m_prompt.ask(QStringLiteral("WARNING - Communication Error!"),
                             QStringLiteral("Cannot Determine PLS READY Mode Within Target Board."),
                             PromptIcon::Critical, PromptButtons::RetryCancel);
            if (answer != PromptAnswer::Retry) {
                CommError = true;
                m_plsOutcome = PLSOutcome::NotReady;
                return false;
            }
            deadline = m_clock.nowMs() + kRetryReadyMs;
        }
        int reply = ExchangeByte(kReadyPoll, ReplyWait::Await, InputFlush::Keep);
        if (CommError)
            return false;
        if (reply != Acknowledge) {
            // A board out of the exchange echoes the poll: no use asking on.
            if (++strange == 3)
                return false;
            continue;
        }
        strange = 0;
        reply = ExchangeByte(Acknowledge, ReplyWait::Await, InputFlush::Keep);
        if (CommError)
            return false;
        if (reply == 0) {
            // The board closes the exchange with one more byte; its answer means nothing.
            ExchangeByte(Acknowledge, ReplyWait::Await, InputFlush::Keep);
            return !CommError;
        }
        // 0x55 busy, anything else not ready yet: ask again.
    }
}

bool RSComm::SingleSetpoint(qint16 chan, qint16 onSetpoint, qint16 offSetpoint,
                            ChannelClear clearChan)
{
    m_plsOutcome = PLSOutcome::Done;
    m_plsFault.clear();
    if (CommError) {
        m_plsOutcome = PLSOutcome::NoAnswer;
        return false;
    }
    int scale = Query(kScaleFactorQuery);
    if (plsReadFailed(scale, kScaleFactorQuery))
        return false;
    for (const qint16 setpoint : {onSetpoint, offSetpoint}) {
        if (setpoint > scale - 1 && !plsConfirmBeforeRefusing(scale, kScaleFactorQuery))
            return false;
        if (setpoint > scale - 1)
            return plsRefuse(
                QStringLiteral("PLS Single Setpoint"),
                QStringLiteral("Setpoint setting %1 is greater than scale factor.").arg(setpoint) +
                    kTwoBreaks + QStringLiteral("Channel can not be programmed."),
                PromptIcon::Exclamation);
    }
    if (clearChan == ChannelClear::ClearFirst &&
        (!programPLS(kChannelMode, kSetpointCode, channelRecord(chan, 0, 0, 0)) || CommError))
        return false;
    return programPLS(kChannelMode, kSetpointCode, channelRecord(chan, onSetpoint, offSetpoint, 1));
}

bool RSComm::PulseTrain(qint16 chan, qint16 onDivision, qint16 offDivision, qint16 startDivision)
{
    m_plsOutcome = PLSOutcome::Done;
    m_plsFault.clear();
    int scale = Query(kScaleFactorQuery);
    if (plsReadFailed(scale, kScaleFactorQuery))
        return false;
    if (onDivision > 0 && offDivision > 0 &&
        (scale % (onDivision + offDivision) != 0 || startDivision > scale - 1) &&
        !plsConfirmBeforeRefusing(scale, kScaleFactorQuery))
        return false;
    const QString title = QStringLiteral("PLS Pulse Train");
    const QString notProgrammed =
        kTwoBreaks + QStringLiteral("PLS Channel will not be Programmed.");
    if (onDivision <= 0 || offDivision <= 0)
        return plsRefuse(title,
                         QStringLiteral("ON Division and OFF Division Must be Greater Than 0.") +
                             notProgrammed,
                         PromptIcon::Exclamation);
    if (scale % (onDivision + offDivision) != 0)
        return plsRefuse(title,
                         QStringLiteral("ON Division Plus OFF Division\r\nMust be a Multiple of "
                                        "%1.")
                                 .arg(scale) +
                             notProgrammed,
                         PromptIcon::Exclamation);
    if (onDivision > 255 || offDivision > 255)
        return plsRefuse(title,
                         QStringLiteral("ON Division or OFF Division Must be Less Than 255.") +
                             notProgrammed,
                         PromptIcon::Exclamation);
    if (startDivision > scale - 1)
        return plsRefuse(
            title,
            QStringLiteral("Start Position Must Not Be Greater Than %1.").arg(scale - 1) +
                notProgrammed,
            PromptIcon::Exclamation);

    const int packed = offDivision * 256 + onDivision;
    if (!programPLS(kChannelMode, kPulseTrainCode, channelRecord(chan, startDivision, packed, 0))) {
        m_prompt.ask(title,
                     QStringLiteral("Error Encountered while Programming Pulse Train.") +
                         notProgrammed,
                     PromptIcon::Information, PromptButtons::Ok);
        return false;
    }
    return !CommError;
}

bool RSComm::ClearPLSChan(qint16 chan)
{
    m_plsOutcome = PLSOutcome::Done;
    m_plsFault.clear();
    return programPLS(kChannelMode, kSetpointCode, channelRecord(chan, 0, 0, 0));
}

bool RSComm::RecallChannel(qint16 chan)
{
    m_plsOutcome = PLSOutcome::Done;
    m_plsFault.clear();
    auto fail = [this](qint16 state, PLSOutcome outcome) {
        m_channelRecallPos = 0;
        m_channelRecallState = state;
        m_plsOutcome = outcome;
        m_currentMode = 0;
        return false;
    };
    if (refusedWhileBusy("channel recall"))
        return fail(2, PLSOutcome::NoAnswer);
    m_currentMode = 0;
    if (!SetPLCMode(kRecallMode, kRecallCode) || CommError)
        return fail(2, PLSOutcome::NoAnswer);
    const int reply = ExchangeByte(quint8(chan & 0xFF), ReplyWait::Await, InputFlush::Keep);
    if (CommError)
        return fail(2, PLSOutcome::NoAnswer);
    m_recallRefusal = (qint64(1) << 32) | reply;
    if (reply != Acknowledge)
        return fail(2, PLSOutcome::BoardRefused);
    int answers[3] = {0, 0, 0};
    for (int &answer : answers)
        answer = ExchangeByte(Acknowledge, ReplyWait::Await, InputFlush::Keep);
    if (CommError)
        return fail(0, PLSOutcome::NoAnswer);
    m_recallRefusal = (qint64(2) << 32) | (answers[0] << 16) | (answers[1] << 8) | answers[2];
    if (answers[2] > kHighestRecallHighByte)
        return fail(2, PLSOutcome::BoardRefused);
    m_channelRecallState = qint16(answers[0]);
    m_channelRecallPos = qint16(answers[2] * 256 + answers[1]);
    m_currentMode = 0;
    return true;
}

bool RSComm::SetPLSOffset(qint16 position)
{
    m_plsOutcome = PLSOutcome::Done;
    int values[3] = {0, 0, 0};
    const quint8 codes[3] = {kOffsetQuery, kPositionQuery, kScaleFactorQuery};
    m_plsFault.clear();
    for (int i = 0; i < 3; ++i) {
        values[i] = Query(codes[i]);
        if (plsReadFailed(values[i], codes[i]))
            return false;
    }
    const int offset = values[0];
    const int current = values[1];
    int scale = values[2];
    if ((position > scale || scale <= 0) && !plsConfirmBeforeRefusing(scale, kScaleFactorQuery))
        return false;
    if (position > scale)
        return plsRefuse(QStringLiteral("Set PLS Offset"),
                         QStringLiteral("Desired Position cannot be greater than Scale Factor of "
                                        "%1.")
                                 .arg(scale) +
                             kTwoBreaks + QStringLiteral("PLS Offset will not be Programmed."),
                         PromptIcon::Exclamation);
    if (scale <= 0) {
        // A board without a scale has no position to offset.
        m_plsOutcome = PLSOutcome::BoardRefused;
        return false;
    }
    const int newOffset = (((offset + current) % scale) + scale - position) % scale;
    return programPLS(kWordMode, kOffsetWord, wordBytes(newOffset));
}

bool RSComm::PLSConfigDownload(const QList<qint16> &cfgParam, qint16 scaleFactor)
{
    m_plsOutcome = PLSOutcome::Done;
    m_plsFault.clear();
    // One byte a value: anything else would arrive on the board as another number.
    const QString title = QStringLiteral("ENTRY ALERT");
    if (cfgParam.size() != PLSConfigDownloadCount)
        return plsRefuse(title,
                         QStringLiteral("PLS Configuration needs %1 values, not %2.")
                             .arg(PLSConfigDownloadCount)
                             .arg(cfgParam.size()),
                         PromptIcon::Exclamation);
    for (qsizetype i = 0; i < cfgParam.size(); ++i) {
        if (cfgParam[i] < 0 || cfgParam[i] > 255)
            return plsRefuse(title,
                             QStringLiteral("PLS Configuration value %1 is %2: Entry out of Range "
                                            "(0-255).")
                                 .arg(i + 1)
                                 .arg(cfgParam[i]),
                             PromptIcon::Exclamation);
    }
    if (scaleFactor <= 0)
        return plsRefuse(
            title,
            QStringLiteral("PLS Scale Factor %1: Entry out of Range (1-32767).").arg(scaleFactor),
            PromptIcon::Exclamation);

    for (int block = 0; block < 4; ++block) {
        QByteArray bytes;
        for (int i = 0; i < 6; ++i)
            bytes.append(char(cfgParam[block * 6 + i]));
        if (!programPLS(kConfigBlockMode, kConfigBlockCodes[block], bytes))
            return false;
    }
    return programPLS(kWordMode, kScaleFactorWord, wordBytes(scaleFactor));
}

QList<qint16> RSComm::PLSConfigUpload(bool *ok)
{
    m_plsOutcome = PLSOutcome::Done;
    m_plsFault.clear();
    QList<qint16> values(PLSConfigUploadCount, 0);
    if (refusedWhileBusy("limit-switch configuration upload")) {
        m_plsOutcome = PLSOutcome::NoAnswer;
        if (ok)
            *ok = false;
        return values;
    }
    m_currentMode = 0;
    bool done = false;
    if (SetPLCMode(kConfigReadMode, kConfigReadCode) && !CommError) {
        done = true;
        for (qint16 &value : values) {
            const int reply = ExchangeByte(Acknowledge, ReplyWait::Await, InputFlush::Keep);
            if (reply == NoReply || CommError) {
                done = false;
                break;
            }
            value = qint16(reply);
        }
    }
    m_currentMode = 0;
    if (!done) {
        m_plsOutcome = PLSOutcome::NoAnswer;
        m_prompt.ask(QStringLiteral("PLS Upload"),
                     QStringLiteral("Not able to Upload Configuration from PLS."),
                     PromptIcon::Exclamation, PromptButtons::Ok);
    }
    if (ok)
        *ok = done;
    return values;
}
