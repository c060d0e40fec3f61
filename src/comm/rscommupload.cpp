// Program read-back: the board's program memory and identity into the
// selected project's revision, configuration and image files.
#include "rscomm.h"

#include "commlog.h"
#include "operatorprompt.h"
#include "programfiles.h"
#include "repeatedreads.h"

#include <QFileInfo>

namespace
{

constexpr int kIdentAddress = 61424;
// Reads of one byte before it is given up as unconfirmable: enough for three
// agreeing reads when one in three exchanges is corrupted.
constexpr int kMostReadsOfOneByte = 16;
const QString kUploadTitle = QStringLiteral("Program Upload");

struct MemoryRange {
    int start;
    int bytes;
};

MemoryRange programMemory(int code)
{
    switch (code) {
    case 50:
        return {0x5000, 0xB000};
    case 51:
    case 54:
    case 58:
    case 59:
    case 60:
    case 61:
    case 65:
    case 66:
        return {0x2000, 0x6000};
    case 52:
    case 53:
    case 56:
        return {0x2000, 0x2000};
    case 68:
        return {0x4000, 0x8000};
    default:
        return {0, 0};
    }
}

QString hexByte(int value)
{
    return QStringLiteral("%1").arg(value & 0xFF, 2, 16, QLatin1Char('0')).toUpper();
}

QString addressText(int address)
{
    return QStringLiteral("%1H").arg(address, 4, 16, QLatin1Char('0')).toUpper();
}

} // namespace

void RSComm::UploadFile(const QString &pdxFileName)
{
    runShowingFailure(QStringLiteral("RSComm UploadFile"), [&] {
        if (!QFileInfo(pdxFileName).isFile())
            return;
        deriveProgramPaths(pdxFileName);
        qint16 code = 0;
        if (readProjectBoardType(code)) {
            m_program.boardType = code;
            m_program.boardName = TargetboardName(code);
        }
    });
}

void RSComm::UploadProgram()
{
    const LinkGuard::Hold hold = holdLink();
    runShowingFailure(QStringLiteral("RSComm-Upload Program"), [this] { uploadProgramSteps(); });
    m_program.readingIdent = false;
    m_program.inUploadMode = false;
}

// A read's data byte comes back without an echo: line noise on it looks like
// data. So every byte of a block is read in two passes and must agree with
// itself (repeatedreads.h); what disagrees is read again, and a byte that
// stays in doubt fails the upload rather than reach a file.
bool RSComm::readConfirmedBlock(int address, int count, QByteArray &out)
{
    QList<RepeatedReads> reads(count);
    auto readOnce = [&](int i) {
        const QString text = readByteAt(address + i);
        ++m_program.bytesRead;
        if (CommError)
            return false;
        reads[i].add(m_transactionFailed ? std::nullopt : std::optional<qint64>(text.toLongLong()));
        return true;
    };
    auto linkLost = [&](int i) {
        m_program.fault =
            QStringLiteral("reading %1: the link failed").arg(addressText(address + i));
        return false;
    };
    // A byte at FF00H and above cannot be addressed: its high byte is taken
    // as attention and the read always fails. It is read once, as the
    // protocol has it, and kept as the 0 that read gives.
    const auto unaddressable = [address](int i) { return (address + i) >= 0xFF00; };
    for (int pass = 0; pass < 2; ++pass)
        for (int i = 0; i < count; ++i)
            if ((pass == 0 || !unaddressable(i)) && !readOnce(i))
                return linkLost(i);
    bool noisy = false;
    for (int i = 0; i < count; ++i)
        noisy = noisy || (!unaddressable(i) && reads[i].noisy());
    out.clear();
    for (int i = 0; i < count; ++i) {
        if (unaddressable(i)) {
            out.append('\0');
            continue;
        }
        if (noisy)
            reads[i].markNoisy();
        while (!reads[i].confirmed()) {
            if (reads[i].reads() >= kMostReadsOfOneByte) {
                m_program.fault = QStringLiteral("reading %1: %2 reads did not agree")
                                      .arg(addressText(address + i))
                                      .arg(reads[i].reads());
                return false;
            }
            if (!readOnce(i))
                return linkLost(i);
        }
        out.append(char(*reads[i].confirmed()));
    }
    return true;
}

void RSComm::uploadProgramSteps()
{
    ProgramState &p = m_program;
    p.readingIdent = false;
    if (!p.inUploadMode)
        return;
    p.recordsDone = 0;
    p.recordCount = 0;
    p.bytesRead = 0;
    p.fault.clear();
    if (!OnlineMode) {
        m_prompt.ask(kUploadTitle,
                     QStringLiteral("Program is Currently OFFLINE.\r\n\r\n"
                                    "Switch to ONLINE MODE to Continue."),
                     PromptIcon::Information, PromptButtons::Ok);
        return;
    }
    auto notComplete = [this] {
        qCWarning(lcComm) << "program upload failed:" << m_program.fault;
        m_prompt.ask(kUploadTitle,
                     QStringLiteral("Program Upload Not Complete!\r\n\r\nHEX file not created."),
                     PromptIcon::Critical, PromptButtons::Ok);
        OnlineMode = false;
    };

    // Every ident byte is kept, NUL and control characters too.
    p.readingIdent = true;
    QByteArray identBytes;
    if (!readConfirmedBlock(kIdentAddress, 10, identBytes)) {
        if (!CommError) // a lost link has shown its own message
            notComplete();
        return;
    }
    p.readingIdent = false;
    QByteArray revision = identBytes.left(8);
    for (int i = 8; i < 10; ++i) {
        QString digits = hexByte(quint8(identBytes.at(i)));
        revision.append(HEX2MarkHEX(digits).toLatin1());
    }
    revision.append("\r\n");

    // Nothing reaches the files unless every one of them is complete.
    ProgramFiles::FileSetWriter files;
    files.add(p.revPath, revision);

    const QString field = ProgramFiles::projectFirstField(p.pdxPath);
    if (field.isEmpty())
        return;
    p.boardType = qint16(field.at(0).unicode());

    if (p.boardType >= 56 && p.boardType <= 65) {
        QByteArray config; // 8188, 8189, 8190
        if (!readConfirmedBlock(8188, 3, config)) {
            notComplete();
            return;
        }
        const int r8188 = quint8(config.at(0));
        const int r8190 = quint8(config.at(2));
        p.config8190 = qint16(r8190 == 3 ? 1 : r8190 == 5 ? 2 : 3);
        p.config8189 = qint16(quint8(config.at(1)));
        p.config8188 = qint16(r8188 == 5 ? 1 : r8188 == 10 ? 2 : 3);
        const QString line = LCFBoardIndex(p.boardType) + QString(34, QLatin1Char('0')) +
                             QString::number(p.config8190) + QStringLiteral("00") +
                             QString::number(p.config8189) + QString::number(p.config8188) +
                             QStringLiteral("000%\r\n");
        files.add(p.lcfPath, line.toLatin1());
    }

    const MemoryRange range = programMemory(p.boardType);
    p.currentAdd = QStringLiteral(" ");
    p.recordCount = range.bytes / 16;
    QByteArray image;
    for (int offset = 0; offset < range.bytes; offset += 16) {
        const int address = range.start + offset;
        p.currentAdd = addressText(address);
        programYield();
        QByteArray data;
        if (!readConfirmedBlock(address, 16, data)) {
            notComplete();
            return;
        }
        QString record =
            QStringLiteral(":10") + hexByte(address >> 8) + hexByte(address) + QStringLiteral("00");
        int sum = 0x10 + (address >> 8) + (address & 0xFF);
        for (const char byte : std::as_const(data)) {
            record += hexByte(quint8(byte));
            sum += quint8(byte);
        }
        record += hexByte(-sum);
        image.append(record.toLatin1() + "\r\n");
        ++p.recordsDone;
    }
    image.append(":00000001FF\r\n");
    files.add(p.hexPath, image);
    files.commit();

    m_prompt.ask(kUploadTitle, QStringLiteral("Program Upload Complete!"), PromptIcon::Information,
                 PromptButtons::Ok);
    OnlineMode = true;
}
