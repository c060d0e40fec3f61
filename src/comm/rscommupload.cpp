// Program read-back: the board's program memory and identity into the
// selected project's revision, configuration and image files.
#include "rscomm.h"

#include "operatorprompt.h"
#include "programfiles.h"

#include <QFileInfo>

namespace
{

constexpr int kIdentAddress = 61424;
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

void RSComm::uploadProgramSteps()
{
    ProgramState &p = m_program;
    p.readingIdent = false;
    if (!p.inUploadMode)
        return;
    p.recordsDone = 0;
    p.recordCount = 0;
    if (!OnlineMode) {
        m_prompt.ask(kUploadTitle,
                     QStringLiteral("Program is Currently OFFLINE.\r\n\r\n"
                                    "Switch to ONLINE MODE to Continue."),
                     PromptIcon::Information, PromptButtons::Ok);
        return;
    }

    // Every ident byte is kept, NUL and control characters too.
    p.readingIdent = true;
    QByteArray revision;
    for (int i = 0; i < 10; ++i) {
        const int value = CommError ? 0 : readByteAt(kIdentAddress + i).toInt();
        if (CommError)
            return; // the link's own message has been shown
        if (i < 8) {
            revision.append(char(value));
        } else {
            QString digits = hexByte(value);
            revision.append(HEX2MarkHEX(digits).toLatin1());
        }
    }
    p.readingIdent = false;
    revision.append("\r\n");

    ProgramFiles::FileSetWriter files;
    files.add(p.revPath, revision);

    const QString field = ProgramFiles::projectFirstField(p.pdxPath);
    if (field.isEmpty())
        return;
    p.boardType = qint16(field.at(0).unicode());

    if (p.boardType >= 56 && p.boardType <= 65) {
        auto readConfig = [this](int address) {
            return CommError ? -1 : readByteAt(address).toInt();
        };
        const int r8190 = readConfig(8190);
        const int c8190 = r8190 == 3 ? 1 : r8190 == 5 ? 2 : 3;
        const int r8189 = readConfig(8189);
        const int c8189 = CommError ? 0 : r8189;
        const int r8188 = readConfig(8188);
        const int c8188 = r8188 == 5 ? 1 : r8188 == 10 ? 2 : 3;
        p.config8190 = qint16(c8190);
        p.config8189 = qint16(c8189);
        p.config8188 = qint16(c8188);
        const QString line = LCFBoardIndex(p.boardType) + QString(34, QLatin1Char('0')) +
                             QString::number(c8190) + QStringLiteral("00") +
                             QString::number(c8189) + QString::number(c8188) +
                             QStringLiteral("000%\r\n");
        files.add(p.lcfPath, line.toLatin1());
    }

    const MemoryRange range = programMemory(p.boardType);
    p.currentAdd = QStringLiteral(" ");
    p.recordCount = range.bytes / 16;
    QByteArray image;
    bool failed = false;
    for (int offset = 0; offset < range.bytes && !failed; offset += 16) {
        const int address = range.start + offset;
        p.currentAdd = QStringLiteral("%1H").arg(address, 4, 16, QLatin1Char('0')).toUpper();
        programYield();
        QString record =
            QStringLiteral(":10") + hexByte(address >> 8) + hexByte(address) + QStringLiteral("00");
        int sum = 0x10 + (address >> 8) + (address & 0xFF);
        for (int i = 0; i < 16; ++i) {
            const int value = CommError ? 0 : readByteAt(address + i).toInt();
            if (CommError) {
                failed = true;
                break;
            }
            record += hexByte(value);
            sum += value;
        }
        if (failed)
            break;
        record += hexByte(-sum);
        image.append(record.toLatin1() + "\r\n");
        ++p.recordsDone;
    }
    if (failed) {
        // Nothing of this read-back reaches the files.
        m_prompt.ask(kUploadTitle,
                     QStringLiteral("Program Upload Not Complete!\r\n\r\nHEX file not created."),
                     PromptIcon::Critical, PromptButtons::Ok);
        OnlineMode = false;
        return;
    }
    image.append(":00000001FF\r\n");
    files.add(p.hexPath, image);
    files.commit();

    m_prompt.ask(kUploadTitle, QStringLiteral("Program Upload Complete!"), PromptIcon::Information,
                 PromptButtons::Ok);
    OnlineMode = true;
}
