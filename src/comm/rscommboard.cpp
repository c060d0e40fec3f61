// Board identity and fault texts of the communications object.
#include "rscomm.h"

#include "numbertext.h"
#include "operatorprompt.h"
#include "recordfile.h"

#include <QDir>
#include <QFileInfo>

namespace
{
struct BoardModel {
    const char *name;
    const char *lcfIndex;
};
// Codes 49 ("1") to 69 ("E").
constexpr BoardModel kBoards[] = {
    {"K7110", "1"},      {"K7112", "1"},     {"K7114", "?"},     {"K7121", "2"},
    {"K7122", "3"},      {"K7116", "D"},     {"K7141", ""},      {"K7124", "F"},
    {"Not Defined", ""}, {"T6210", "@"},     {"T6211", "A"},     {"T6212", "B"},
    {"T6220(PLC)", "C"}, {"T6220(PLS)", ""}, {"T6240", ""},      {"T6241", ""},
    {"R5110", "E"},      {"T6221(PLC)", ""}, {"T6221(PLS)", ""}, {"T6800(PLC)", "G"},
    {"T6800(PLS)", ""},
};
constexpr int kFirstCode = 49;

const BoardModel *boardModel(qint16 boardType)
{
    const int i = boardType - kFirstCode;
    return i >= 0 && i < int(std::size(kBoards)) ? &kBoards[i] : nullptr;
}
} // namespace

QString RSComm::TargetboardName(qint16 boardType)
{
    if (const BoardModel *m = boardModel(boardType))
        return QString::fromLatin1(m->name);
    // Without a project there is no code at all; a character that cannot be
    // shown is not put on the screen.
    const QChar code{ushort(boardType)};
    if (!code.isPrint())
        return QStringLiteral("Not Defined");
    return QString(code) + QStringLiteral(" Is Not Defined.");
}

QString RSComm::LCFBoardIndex(qint16 boardType)
{
    const BoardModel *m = boardModel(boardType);
    return m ? QString::fromLatin1(m->lcfIndex) : QString();
}

qint16 RSComm::FirmwareRev()
{
    return qint16(leadingNumber(RSRead(QStringLiteral("B8159"))));
}

qint16 RSComm::FaultCode()
{
    return qint16(leadingNumber(RSRead(QStringLiteral("B8176"))));
}

QString RSComm::FaultDescription(int fltCode)
{
    QString code = QString::number(quint16(fltCode), 16).toUpper();
    if (code.size() < 2)
        code.prepend(QLatin1Char('0'));
    const QString line = QStringLiteral("Fault Code (") + code + QStringLiteral("H): ");

    const QString path = QDir(m_programDir).filePath(QStringLiteral("Support/FaultErrCodes.txt"));
    if (!QFileInfo::exists(path))
        return line + QStringLiteral("--- Fault File Not Found ---");
    QByteArray content;
    if (!RecordReader::readFile(path, content)) {
        m_prompt.ask(QStringLiteral("RSComm FaultDescription"),
                     QStringLiteral("Error Number = 75\r\n\r\nPath/File access error"),
                     PromptIcon::Information, PromptButtons::Ok);
        return line;
    }
    QString text;
    return RecordReader::lookUp(content, code, text) ? line + text : line;
}
