#include "rscomm.h"

#include "boardplace.h"

#include "clock.h"
#include "commlog.h"
#include "commsettings.h"
#include "numbertext.h"
#include "operatorprompt.h"
#include "recordfile.h"
#include "statefolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <optional>

Q_LOGGING_CATEGORY(lcComm, "kestro.comm", QtWarningMsg)
Q_LOGGING_CATEGORY(lcCommTrace, "kestro.comm.trace", QtWarningMsg)

namespace
{

constexpr qint64 kReplyTimeoutMs = 1000;
constexpr qint64 kResyncTimeoutMs = 2000;
constexpr qint64 kModeTimeoutMs = 2000;

const QString kLinkTitle = QStringLiteral("WARNING - Communication Error!");

} // namespace

RSComm::RSComm(Clock &clock, OperatorPrompt &prompt, const QString &programDir)
    : m_clock(clock), m_prompt(prompt, m_guard), m_programDir(programDir)
{
}

RSComm::~RSComm() = default;

QString RSComm::CommSettingsFile() const
{
    return StateFolder(m_programDir).settingsFile();
}

QString RSComm::CommSettingsSaveFile() const
{
    return StateFolder(m_programDir).settingsSaveFile();
}

bool RSComm::InitializeRSComm(SerialPort &commObj)
{
    const QString path = CommSettingsFile();
    for (;;) {
        CommSettings settings;
        CommSettings::Found found = CommSettings::Found::NoFile;
        std::optional<CommSettings::Failure> failure = CommSettings::read(path, settings, &found);
        // A missing or empty file is (re)written with the defaults.
        if (!failure && found != CommSettings::Found::Settings)
            failure = CommSettings::write(CommSettingsSaveFile(), CommSettings{},
                                          CommSettings::LineStyle::Compact);

        if (!failure) {
            if (commObj.isOpen())
                commObj.close();
            commObj.setPortNumber(settings.port);
            commObj.setBaudRate(settings.baud);
            m_commObj = &commObj;
            m_setupFailed = false;
            qCInfo(lcComm) << "port" << settings.port << "at" << settings.baud << "baud";
            return true;
        }

        const PromptAnswer answer = m_prompt.ask(QStringLiteral("RSComm InitializeRSComm"),
                                                 QStringLiteral("Error Number = %1\r\n\r\n%2")
                                                     .arg(failure->number)
                                                     .arg(failure->description),
                                                 PromptIcon::Critical, PromptButtons::RetryCancel);
        if (answer != PromptAnswer::Retry) {
            OnlineMode = false;
            m_setupFailed = true;
            m_setupFailure = QStringLiteral("%1: %2").arg(path, failure->description);
            return false;
        }
    }
}

bool RSComm::refusedWhileBusy(const char *what) const
{
    if (!m_guard.busy())
        return false;
    qCDebug(lcComm) << what << "refused: the link is held by another exchange";
    return true;
}

void RSComm::OpenRSComm(SerialPort &commObj)
{
    if (refusedWhileBusy("open"))
        return;
    if (!InitializeRSComm(commObj))
        return;
    if (!commObj.open()) {
        const SerialError error = commObj.lastError();
        m_prompt.ask(QStringLiteral("Comm Port Error"),
                     QStringLiteral("Error Number = %1\r\nError Source = %2\r\n\r\n%3")
                         .arg(static_cast<int>(error))
                         .arg(QStringLiteral("KESTRO"))
                         .arg(serialErrorText(error) + QStringLiteral(" (port ") +
                              QString::number(commObj.portNumber()) + QStringLiteral(": ") +
                              commObj.deviceName() + QLatin1Char(')') +
                              (commObj.holder().isEmpty()
                                   ? QString()
                                   : QStringLiteral(": ") + commObj.holder())),
                     PromptIcon::Critical, PromptButtons::Ok);
        return;
    }
    commObj.discardInput();
    m_currentMode = 0;
    m_lastReadAddress.clear();
    m_knownBytes.clear();
    CommError = false;
    ExchangeByte(Attention, ReplyWait::Await, InputFlush::Keep);
    OnlineMode = !CommError;
    qCInfo(lcComm) << "link opened on" << commObj.deviceName() << "online:" << OnlineMode;
}

void RSComm::CloseRSComm()
{
    if (refusedWhileBusy("close"))
        return;
    if (m_commObj && m_commObj->isOpen()) {
        if (!CommError)
            ExchangeByte(Attention, ReplyWait::Await, InputFlush::Keep);
        if (m_commObj->isOpen())
            m_commObj->close();
    }
    m_currentMode = 0;
    OnlineMode = false;
}

int RSComm::ExchangeByte(int value, ReplyWait wait, InputFlush flush)
{
    m_lastExchange.clear();
    if (CommError)
        return NoReply;
    SerialPort *port = m_commObj;
    if (port && flush == InputFlush::FlushFirst)
        port->discardInput();

    auto portGone = [this]() {
        m_currentMode = 0;
        CommError = true;
        return NoReply;
    };
    if (!port || !port->isOpen())
        return portGone();
    if (!port->sendByte(static_cast<quint8>(value))) {
        qCWarning(lcComm) << "send failed:" << serialErrorText(port->lastError());
        return portGone();
    }
    CommErrorAlert = false;
    m_lastExchange.append(WireByte{quint8(value), -1});
    if (wait == ReplyWait::NoReply) {
        qCDebug(lcCommTrace, "TX %02X", value);
        return 0;
    }

    qint64 deadline = m_clock.nowMs() + kReplyTimeoutMs;
    int timeouts = 0;
    for (;;) {
        if (port->waitForByte(deadline)) {
            const int reply = port->readByte();
            m_lastExchange.last().reply = reply;
            CommErrorAlert = false;
            qCDebug(lcCommTrace, "TX %02X RX %02X", value, reply);
            return reply;
        }
        if (!port->isOpen()) {
            // The device hung up: a failed exchange, never a wait for a dead port.
            qCWarning(lcComm) << "device hung up:" << port->deviceName();
            return portGone();
        }
        m_currentMode = 0;
        CommError = true;
        CommErrorAlert = true;
        deadline = m_clock.nowMs() + kResyncTimeoutMs;
        ++timeouts;
        qCDebug(lcCommTrace, "TX %02X RX time-out %d", value, timeouts);
        if (timeouts < 3) {
            CommError = false;
            port->discardInput();
            if (!port->sendByte(Attention))
                return portGone();
            m_lastExchange.append(WireByte{quint8(Attention), -1});
            continue;
        }
        const PromptAnswer answer =
            m_prompt.ask(kLinkTitle,
                         QStringLiteral("Cannot Communicate with Target Board.\r"
                                        "Verify RS-232 Cable is Connected Between\r"
                                        "COMM Port and PROG Port."),
                         PromptIcon::Critical, PromptButtons::RetryCancel);
        if (answer != PromptAnswer::Retry)
            return NoReply;
        timeouts = 0;
        CommError = false;
    }
}

bool RSComm::modeDeadlineKept(qint64 &deadline)
{
    if (m_clock.nowMs() <= deadline)
        return true;
    const PromptAnswer answer =
        m_prompt.ask(kLinkTitle, QStringLiteral("Cannot Set PLC Mode Within Target Board."),
                     PromptIcon::Critical, PromptButtons::RetryCancel);
    if (answer != PromptAnswer::Retry) {
        CommError = true;
        OnlineMode = false;
        CloseRSComm();
        return false;
    }
    deadline = m_clock.nowMs() + kModeTimeoutMs;
    return true;
}

bool RSComm::SetPLCMode(qint16 mode, quint8 modeByte)
{
    m_currentMode = 0;
    qint64 deadline = m_clock.nowMs() + kModeTimeoutMs;
    while (m_currentMode != mode) {
        if (!modeDeadlineKept(deadline))
            return false;
        int reply = ExchangeByte(Attention, ReplyWait::Await, InputFlush::FlushFirst);
        if (reply == NoReply)
            return false;
        if (reply != Acknowledge)
            continue;
        reply = ExchangeByte(modeByte, ReplyWait::Await, InputFlush::Keep);
        if (reply == Acknowledge)
            m_currentMode = mode;
        else if (reply == NoReply)
            return false;
        else
            m_currentMode = 0;
    }
    return true;
}

QString RSComm::ReadRegister(const QString &add)
{
    if (m_currentMode != 1) {
        if (!SetPLCMode(1, 1))
            return {};
        m_decoded = DecodeAddress(add);
    } else if (add != m_lastReadAddress) {
        m_decoded = DecodeAddress(add);
    }
    m_lastReadAddress = add;
    const DecodedAddress decoded = m_decoded;

    QByteArray bytes;
    bytes.reserve(decoded.byteCount());
    for (int i = 0; i < decoded.byteCount(); ++i) {
        const int address = decoded.ByteAddress + i;
        const int high = (address / 256) & 0xFF;
        const int low = address % 256;
        int reply = ExchangeByte(high, ReplyWait::Await, InputFlush::Keep);
        if (reply == NoReply)
            return {};
        if (reply != high) {
            m_currentMode = 0;
            return {};
        }
        reply = ExchangeByte(low, ReplyWait::Await, InputFlush::Keep);
        if (reply == NoReply)
            return {};
        bytes.append(char(reply));
        m_knownBytes.insert(address, quint8(reply));
    }
    return QString::number(AssembleValue(decoded, bytes));
}

bool RSComm::checkValue(const QString &add, const QString &dataValue, DecodedAddress &decoded,
                        quint32 &value)
{
    const ValueCheck check = PrepareValue(add, dataValue, decoded, value);
    if (check == ValueCheck::Accepted)
        return true;
    m_prompt.ask(QStringLiteral("ENTRY ALERT"),
                 QStringLiteral("Error:\r") + valueCheckMessage(check), PromptIcon::Critical,
                 PromptButtons::Ok);
    return false;
}

void RSComm::WriteRegister(const QString &add, const QString &dataValue)
{
    m_writeFailed = false;
    m_writeDone = false;
    DecodedAddress decoded;
    quint32 value = 0;
    if (!checkValue(add, dataValue, decoded, value))
        return;

    if (decoded.IsBitAddress) {
        // Only whole bytes travel on the wire: read the byte, change one bit.
        // A byte that could not be read is not written, or its other seven
        // bits would be guessed; RSWrite tries once more.
        const QString old = ReadRegister(QStringLiteral("B%1").arg(decoded.ByteAddress));
        if (old.isEmpty()) {
            m_writeFailed = !CommError;
            return;
        }
        const quint32 oldByte = static_cast<quint32>(leadingNumber(old)) & 0xFF;
        value = value ? (oldByte | decoded.BitMask) : (oldByte & ~quint32(decoded.BitMask));
        value &= 0xFF;
    }
    const QByteArray image = ByteImage(decoded, value);

    if (m_currentMode != 2 && !SetPLCMode(2, 2))
        return;

    for (int i = 0; i < image.size() && !m_writeFailed; ++i) {
        const int address = decoded.ByteAddress + i;
        const quint8 sequence[3] = {quint8((address / 256) & 0xFF), quint8(address % 256),
                                    static_cast<quint8>(image[i])};
        for (int p = 0; p < 3; ++p) {
            const int reply = ExchangeByte(sequence[p], ReplyWait::Await, InputFlush::Keep);
            if (reply == sequence[p] && m_lastExchange.size() == 1)
                continue;
            // A fault inside the triplet: from here on the board's place is
            // followed (BoardPlace) and nothing is left to chance.
            m_writeTroubled = true;
            BoardPlace place;
            for (int k = 0; k < p; ++k)
                place.sent(sequence[k], sequence[k]);
            for (const WireByte &b : std::as_const(m_lastExchange))
                place.sent(b.sent, b.reply < 0 ? std::nullopt : std::optional<quint8>(b.reply));
            if (reply != NoReply) {
                m_writeFailed = true;
                closeTriplet(place, address, sequence[2]);
            }
            for (const BoardPlace::Write &w : place.possibleWrites()) {
                if (!m_possibleWrites.contains(qMakePair(w.address, w.data)))
                    m_possibleWrites.append(qMakePair(w.address, w.data));
            }
            m_boardPlaceLost = m_boardPlaceLost || place.lost();
            if (reply == NoReply)
                return;
            break;
        }
    }
    if (m_writeFailed) {
        m_currentMode = 0;
        return;
    }
    m_writeDone = true;
    for (int i = 0; i < image.size(); ++i)
        m_knownBytes.insert(decoded.ByteAddress + i, quint8(image[i]));
}

void RSComm::closeTriplet(BoardPlace &place, int intendedAddress, quint8 intendedData)
{
    // Two bytes end any triplet; a fault while closing may need a few more.
    for (int n = 0; n < 8 && place.insideTriplet(); ++n) {
        const int reply = ExchangeByte(place.nextClosingByte(intendedAddress, intendedData),
                                       ReplyWait::Await, InputFlush::Keep);
        for (const WireByte &b : std::as_const(m_lastExchange))
            place.sent(b.sent, b.reply < 0 ? std::nullopt : std::optional<quint8>(b.reply));
        if (reply == NoReply)
            return;
    }
}

QString RSComm::confirmedRead(const QString &add)
{
    // A read's data byte has no echo: a value is believed once two reads
    // give it. Noise rarely says the same thing twice.
    QStringList seen;
    for (int i = 0; i < 5 && !CommError; ++i) {
        const QString text = ReadRegister(add);
        if (text.isEmpty())
            continue;
        if (seen.contains(text))
            return text;
        seen << text;
    }
    return {};
}

bool RSComm::verifyWrite(const QString &add, const DecodedAddress &decoded, quint32 value)
{
    const int first = decoded.ByteAddress;
    const int last = decoded.ByteAddress + decoded.byteCount() - 1;
    auto stray = [&](int byteAddress, int now) {
        for (StrayWrite &known : m_strayWrites) {
            if (known.byteAddress == byteAddress) {
                known.value = now;
                return;
            }
        }
        m_strayWrites.append(StrayWrite{byteAddress, now, add});
    };
    if (m_boardPlaceLost)
        stray(-1, -1);
    QList<int> checked;
    for (const auto &[address, data] : std::as_const(m_possibleWrites)) {
        if ((address >= first && address <= last) || checked.contains(address))
            continue;
        checked.append(address);
        const std::optional<quint8> before =
            m_knownBytes.contains(address) ? std::optional<quint8>(m_knownBytes.value(address))
                                           : std::nullopt;
        const QString now = confirmedRead(QStringLiteral("B%1").arg(address));
        if (now.isEmpty()) {
            stray(address, -1);
            continue;
        }
        const int held = now.toInt();
        if (before == held)
            continue; // holds what it held before
        for (const auto &[other, written] : std::as_const(m_possibleWrites)) {
            if (other == address && written == held) {
                stray(address, held);
                break;
            }
        }
    }

    const QString readBack = decoded.IsBitAddress
                                 ? confirmedRead(QStringLiteral("B%1").arg(decoded.ByteAddress))
                                 : confirmedRead(add);
    if (readBack.isEmpty())
        return false;
    const quint32 held = static_cast<quint32>(leadingNumber(readBack));
    m_lastWriteReadBack =
        decoded.IsBitAddress ? QString::number((held & decoded.BitMask) ? 1 : 0) : readBack;
    return decoded.IsBitAddress ? bool(held & decoded.BitMask) == bool(value) : held == value;
}

QStringList RSComm::strayWriteTexts(const QList<StrayWrite> &strays)
{
    QStringList texts;
    for (const StrayWrite &w : strays) {
        const QString what = w.byteAddress < 0 ? QStringLiteral("the board's mode")
                                               : QStringLiteral("B%1").arg(w.byteAddress);
        texts << QStringLiteral("%1 (%2) while writing %3")
                     .arg(what,
                          w.value < 0 ? QStringLiteral("value unknown")
                                      : QStringLiteral("now %1").arg(w.value),
                          w.whileWriting);
    }
    return texts;
}

QString RSComm::RSRead(const QString &add)
{
    if (refusedWhileBusy("read"))
        return QStringLiteral("0");
    return readValue(add);
}

QString RSComm::readValue(const QString &add)
{
    const QString text = ReadRegister(add);
    m_transactionFailed = text.isEmpty();
    const QString value = QString::number(static_cast<qint64>(leadingNumber(text)));
    if (m_observer && !m_transactionFailed)
        m_observer->valueRead(add, value);
    return value;
}

void RSComm::RSWrite(const QString &add, const QString &dataValue)
{
    if (refusedWhileBusy("write"))
        return;
    writeValue(add, dataValue);
}

void RSComm::writeValue(const QString &add, const QString &dataValue)
{
    m_writeTroubled = false;
    m_boardPlaceLost = false;
    m_possibleWrites.clear();
    m_lastWriteReadBack.clear();
    WriteRegister(add, dataValue);
    if (m_writeFailed) {
        qCInfo(lcComm) << "wrong echo writing" << add << "- writing once more";
        WriteRegister(add, dataValue);
    }
    bool written = m_writeDone;
    if (m_writeTroubled && !CommError) {
        DecodedAddress decoded;
        quint32 value = 0;
        PrepareValue(add, dataValue, decoded, value);
        const bool holds = verifyWrite(add, decoded, value);
        written = holds;
        qCInfo(lcComm) << "after a fault writing" << add << "it reads"
                       << (m_lastWriteReadBack.isEmpty() ? QStringLiteral("?")
                                                         : m_lastWriteReadBack);
    } else if (m_writeTroubled) {
        // The link is gone: nothing can be read back, every byte the write
        // may have reached is unknown.
        for (const auto &[address, data] : std::as_const(m_possibleWrites)) {
            Q_UNUSED(data);
            const DecodedAddress decoded = DecodeAddress(add);
            if (address >= decoded.ByteAddress &&
                address < decoded.ByteAddress + decoded.byteCount())
                continue;
            if (std::none_of(m_strayWrites.cbegin(), m_strayWrites.cend(),
                             [&](const StrayWrite &w) { return w.byteAddress == address; }))
                m_strayWrites.append(StrayWrite{address, -1, add});
        }
        if (m_boardPlaceLost)
            m_strayWrites.append(StrayWrite{-1, -1, add});
    }
    m_transactionFailed = !written;
    if (m_observer)
        m_observer->valueWritten(add, dataValue, written);
}

int RSComm::Query(quint8 code)
{
    if (refusedWhileBusy("query"))
        return QueryFailed;
    m_currentMode = 0;
    int result = QueryFailed;
    if (SetPLCMode(4, code) && !CommError) {
        const int low = ExchangeByte(Acknowledge, ReplyWait::Await, InputFlush::Keep);
        const int high = low == NoReply
                             ? NoReply
                             : ExchangeByte(Acknowledge, ReplyWait::Await, InputFlush::Keep);
        if (low != NoReply && high != NoReply)
            result = high * 256 + low;
    }
    // The board leaves query mode after the two bytes.
    m_currentMode = 0;
    return result;
}

QString RSComm::queryText(quint8 code)
{
    return plainNumberText(Query(code));
}
