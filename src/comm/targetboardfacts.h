#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <array>

// What the target board window and the command-line tool both know about the
// board itself: its fault and comm error registers, how a code is written
// and explained, the program identity block and the project's identity on
// disk. Qt Core only.
namespace TargetBoardFacts
{

// The fault page reads these in this order; index 3 reads the last fault
// again as the basis of the corrective action.
inline constexpr int FaultRegisterCount = 6;
QString faultRegister(int index);
// The CO-CPU slot row has no text box.
inline constexpr int CoCpuSlotIndex = 2;
inline constexpr int CorrectiveActionIndex = 3;
inline constexpr int CurrentCommErrorIndex = 4;

// The code as at least two upper-case hexadecimal digits: 5 -> "05", 26 -> "1A".
QString codeText(qint64 value);
// The code a pass records for a register it could not read.
QString commErrorCodeText();
// The code text read back as a number; 0 when it is not hexadecimal.
qint64 codeValue(const QString &code);

// The row caption of index i for a code (index 2 takes the slot value in
// decimal; index 3 keeps its caption).
QString faultRowCaption(int index, const QString &code, const QString &slotValue = {});
QString faultRowPlainCaption(int index);

// What the operator should do about the last fault code.
QString correctiveAction(const QString &lastFaultCode);

// The text a code file gives a code: every record is read, the last one whose
// code matches (letter case ignored) stands. False when none matches.
bool lookUpCode(const QByteArray &content, const QString &code, QString &text);
// The same on a file; false also when the file cannot be read.
bool lookUpCodeFile(const QString &path, const QString &code, QString &text);
// A code file that is not there leaves its boxes alone; one that is there
// but cannot be read is a failure of its own.
enum class CodeFile { Missing, Unreadable, Read };
CodeFile readCodeFile(const QString &path, QByteArray &content);
// How an unreadable code file is reported ("Error Number = 75").
inline constexpr int CodeFileErrorNumber = 75;
QString codeFileErrorText();
// Support/FaultErrCodes.txt and Support/CommErrCodes.txt of a program folder.
QString faultCodesFile(const QString &programDir);
QString commErrCodesFile(const QString &programDir);
// The text a code file gives a code, empty when it gives none.
QString codeFileText(const QString &path, qint64 code);

// The program identity block: ten bytes from 61424, name (8), checksum, revision.
inline constexpr int IdentityFirstByte = 61424;
inline constexpr int IdentityByteCount = 10;
QString identityRegister(int k);

struct BoardIdentity {
    QString name;
    QString checksum = QStringLiteral("-");
    QString revision = QStringLiteral("-");
    // Takes byte k of the block as read (decimal text); byte 0 starts the name.
    void take(int k, const QString &valueText);
    // "NAME (revision R, checksum C)", the name without its NUL and control
    // characters.
    QString summary() const;
};

// The identity of the project on disk, from its .rev file.
struct DiskIdentity {
    QString name;
    qint16 revision = 0;
    qint16 checksum = 0;
};
// Reads the first field of the .rev file: name, then checksum and revision as
// two marked hexadecimal digits each. A missing or empty file gives the name
// "-"; false (with *why) when the field cannot be taken apart.
// *errorNumber and *why say what went wrong, as the window reports it.
bool readDiskIdentity(const QString &revPath, DiskIdentity &identity, int *errorNumber = nullptr,
                      QString *why = nullptr);

// The set-up registers of the network address and clock fields, in field order.
inline constexpr int SetupFieldCount = 8;
QString setupAddress(int i);
// A field's text: the last two characters of "00" and the value.
QString setupFieldText(const QString &value);

// Board type codes with a clock, and with a second network address.
bool boardHasClock(qint16 boardType);
bool boardHasSecondAddress(qint16 boardType);

// "hh : mm : ss" and "MM - dd - yyyy".
QString pcTimeText(const QTime &time);
QString pcDateText(const QDate &date);

} // namespace TargetBoardFacts
