#include "targetboardfacts.h"

#include "rscomm.h"

#include "recordfile.h"

#include <QDir>
#include <QFile>

namespace TargetBoardFacts
{

namespace
{
const char *const kFaultRegisters[FaultRegisterCount] = {"B8176", "B8177", "B8175",
                                                         "B8177", "B8179", "B8178"};
const char *const kRowCaptions[FaultRegisterCount] = {
    "Current Fault:",     "Last Fault:",         "CO-CPU Slot:",
    "Corrective Action:", "Current Comm Error:", "Last Comm Error:"};
const char *const kSetupAddresses[SetupFieldCount] = {"B8180",  "B8191",  "B43012", "B43010",
                                                      "B43008", "B43016", "B43015", "B43017"};

QString twoDigits(int n)
{
    return QStringLiteral("%1").arg(n, 2, 10, QLatin1Char('0'));
}
} // namespace

QString faultRegister(int index)
{
    return QString::fromLatin1(kFaultRegisters[index]);
}

QString codeText(qint64 value)
{
    QString code = QString::number(quint64(value), 16).toUpper();
    if (code.size() < 2)
        code.prepend(QLatin1Char('0'));
    return code;
}

QString commErrorCodeText()
{
    return QStringLiteral("42");
}

qint64 codeValue(const QString &code)
{
    bool ok = false;
    const qint64 value = code.toLongLong(&ok, 16);
    return ok ? value : 0;
}

QString faultRowPlainCaption(int index)
{
    return QString::fromLatin1(kRowCaptions[index]);
}

QString faultRowCaption(int index, const QString &code, const QString &slotValue)
{
    switch (index) {
    case 0:
        return QStringLiteral("Current Fault: Code = ") + code + QLatin1Char('H');
    case 1:
        return QStringLiteral("Last Fault: Code = ") + code + QLatin1Char('H');
    case CoCpuSlotIndex:
        return QStringLiteral("CO-CPU Slot: ") + slotValue;
    case 4:
        return QStringLiteral("Current Comm Error: Code = ") + code + QLatin1Char('H');
    case 5:
        return QStringLiteral("Last Comm Error: Code = ") + code + QLatin1Char('H');
    default:
        return faultRowPlainCaption(index);
    }
}

QString correctiveAction(const QString &lastFaultCode)
{
    const qint64 c = codeValue(lastFaultCode);
    const QChar q = QLatin1Char('"');
    if (c >= 1 && c <= 63)
        return QStringLiteral("Replace CO-CPU board at ") + q + QStringLiteral("CO-CPU Slot") + q +
               QStringLiteral(" and try again.  ") +
               QStringLiteral("If fault persists, peplace K7112 processor board and try again.  ") +
               QStringLiteral("If fault persists, verify proper use of ") + q +
               QStringLiteral("sfunc05/06/12") + q + QStringLiteral(" in user program.");
    if (c == 66)
        return QStringLiteral("Verify connection of cable between computer ") + q +
               QStringLiteral("COM") + q + QStringLiteral(" port and target board ") + q +
               QStringLiteral("PROG PORT") + q + QStringLiteral(".  Verify ") +
               QStringLiteral("cable wiring and connectors.  If fault persists, replace target "
                              "board and/or ") +
               QStringLiteral("try a different computer.");
    if (c == 69)
        return QStringLiteral("User program executed an sfunc09() system fault function call.  "
                              "See User ") +
               QStringLiteral("program for details on source of fault and corrective action.");
    if (c == 92 || c == 93)
        return QStringLiteral(
                   "Program is invalid.  Re-dump program to target board.  If fault persists, ") +
               QStringLiteral("verify cable connections between computer and target board.  If "
                              "fault persists, ") +
               QStringLiteral("replace target board.");
    if (c <= 0 || c >= 123)
        return QStringLiteral("None");
    return QStringLiteral("Reset fault and try again.  If fault persists, replace target board "
                          "and try ") +
           QStringLiteral("again.  See Pradex Manual for more details.");
}

bool lookUpCode(const QByteArray &content, const QString &code, QString &text)
{
    RecordReader reader(content);
    QString key;
    QString value;
    bool found = false;
    while (reader.next(key)) {
        if (!reader.next(value))
            value.clear();
        if (key.compare(code, Qt::CaseInsensitive) == 0) {
            text = value;
            found = true;
        }
    }
    return found;
}

bool lookUpCodeFile(const QString &path, const QString &code, QString &text)
{
    QByteArray content;
    if (!RecordReader::readFile(path, content))
        return false;
    return lookUpCode(content, code, text);
}

CodeFile readCodeFile(const QString &path, QByteArray &content)
{
    content.clear();
    if (!QFile::exists(path))
        return CodeFile::Missing;
    return RecordReader::readFile(path, content) ? CodeFile::Read : CodeFile::Unreadable;
}

QString codeFileErrorText()
{
    return QStringLiteral("Path/File access error");
}

QString faultCodesFile(const QString &programDir)
{
    return QDir(programDir).filePath(QStringLiteral("Support/FaultErrCodes.txt"));
}

QString commErrCodesFile(const QString &programDir)
{
    return QDir(programDir).filePath(QStringLiteral("Support/CommErrCodes.txt"));
}

QString codeFileText(const QString &path, qint64 code)
{
    QString text;
    lookUpCodeFile(path, codeText(code), text);
    return text;
}

QString identityRegister(int k)
{
    return QStringLiteral("B") + QString::number(IdentityFirstByte + k);
}

void BoardIdentity::take(int k, const QString &valueText)
{
    const QChar c(ushort(valueText.toUInt()));
    if (k == 0)
        name = QString(c);
    else if (k < 8)
        name += c;
    else if (k == 8)
        checksum = valueText;
    else if (k == 9)
        revision = valueText;
}

QString BoardIdentity::summary() const
{
    QString printable;
    for (const QChar c : name)
        if (c.unicode() > 31)
            printable += c;
    return QStringLiteral("%1 (revision %2, checksum %3)")
        .arg(printable.trimmed(), revision, checksum);
}

bool readDiskIdentity(const QString &revPath, DiskIdentity &identity, int *errorNumber,
                      QString *why)
{
    identity = DiskIdentity{QStringLiteral("-"), 0, 0};
    QByteArray content;
    if (!QFile::exists(revPath) || !RecordReader::readFile(revPath, content) || content.isEmpty())
        return true;
    RecordReader reader(content);
    QString s;
    reader.next(s);
    auto fail = [&](int number, const QString &reason) {
        if (errorNumber)
            *errorNumber = number;
        if (why)
            *why = reason;
        return false;
    };
    if (s.size() < 4)
        return fail(5, QStringLiteral("Invalid procedure call or argument"));
    bool revOk = false;
    bool sumOk = false;
    QString revisionDigits = s.right(2);
    QString checksumDigits = s.mid(s.size() - 4, 2);
    const int revision = RSComm::MarkHex2HEX(revisionDigits).toInt(&revOk, 16);
    const int checksum = RSComm::MarkHex2HEX(checksumDigits).toInt(&sumOk, 16);
    if (!revOk || !sumOk)
        return fail(13, QStringLiteral("Type mismatch"));
    identity.name = s.left(s.size() - 4);
    identity.revision = qint16(revision);
    identity.checksum = qint16(checksum);
    return true;
}

QString setupAddress(int i)
{
    return QString::fromLatin1(kSetupAddresses[i]);
}

QString setupFieldText(const QString &value)
{
    return (QStringLiteral("00") + value).right(2);
}

bool boardHasClock(qint16 boardType)
{
    return boardType == 54 || boardType == 65;
}

bool boardHasSecondAddress(qint16 boardType)
{
    return boardType == 65;
}

QString pcTimeText(const QTime &time)
{
    return twoDigits(time.hour()) + QStringLiteral(" : ") + twoDigits(time.minute()) +
           QStringLiteral(" : ") + twoDigits(time.second());
}

QString pcDateText(const QDate &date)
{
    return twoDigits(date.month()) + QStringLiteral(" - ") + twoDigits(date.day()) +
           QStringLiteral(" - ") + QString::number(date.year());
}

} // namespace TargetBoardFacts
