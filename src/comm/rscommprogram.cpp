// Controller program download: the project's file set, the record stream
// with its per-record sum, and the program identity written afterwards.
#include "rscomm.h"

#include "clock.h"
#include "commlog.h"
#include "hexrecord.h"
#include "numbertext.h"
#include "operatorprompt.h"
#include "programfiles.h"
#include "recordfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

namespace
{

constexpr int kProgramLoadMode = 3;
constexpr int kIdentAddress = 61424; // EFF0H: eight ident bytes, checksum, revision
constexpr qint64 kRecordAnswerMs = 1000;

const QString kDownloadTitle = QStringLiteral("Program Download");
const QString kOfflineText =
    QStringLiteral("Program is Currently OFFLINE.\r\n\r\nSwitch to ONLINE MODE to Continue.");
const QString kInvalidText =
    QStringLiteral("Currently Selected Program is Invalid.\r\n\r\nProgram Download Halted!");

bool loadsAsProgram(int code)
{
    switch (code) {
    case 50:
    case 51:
    case 52:
    case 53:
    case 54:
    case 56:
    case 58:
    case 59:
    case 60:
    case 61:
    case 65:
    case 66:
    case 68:
        return true;
    default:
        return false;
    }
}

bool limitSwitchProgram(int code)
{
    switch (code) {
    case 55:
    case 62:
    case 63:
    case 64:
    case 67:
    case 69:
        return true;
    default:
        return false;
    }
}

bool takesConfiguration(int code)
{
    return code >= 56 && code <= 65;
}

// Blanks only: the NUL characters of a short ident are part of it.
QString trimBlanks(const QString &text)
{
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && text.at(from) == QLatin1Char(' '))
        ++from;
    while (to > from && text.at(to - 1) == QLatin1Char(' '))
        --to;
    return text.mid(from, to - from);
}

} // namespace

QString RSComm::MarkHex2HEX(QString &markHex)
{
    static const char16_t marks[] = u":;<=>?";
    for (QChar &c : markHex) {
        for (int d = 0; d < 6; ++d)
            if (c.unicode() == marks[d])
                c = QChar(u'A' + d);
    }
    return markHex;
}

QString RSComm::HEX2MarkHEX(QString &hexCode)
{
    for (QChar &c : hexCode) {
        if (c.unicode() >= u'A' && c.unicode() <= u'F')
            c = QChar(u'0' + 10 + (c.unicode() - u'A'));
    }
    return hexCode;
}

qint32 RSComm::HexToNumber(const QString &text)
{
    // The leading hexadecimal digits; none gives 0.
    quint32 value = 0;
    for (const QChar c : text.trimmed()) {
        const char16_t u = c.unicode();
        int d = -1;
        if (u >= '0' && u <= '9')
            d = u - '0';
        else if (u >= 'A' && u <= 'F')
            d = u - 'A' + 10;
        else if (u >= 'a' && u <= 'f')
            d = u - 'a' + 10;
        if (d < 0)
            break;
        value = value * 16 + quint32(d);
    }
    return qint32(value);
}

QString RSComm::MarkHexToNumber(const QString &text)
{
    QString hex = text;
    return plainNumberText(HexToNumber(MarkHex2HEX(hex)));
}

void RSComm::deriveProgramPaths(const QString &pdxFileName)
{
    const QString base = pdxFileName.left(pdxFileName.size() - 3);
    m_program.pdxPath = base + QStringLiteral("pdx");
    m_program.revPath = base + QStringLiteral("rev");
    m_program.hexPath = base + QStringLiteral("hex");
    m_program.lcfPath = base + QStringLiteral("lcf");
}

bool RSComm::readProjectBoardType(qint16 &code)
{
    const QString field = ProgramFiles::projectFirstField(m_program.pdxPath);
    if (field.isEmpty())
        return false;
    code = qint16(field.at(0).unicode());
    return true;
}

bool RSComm::runShowingFailure(const QString &title, const std::function<void()> &steps)
{
    try {
        steps();
        return true;
    } catch (const ProgramFailure &failure) {
        m_prompt.ask(title, failure.message(), PromptIcon::Information, PromptButtons::Ok);
    }
    return false;
}

bool RSComm::LoadProgramIdent(const QString &path)
{
    m_program.ident = m_program.checksum = m_program.revision = QStringLiteral("Unknown");
    bool loaded = false;
    runShowingFailure(QStringLiteral("RSComm-Set Program Ident"), [&] {
        QByteArray line;
        if (!ProgramFiles::firstLine(path, line))
            return;
        if (line.size() < 4)
            throw ProgramFailure{5, QStringLiteral("Invalid procedure call or argument")};
        const QString text = QString::fromLatin1(line);
        m_program.ident = text.left(text.size() - 4);
        m_program.checksum = MarkHexToNumber(text.mid(text.size() - 4, 2));
        m_program.revision = MarkHexToNumber(text.right(2));
        loaded = true;
    });
    return loaded;
}

bool RSComm::LoadProgramConfig(const QString &path)
{
    m_program.config8190 = 3;
    m_program.config8189 = 0;
    m_program.config8188 = 3;
    bool loaded = false;
    runShowingFailure(QStringLiteral("RSComm-Set Program Config"), [&] {
        QByteArray line;
        if (!ProgramFiles::firstLine(path, line))
            return;
        if (line.size() < 40)
            throw ProgramFailure{5, QStringLiteral("Invalid procedure call or argument")};
        auto digit = [&line](int column) {
            const char c = line.at(column - 1);
            return qint16(c >= '0' && c <= '9' ? c - '0' : 0);
        };
        m_program.config8190 = digit(36);
        m_program.config8189 = digit(39);
        m_program.config8188 = digit(40);
        loaded = true;
    });
    return loaded;
}

void RSComm::DownloadFile(const QString &pdxFileName)
{
    m_program.valid = false;
    runShowingFailure(QStringLiteral("RSComm-Download File"), [&] {
        if (!QFileInfo(pdxFileName).isFile())
            return;
        deriveProgramPaths(pdxFileName);
        qint16 code = 0;
        if (!readProjectBoardType(code))
            return;
        m_program.boardType = code;
        m_program.boardName = TargetboardName(code);
        const QString baseName = QFileInfo(pdxFileName).completeBaseName();

        if (loadsAsProgram(code)) {
            const bool identLoaded = LoadProgramIdent(m_program.revPath);
            if (!identLoaded)
                m_prompt.ask(kDownloadTitle,
                             m_program.revPath +
                                 QStringLiteral(" Revision File is Not Valid\r\n\r\n"
                                                "Program Downloaded Halted!"),
                             PromptIcon::Exclamation, PromptButtons::Ok);
            bool configLoaded = true;
            if (takesConfiguration(code)) {
                configLoaded = LoadProgramConfig(m_program.lcfPath);
                if (!configLoaded)
                    m_prompt.ask(kDownloadTitle,
                                 m_program.lcfPath +
                                     QStringLiteral(" Configuration File is Not Valid\r\n\r\n"
                                                    "Program Downloaded Halted!"),
                                 PromptIcon::Exclamation, PromptButtons::Ok);
            }
            m_program.valid = identLoaded && configLoaded;
        } else if (limitSwitchProgram(code)) {
            m_prompt.ask(QStringLiteral("PLS Program Download"),
                         baseName + QStringLiteral(" file is a PLS target board program.\r\n"
                                                   "Open PLS program to download to target "
                                                   "board.\r\n\r\nProgram Downloaded Halted."),
                         PromptIcon::Information, PromptButtons::Ok);
        } else {
            m_prompt.ask(kDownloadTitle,
                         baseName + QStringLiteral(" file is incompatible with target board."
                                                   "\r\n\r\nProgram Downloaded Halted!"),
                         PromptIcon::Critical, PromptButtons::Ok);
        }
    });
}

void RSComm::programYield()
{
    if (m_programYield)
        m_programYield();
    else if (QCoreApplication::instance())
        QCoreApplication::processEvents();
}

void RSComm::DumpProgram()
{
    const LinkGuard::Hold hold = holdLink();
    if (!runShowingFailure(QStringLiteral("RSComm DumpProgram"), [this] { dumpProgramSteps(); })) {
        OnlineMode = false;
        m_program.valid = false;
    }
    m_program.writingIdent = false;
    m_program.inProgramMode = false;
}

void RSComm::dumpProgramSteps()
{
    ProgramState &p = m_program;
    p.inProgramMode = true;
    p.writingIdent = false;
    p.currentAdd = QStringLiteral(" ");
    p.recordsDone = 0;
    p.recordCount = 0;
    p.fault.clear();

    if (!OnlineMode) {
        m_prompt.ask(kDownloadTitle, kOfflineText, PromptIcon::Information, PromptButtons::Ok);
        return;
    }
    if (!p.valid) {
        m_prompt.ask(kDownloadTitle, kInvalidText, PromptIcon::Exclamation, PromptButtons::Ok);
        return;
    }

    // What the board holds now, for the operator to compare.
    QString boardIdent;
    QString boardChecksum = QStringLiteral("0");
    QString boardRevision = QStringLiteral("0");
    for (int i = 0; i < 10 && !CommError; ++i) {
        QString value = readByteAt(kIdentAddress + i);
        if (CommError)
            break;
        // For the operator to compare: a byte that could not be read is shown
        // as unknown, not as 0.
        if (m_transactionFailed)
            value = QStringLiteral("?");
        if (i < 8 && value == u"?") {
            boardIdent.append(QLatin1Char('?'));
        } else if (i < 8) {
            const int code = value.toInt();
            if (code > 31)
                boardIdent.append(QChar(code));
        } else if (i == 8) {
            boardChecksum = value;
        } else {
            boardRevision = value;
        }
    }

    const QString tab = QStringLiteral("\t");
    const QStringList lines = {
        QStringLiteral("Program to be loaded into module (on disk):"),
        QStringLiteral("  Program Ident: ") + tab + tab + p.ident,
        QStringLiteral("  Program Revision: ") + tab + tab + p.revision,
        QStringLiteral("  Program Checksum: ") + tab + p.checksum,
        QStringLiteral("  Target Board: ") + tab + tab + p.boardName,
        QString(),
        QStringLiteral("Program currently loaded in module:"),
        QStringLiteral("  Program Ident: ") + tab + tab + boardIdent,
        QStringLiteral("  Program Revision: ") + tab + tab + boardRevision,
        QStringLiteral("  Program Checksum: ") + tab + boardChecksum,
        QString(),
        QStringLiteral("Entire program file will be dumped to the PLC."),
        QStringLiteral("All outputs are off while program dump occurrs."),
        QString(),
        QStringLiteral("Do You Wish to Continue?"),
    };
    const PromptAnswer answer =
        m_prompt.ask(QStringLiteral("Program Download - [") + p.ident + QLatin1Char(']'),
                     lines.join(QStringLiteral("\r\n")) + QStringLiteral("\r\n"),
                     PromptIcon::Question, PromptButtons::YesNoCancel);
    if (answer != PromptAnswer::Yes)
        return;

    if (!QFileInfo::exists(p.hexPath)) {
        m_prompt.ask(kDownloadTitle,
                     p.hexPath + QStringLiteral(" File Does Not Exist.\r\n\r\n"
                                                "Program Downloaded Halted"),
                     PromptIcon::Information, PromptButtons::Ok);
        return;
    }
    const QStringList image = ProgramFiles::readLines(p.hexPath);
    if (image.isEmpty()) {
        m_prompt.ask(kDownloadTitle,
                     p.hexPath + QStringLiteral(" File is Not Valid\r\n\r\n"
                                                "Program Downloaded Halted"),
                     PromptIcon::Exclamation, PromptButtons::Ok);
        return;
    }
    // The whole image is looked at before the board hears of it: a bad line
    // found half-way would leave the board in program-load mode with half a
    // program.
    QString unsound;
    if (HexRecord::firstUnsoundLine(image, &unsound) >= 0) {
        p.fault = p.hexPath + QStringLiteral(" ") + unsound;
        qCWarning(lcComm) << "image refused:" << p.fault;
        m_prompt.ask(QStringLiteral("Program Dump"), kInvalidText, PromptIcon::Exclamation,
                     PromptButtons::Ok);
        p.valid = false;
        return;
    }
    p.recordCount = int(image.size());

    // Nothing of the program goes out unless every step before it was
    // answered as the board answers it.
    auto stopBeforeRecords = [this](const QString &what) {
        if (m_program.fault.isEmpty())
            m_program.fault = what;
        qCWarning(lcComm) << "program download stopped:" << m_program.fault;
        m_prompt.ask(kDownloadTitle, QStringLiteral("Program Download Not Complete!"),
                     PromptIcon::Critical, PromptButtons::Ok);
        OnlineMode = false;
        m_currentMode = 0;
    };
    auto write = [this](const QString &add, const QString &value) {
        if (!CommError)
            writeValue(add, value);
        if (CommError || m_transactionFailed) {
            m_program.fault = QStringLiteral("writing %1 = %2 failed").arg(add, value);
            return false;
        }
        return true;
    };
    // FF at the start of a transaction only ever opens a handshake, so it may
    // be said again when its answer was lost.
    auto attention = [this] {
        for (int tries = 0; tries < 3 && !CommError; ++tries)
            if (ExchangeByte(Attention, ReplyWait::Await, InputFlush::Keep) == Acknowledge)
                return true;
        m_program.fault = QStringLiteral("the board did not acknowledge FF");
        return false;
    };

    if (!write(QStringLiteral("B8181"), QStringLiteral("86")) ||
        !write(QStringLiteral("B8176"), QStringLiteral("0"))) {
        stopBeforeRecords({});
        return;
    }
    m_clock.sleepMs(100);
    if (!attention()) {
        stopBeforeRecords({});
        return;
    }
    m_currentMode = 0;

    if (takesConfiguration(p.boardType)) {
        const int v8188 = p.config8188 == 1 ? 5 : p.config8188 == 2 ? 10 : 20;
        const int v8190 = p.config8190 == 1 ? 3 : p.config8190 == 2 ? 5 : 12;
        if (!write(QStringLiteral("B8188"), QString::number(v8188)) ||
            !write(QStringLiteral("B8189"), QString::number(p.config8189)) ||
            !write(QStringLiteral("B8190"), QString::number(v8190))) {
            m_prompt.ask(QStringLiteral("Program Config Download"),
                         QStringLiteral("Could Not Set Program Configuration in PLC!"),
                         PromptIcon::Critical, PromptButtons::Ok);
            stopBeforeRecords({});
            return;
        }
    }

    if (!attention()) {
        stopBeforeRecords({});
        return;
    }
    m_currentMode = 0;
    const int modeReply = ExchangeByte(kProgramLoadMode, ReplyWait::Await, InputFlush::Keep);
    if (modeReply != Acknowledge) {
        // Whether the board took 03 or not, FF where a record would start
        // leaves program-load mode, and FF elsewhere opens a handshake that
        // the next transaction starts again.
        if (modeReply != NoReply)
            ExchangeByte(Attention, ReplyWait::Await, InputFlush::Keep);
        stopBeforeRecords(QStringLiteral("the board did not confirm program-load mode"));
        return;
    }

    for (const QString &line : image) {
        programYield();
        if (CommError)
            break;
        const HexRecord record = HexRecord::parse(line);
        if (record.length() == 0) {
            ++p.recordsDone;
            continue;
        }
        const int head[3] = {record.length(), record.addressHigh(), record.addressLow()};
        for (const int byte : head)
            if (!CommError)
                ExchangeByte(byte, ReplyWait::NoReply, InputFlush::Keep);
        p.currentAdd = record.addressText() + QLatin1Char('H');
        for (const char byte : record.data())
            if (!CommError)
                ExchangeByte(quint8(byte), ReplyWait::NoReply, InputFlush::Keep);

        int answer = -1;
        if (!CommError && m_commObj && m_commObj->isOpen() &&
            m_commObj->waitForByte(m_clock.nowMs() + kRecordAnswerMs))
            answer = m_commObj->readByte();
        if (CommError || !m_commObj || !m_commObj->isOpen()) {
            // A device that went away is no checksum error.
            CommError = true;
            m_currentMode = 0;
            p.fault = QStringLiteral("the link to %1 was lost at record %2")
                          .arg(m_commObj ? m_commObj->deviceName() : QStringLiteral("the board"),
                               p.currentAdd);
            qCWarning(lcComm) << "program download:" << p.fault;
            m_prompt.ask(kDownloadTitle,
                         QStringLiteral("Program Download Not Complete!\r\n\r\n"
                                        "Connection to the target board lost (%1).")
                             .arg(m_commObj ? m_commObj->deviceName() : QString()),
                         PromptIcon::Critical, PromptButtons::Ok);
            OnlineMode = false;
            return;
        }
        if (answer != record.sum()) {
            qCInfo(lcComm) << "record at" << p.currentAdd << "answered" << answer << "expected"
                           << record.sum();
            p.fault = QStringLiteral("record %1 was not acknowledged").arg(p.currentAdd);
            m_prompt.ask(kDownloadTitle, QStringLiteral("Checksum Error, Program Download Halted!"),
                         PromptIcon::Exclamation, PromptButtons::Ok);
            OnlineMode = false;
            return;
        }
        ++p.recordsDone;
    }

    if (!CommError) {
        const int reply = ExchangeByte(Attention, ReplyWait::Await, InputFlush::Keep);
        if (reply != Acknowledge) {
            p.fault = QStringLiteral("the board did not leave program-load mode");
            m_prompt.ask(kDownloadTitle, QStringLiteral("PLC did not Exit Program Mode!"),
                         PromptIcon::Critical, PromptButtons::Ok);
            OnlineMode = false;
            return;
        }
    }

    m_clock.sleepMs(2000);

    bool identFailed = false;
    if (!CommError) {
        p.writingIdent = true;
        const QString ident = trimBlanks(p.ident) + QString(8, QChar(0));
        QStringList values;
        for (int i = 0; i < 8; ++i)
            values.append(QString::number(ident.at(i).unicode() & 0xFF));
        values.append(p.checksum);
        values.append(p.revision);
        for (int i = 0; i < values.size(); ++i) {
            if (!write(QStringLiteral("B%1").arg(kIdentAddress + i), values.at(i))) {
                identFailed = true;
                m_prompt.ask(kDownloadTitle,
                             QStringLiteral("Could Not Send Program Ident and Revision to PLC!"),
                             PromptIcon::Critical, PromptButtons::Ok);
                break;
            }
        }
    }

    // A program goes into the board once per selection.
    p.valid = false;
    p.writingIdent = false;

    if (CommError || identFailed) {
        if (p.fault.isEmpty())
            p.fault = QStringLiteral("the link failed");
        m_prompt.ask(kDownloadTitle, QStringLiteral("Program Download Not Complete!"),
                     PromptIcon::Critical, PromptButtons::Ok);
        OnlineMode = false;
    } else {
        m_prompt.ask(kDownloadTitle, QStringLiteral("Program Download Complete!"),
                     PromptIcon::Information, PromptButtons::Ok);
        OnlineMode = true;
    }
}
