#pragma once

#include "linkguard.h"
#include "registerlink.h"
#include "serialport.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

#include <functional>
#include <utility>
#include <optional>

class BoardPlace;
class Clock;
class OperatorPrompt;
enum class PromptIcon;

// Decoded form of a register address string.
struct DecodedAddress {
    qint32 ByteAddress = 0;
    QString ValueType = QStringLiteral("B"); // "B", "W" or "D"
    quint16 BitMask = 0;
    bool IsBitAddress = false;

    int byteCount() const { return ValueType == u"D" ? 4 : ValueType == u"W" ? 2 : 1; }
    bool operator==(const DecodedAddress &) const = default;
};

// Outcome of the checks on an operator value before it may be written.
enum class ValueCheck {
    Accepted,
    NotNumeric,
    NotZeroOrOne,
    OutOfRangeByte,
    OutOfRangeWord,
    OutOfRangeDouble
};
QString valueCheckMessage(ValueCheck check);

// Told of every register value read and every write tried through the
// link's register calls (the history's audit keeps the last known values).
class RegisterObserver
{
public:
    virtual ~RegisterObserver() = default;
    virtual void valueRead(const QString &add, const QString &value) = 0;
    virtual void valueWritten(const QString &add, const QString &value, bool done) = 0;
};

// The communications object: the one owner of the link to the target board.
// Every register exchange of the program goes through one instance.
class RSComm final : public RegisterLink
{
public:
    // ExchangeByte's result when no reply came.
    static constexpr int NoReply = 9999;
    // The byte that asks for the board's attention, and its answer.
    static constexpr int Attention = 0xFF;
    static constexpr int Acknowledge = 0x55;
    enum class ReplyWait { Await, NoReply };
    enum class InputFlush { Keep, FlushFirst };

    // programDir is the folder of the executable: Support/RSPort.cfg lives there.
    RSComm(Clock &clock, OperatorPrompt &prompt, const QString &programDir);
    ~RSComm() override;

    // Public flags, read and written by the rest of the system.
    bool OnlineMode = false;
    bool CommError = false;
    bool CommErrorAlert = false;
    qint16 TargetboardType = 0;

    // An exchange or transfer is waiting on the operator or yielding: the
    // caller that sees this waits or skips. The link's own entry points
    // refuse such a caller without touching the port.
    bool linkBusy() const { return m_guard.busy(); }
    // Held by a transfer across its yields.
    [[nodiscard]] LinkGuard::Hold holdLink() { return m_guard.hold(); }

    // Not owned; nullptr for none.
    void setRegisterObserver(RegisterObserver *observer) { m_observer = observer; }

    void OpenRSComm(SerialPort &commObj);
    void CloseRSComm();
    QString RSRead(const QString &add) override;
    void RSWrite(const QString &add, const QString &dataValue) override;
    bool commErrorSet() const override { return CommError; }
    bool lastTransactionFailed() const override { return m_transactionFailed; }

    // A register byte a faulty write may have changed although nobody asked
    // for it (see BoardPlace): what it holds now, or -1 when that is unknown.
    struct StrayWrite {
        int byteAddress = 0;
        int value = -1;
        QString whileWriting; // the register that was being written
        bool operator==(const StrayWrite &) const = default;
    };
    // Kept until the caller takes them; byteAddress -1 stands for a board
    // left in a mode the link could not follow.
    const QList<StrayWrite> &strayWrites() const { return m_strayWrites; }
    QList<StrayWrite> takeStrayWrites() { return std::exchange(m_strayWrites, {}); }
    // "B1349 (now 3) while writing W1092", one a line.
    static QStringList strayWriteTexts(const QList<StrayWrite> &strays);
    QString lastWriteReadBack() const override { return m_lastWriteReadBack; }
    // Where the settings are read from, and where they are saved: beside the
    // program, or in the user's folder when the program's is read-only.
    QString CommSettingsFile() const;
    QString CommSettingsSaveFile() const;

    // Address notation.
    static QString EquateAdd(const QString &var, qint16 targetBoardIndex);
    static bool ValidAdd(const QString &var, qint16 targetBoardIndex);
    // Both return false on a signed 16-bit overflow and leave result unchanged.
    static bool Dec2Octal(int decNum, qint16 &result);
    static bool Octal2Dec(int octNum, qint16 &result);
    static DecodedAddress DecodeAddress(const QString &add);
    // Value assembly on read: bytes at ByteAddress upwards.
    static quint32 AssembleValue(const DecodedAddress &decoded, const QByteArray &bytes);
    // Value preparation on write. For a bit address the image is the bit
    // value (0 or 1); the byte actually written is formed from the board's byte.
    static ValueCheck PrepareValue(const QString &add, const QString &dataValue,
                                   DecodedAddress &decoded, quint32 &value);
    static QByteArray ByteImage(const DecodedAddress &decoded, quint32 value);

    // Board identity and fault texts.
    static QString TargetboardName(qint16 boardType);
    static QString LCFBoardIndex(qint16 boardType);
    qint16 FirmwareRev();
    qint16 FaultCode();
    // "Fault Code (5CH): " and the text Support/FaultErrCodes.txt gives the code.
    QString FaultDescription(int fltCode);

    // Limit-switch queries: the word as plain number text (" 291"), "-9999" on failure.
    QString PLSScaleFactor() { return queryText(0x18); }
    QString PLSOffset() { return queryText(0x28); }
    QString PLSPos() { return queryText(0x48); }
    QString PLSRpm() { return queryText(0x58); }
    static constexpr int QueryFailed = -9999;
    int Query(quint8 code);
    // The word of a query that the board gave the same way twice (three
    // times once it was seen to differ), firstRead counted as one of them;
    // QueryFailed when it never did.
    int ConfirmedQuery(quint8 code, std::optional<int> firstRead = std::nullopt);

    // Limit-switch channel programming (rscommpls.cpp). All return true on success.
    enum class ChannelClear { Keep, ClearFirst };
    // Why the last limit-switch operation ended as it did.
    enum class PLSOutcome { Done, ValueRefused, NoAnswer, BoardRefused, NotReady };
    static constexpr int PLSConfigDownloadCount = 24;
    static constexpr int PLSConfigUploadCount = 19;
    qint16 ChannelRecallPos() const { return m_channelRecallPos; }
    qint16 ChannelRecallState() const { return m_channelRecallState; }
    bool SingleSetpoint(qint16 chan, qint16 onSetpoint, qint16 offSetpoint,
                        ChannelClear clearChan = ChannelClear::Keep);
    bool PulseTrain(qint16 chan, qint16 onDivision, qint16 offDivision, qint16 startDivision);
    bool ClearPLSChan(qint16 chan);
    bool RecallChannel(qint16 chan);
    bool SetPLSOffset(qint16 position);
    bool PLSConfigDownload(const QList<qint16> &cfgParam, qint16 scaleFactor);
    // The 19 values; zeros from where the read stopped. *ok tells whether it completed.
    QList<qint16> PLSConfigUpload(bool *ok = nullptr);
    PLSOutcome plsOutcome() const { return m_plsOutcome; }
    // What the link did wrong in the last limit-switch operation; empty when
    // nothing or the operator's value was the matter.
    QString plsFault() const { return m_plsFault; }

    // Controller program download. DownloadFile selects a project (.pdx with
    // its .rev, .hex and for some boards .lcf) and checks it; DumpProgram
    // sends it once, asking first.
    void DownloadFile(const QString &pdxFileName);
    bool ValidProgram() const { return m_program.valid; }
    void DumpProgram();
    bool InProgramMode() const { return m_program.inProgramMode; }
    bool WritingIdent() const { return m_program.writingIdent; }
    // "4000H" while records go out, " " before the first.
    QString CurrentProgramAdd() const { return m_program.currentAdd; }

    // Program read-back into the selected project's file set.
    void UploadFile(const QString &pdxFileName);
    bool InUploadMode() const { return m_program.inUploadMode; }
    void setInUploadMode(bool on) { m_program.inUploadMode = on; }
    bool ReadingIdent() const { return m_program.readingIdent; }
    void UploadProgram();

    // What stopped the last program transfer ("reading 4A30H: ..."); empty
    // when it ended well or was declined.
    QString programTransferFault() const { return m_program.fault; }
    // Register reads the last upload took, verification included.
    int programBytesRead() const { return m_program.bytesRead; }

    // Progress of the record stream of either direction.
    int programRecordsDone() const { return m_program.recordsDone; }
    int programRecordCount() const { return m_program.recordCount; }
    // Run between records (the progress window's timer and repaint, a
    // console progress line); pending events run when none is set.
    void setProgramYield(std::function<void()> yield) { m_programYield = std::move(yield); }

    // The selected project.
    qint16 ProjectBoardType() const { return m_program.boardType; }
    QString ProjectBoardName() const { return m_program.boardName; }
    QString ProgramIdent() const { return m_program.ident; }
    QString ProgramChecksum() const { return m_program.checksum; }
    QString ProgramRevision() const { return m_program.revision; }
    QString projectPath() const { return m_program.pdxPath; }
    QString revisionPath() const { return m_program.revPath; }
    QString imagePath() const { return m_program.hexPath; }
    QString configurationPath() const { return m_program.lcfPath; }

    // Revision files write hexadecimal digits A..F as ":" .. "?". Both
    // conversions also leave their result in the argument.
    static QString MarkHex2HEX(QString &markHex);
    static QString HEX2MarkHEX(QString &hexCode);
    // " 205" for "<=": the value as plain number text.
    static QString MarkHexToNumber(const QString &text);
    static qint32 HexToNumber(const QString &text);

    // Link-level operations, shared by the program transfer and limit-switch parts.
    bool InitializeRSComm(SerialPort &commObj);
    int ExchangeByte(int value, ReplyWait wait, InputFlush flush);
    bool SetPLCMode(qint16 mode, quint8 modeByte);
    QString ReadRegister(const QString &add);
    void WriteRegister(const QString &add, const QString &dataValue);

    qint16 currentMode() const { return m_currentMode; }
    void setCurrentMode(qint16 mode) { m_currentMode = mode; }
    bool writeFailed() const { return m_writeFailed; }
    bool setupFailed() const { return m_setupFailed; }
    // Why the settings could not be used, as the operator was told.
    QString setupFailure() const { return m_setupFailure; }
    SerialPort *port() const { return m_commObj; }
    Clock &clock() const { return m_clock; }
    OperatorPrompt &prompt() { return m_prompt; }

private:
    QString queryText(quint8 code);
    bool programPLS(qint16 mode, quint8 modeByte, const QByteArray &bytes);
    bool plsReadyPoll();
    // The mode handshake's 2-second limit: past it the operator is asked;
    // Cancel drops the link (false), Retry grants 2 seconds more.
    bool modeDeadlineKept(qint64 &deadline);
    bool plsHandshake(qint16 mode, quint8 modeByte, const QByteArray &bytes, qsizetype &next);
    bool plsSettleDoubt(const QByteArray &bytes);
    bool plsRefuse(const QString &title, const QString &text, PromptIcon icon);
    bool plsReadFailed(int value, quint8 code);
    bool plsConfirmBeforeRefusing(int &value, quint8 code);
    bool checkValue(const QString &add, const QString &dataValue, DecodedAddress &decoded,
                    quint32 &value);

    // Program transfer steps (the link is held by the caller).
    bool LoadProgramIdent(const QString &path);
    bool LoadProgramConfig(const QString &path);
    void deriveProgramPaths(const QString &pdxFileName);
    bool readProjectBoardType(qint16 &code);
    void programYield();
    // RSRead and RSWrite without the check for a held link, for the
    // exchange that holds it.
    QString readValue(const QString &add);
    void writeValue(const QString &add, const QString &dataValue);
    QString readByteAt(int address) { return readValue(QStringLiteral("B%1").arg(address)); }
    // A value read until two reads in a row agree; empty when they never do.
    QString confirmedRead(const QString &add);
    // After a fault inside a write triplet: ends any triplet the board may be
    // inside and remembers what that may have written.
    void closeTriplet(BoardPlace &place, int intendedAddress, quint8 intendedData);
    // Reads back what a faulty write may have touched; true when the
    // register holds the value meant.
    bool verifyWrite(const QString &add, const DecodedAddress &decoded, quint32 value);
    void dumpProgramSteps();
    void uploadProgramSteps();
    bool readConfirmedBlock(int address, int count, QByteArray &out);
    // Runs the steps of a public procedure. A file failure among them is
    // shown in a box with the procedure's title and ends it; false then.
    bool runShowingFailure(const QString &title, const std::function<void()> &steps);

    struct ProgramState {
        QString pdxPath, revPath, hexPath, lcfPath;
        qint16 boardType = 0;
        QString boardName;
        QString ident = QStringLiteral("Unknown");
        QString checksum = QStringLiteral("Unknown");
        QString revision = QStringLiteral("Unknown");
        qint16 config8190 = 3;
        qint16 config8189 = 0;
        qint16 config8188 = 3;
        bool valid = false;
        bool inProgramMode = false;
        bool writingIdent = false;
        bool inUploadMode = false;
        bool readingIdent = false;
        QString currentAdd = QStringLiteral(" ");
        int recordsDone = 0;
        int recordCount = 0;
        QString fault;
        int bytesRead = 0;
    };

    // Refuses a caller that came in while the link is held.
    bool refusedWhileBusy(const char *what) const;

    Clock &m_clock;
    LinkGuard m_guard;
    HoldingPrompt m_prompt;
    QString m_programDir;
    SerialPort *m_commObj = nullptr;
    qint16 m_currentMode = 0;
    bool m_writeFailed = false;
    bool m_writeDone = false; // every byte of the last WriteRegister echoed
    // Since the start of the current RSWrite: a fault inside a triplet.
    bool m_writeTroubled = false;
    bool m_boardPlaceLost = false;
    QList<QPair<int, quint8>> m_possibleWrites; // byte address, data
    // The last value each byte was read as or written with since the link
    // opened: a byte a faulty write may have reached that still holds it
    // is unchanged.
    QHash<int, quint8> m_knownBytes;
    QList<StrayWrite> m_strayWrites;
    QString m_lastWriteReadBack;
    // The bytes of the last ExchangeByte as they went: sent, and the reply
    // or -1 when none came in time (a resynchronising 0xFF counts).
    struct WireByte {
        quint8 sent = 0;
        int reply = -1;
    };
    QList<WireByte> m_lastExchange;
    bool m_transactionFailed = false;
    bool m_setupFailed = false;
    QString m_setupFailure;
    QString m_lastReadAddress;
    DecodedAddress m_decoded;
    qint16 m_channelRecallPos = 0;
    qint16 m_channelRecallState = 0;
    PLSOutcome m_plsOutcome = PLSOutcome::Done;
    QString m_plsFault;
    qint64 m_recallRefusal = 0; // the answers of the last refused recall

    ProgramState m_program;
    std::function<void()> m_programYield;
    RegisterObserver *m_observer = nullptr;
};
