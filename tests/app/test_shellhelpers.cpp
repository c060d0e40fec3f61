// The shell's small procedures: project board type, extension change, the
// fault texts and their shipped file, message text rendering, file filters.

#include "app/filedialogs.h"
#include "app/messageboxprompt.h"
#include "app/modutility.h"
#include "appharness.h"
#include "comm/clock.h"
#include "comm/recordfile.h"
#include "comm/rscomm.h"

#include <QFile>
#include <QLineEdit>
#include <QRegularExpression>
#include <QScreen>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

namespace
{

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(content) == content.size();
}

} // namespace

class TestShellHelpers : public QObject
{
    Q_OBJECT

private slots:
    void projectBoardTypeFindsTheProjectFileInAnyCase();
    void projectBoardTypeDefaultsAndEmptyItem();
    void changeExtensionKeepsFolderAndBase();
    void shippedFaultFileCoversEveryReportedCode();
    void displayTextTurnsCarriageReturnsIntoLineBreaks();
};

void TestShellHelpers::projectBoardTypeFindsTheProjectFileInAnyCase()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    // The dialogs hand in the .pdx path; the project file may be spelt in any case.
    QVERIFY(writeFile(dir.filePath(QStringLiteral("LINE3.pdx")), "D,\"T6800 decorator\",1\r\n"));
    QCOMPARE(ModUtility::ProjectBoardType(dir.filePath(QStringLiteral("LINE3.pdx"))), qint16('D'));
    QCOMPARE(ModUtility::ProjectBoardType(dir.filePath(QStringLiteral("LINE3.rev"))), qint16('D'));

    QVERIFY(writeFile(dir.filePath(QStringLiteral("Other.PDX")), "  =PLC,x\r\n"));
    QCOMPARE(ModUtility::ProjectBoardType(dir.filePath(QStringLiteral("Other.pdx"))), qint16('='));
}

void TestShellHelpers::projectBoardTypeDefaultsAndEmptyItem()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    bool emptyItem = true;
    QCOMPARE(ModUtility::ProjectBoardType(dir.filePath(QStringLiteral("missing.pdx")), &emptyItem),
             qint16(68));
    QVERIFY(!emptyItem);

    QVERIFY(writeFile(dir.filePath(QStringLiteral("empty.PDX")), ""));
    QCOMPARE(ModUtility::ProjectBoardType(dir.filePath(QStringLiteral("empty.pdx")), &emptyItem),
             qint16(68));
    QVERIFY(!emptyItem);

    // A first item with nothing in it is the caller's error to report.
    QVERIFY(writeFile(dir.filePath(QStringLiteral("blank.PDX")), "\"\",1\r\n"));
    QCOMPARE(ModUtility::ProjectBoardType(dir.filePath(QStringLiteral("blank.pdx")), &emptyItem),
             qint16(0));
    QVERIFY(emptyItem);
}

void TestShellHelpers::changeExtensionKeepsFolderAndBase()
{
    QCOMPARE(ModUtility::ChangeExtension(QStringLiteral("/a/b/prog.v2.pdx"), QStringLiteral("rev")),
             QStringLiteral("/a/b/prog.v2.rev"));
    const QString relative =
        ModUtility::ChangeExtension(QStringLiteral("prog.pdx"), QStringLiteral("hex"));
    QCOMPARE(relative, QDir::current().absoluteFilePath(QStringLiteral("prog.hex")));
}

void TestShellHelpers::shippedFaultFileCoversEveryReportedCode()
{
    // The board reports processor faults 01..7A (1..122); every one has a text.
    QByteArray content;
    QVERIFY(RecordReader::readFile(
        QDir(binDir()).filePath(QStringLiteral("Support/FaultErrCodes.txt")), content));
    RecordReader reader(content);
    QSet<int> codes;
    QString code;
    QString text;
    const QRegularExpression hex2(QStringLiteral("^[0-9A-F]{2}$"));
    while (reader.next(code)) {
        QVERIFY2(reader.next(text), qPrintable(code));
        QVERIFY2(hex2.match(code).hasMatch(), qPrintable(code));
        QVERIFY2(!text.trimmed().isEmpty(), qPrintable(code));
        bool ok = false;
        codes.insert(code.toInt(&ok, 16));
    }
    for (int c = 1; c <= 122; ++c)
        QVERIFY2(codes.contains(c), qPrintable(QString::number(c, 16)));

    QTemporaryDir dir;
    QVERIFY(prepareProgramDir(dir.path()));
    ScriptedPrompt prompt;
    SteadyClock clock;
    RSComm comm(clock, prompt, dir.path());
    QCOMPARE(comm.FaultDescription(0x5C),
             QStringLiteral("Fault Code (5CH): Program checksum fault"));
    QCOMPARE(comm.FaultDescription(0x46),
             QStringLiteral("Fault Code (46H): Math error, divide by zero"));
}

void TestShellHelpers::displayTextTurnsCarriageReturnsIntoLineBreaks()
{
    QCOMPARE(MessageBoxPrompt::displayText(QStringLiteral("a\r\n\r\nb\rc")),
             QStringLiteral("a\n\nb\nc"));
}

QTEST_MAIN(TestShellHelpers)
#include "test_shellhelpers.moc"
