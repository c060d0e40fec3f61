#include "comm/rscomm.h"
#include "fakes/fakeboard.h"
#include "fakes/scriptedprompt.h"

#include <QTemporaryDir>
#include <QtTest>

class TestBoardIdentity : public QObject
{
    Q_OBJECT

    static bool writeFile(const QString &path, const QByteArray &content)
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile f(path);
        return f.open(QIODevice::WriteOnly) && f.write(content) == content.size();
    }

private slots:
    void boardNames()
    {
        QCOMPARE(RSComm::TargetboardName(49), QStringLiteral("K7110"));
        QCOMPARE(RSComm::TargetboardName(57), QStringLiteral("Not Defined"));
        QCOMPARE(RSComm::TargetboardName(68), QStringLiteral("T6800(PLC)"));
        QCOMPARE(RSComm::TargetboardName(69), QStringLiteral("T6800(PLS)"));
        QCOMPARE(RSComm::TargetboardName(70), QStringLiteral("F Is Not Defined."));
        QCOMPARE(RSComm::TargetboardName(48), QStringLiteral("0 Is Not Defined."));
        QCOMPARE(RSComm::LCFBoardIndex(49), QStringLiteral("1"));
        QCOMPARE(RSComm::LCFBoardIndex(50), QStringLiteral("1"));
        QCOMPARE(RSComm::LCFBoardIndex(58), QStringLiteral("@"));
        QCOMPARE(RSComm::LCFBoardIndex(68), QStringLiteral("G"));
        QVERIFY(RSComm::LCFBoardIndex(66).isEmpty());
        QVERIFY(RSComm::LCFBoardIndex(69).isEmpty());
        QVERIFY(RSComm::LCFBoardIndex(70).isEmpty());
    }

    void faultAndFirmwareRegisters()
    {
        QTemporaryDir dir;
        FakeClock clock;
        FakeSerialPort port(clock);
        FakeBoard board;
        board.attach(port);
        ScriptedPrompt prompt;
        RSComm comm(clock, prompt, dir.path());
        comm.OpenRSComm(port);
        board.memory[8176] = char(0x5C);
        board.memory[8159] = char(23);
        QCOMPARE(comm.FaultCode(), qint16(92));
        QCOMPARE(comm.FirmwareRev(), qint16(23));
        // A failed read is no fault.
        board.silent = true;
        QCOMPARE(comm.FaultCode(), qint16(0));
    }

    void faultDescriptions()
    {
        QTemporaryDir dir;
        FakeClock clock;
        ScriptedPrompt prompt;
        RSComm comm(clock, prompt, dir.path());
        QCOMPARE(comm.FaultDescription(92),
                 QStringLiteral("Fault Code (5CH): --- Fault File Not Found ---"));

        QVERIFY(writeFile(dir.filePath(QStringLiteral("Support/FaultErrCodes.txt")),
                          "5C,Program checksum fault\r\n"
                          "0a , Lower-case code\r\n"
                          "FF,\"Last, with a comma\"\r\n"
                          "21,Unquoted, comma\r\n"
                          "5C,Second record for 5C\r\n"));
        QCOMPARE(comm.FaultDescription(92),
                 QStringLiteral("Fault Code (5CH): Program checksum fault"));
        QCOMPARE(comm.FaultDescription(10), QStringLiteral("Fault Code (0AH): Lower-case code"));
        QCOMPARE(comm.FaultDescription(255),
                 QStringLiteral("Fault Code (FFH): Last, with a comma"));
        QCOMPARE(comm.FaultDescription(0x21), QStringLiteral("Fault Code (21H): Unquoted"));
        QCOMPARE(comm.FaultDescription(5), QStringLiteral("Fault Code (05H): "));
        QVERIFY(prompt.asked.isEmpty());

        // An unreadable file: the line so far, and the error for the operator.
        const QString path = dir.filePath(QStringLiteral("Support/FaultErrCodes.txt"));
        QFile::remove(path);
        QVERIFY(QDir().mkpath(path)); // a folder where the file should be
        QCOMPARE(comm.FaultDescription(92), QStringLiteral("Fault Code (5CH): "));
        QCOMPARE(prompt.asked.size(), 1);
        QCOMPARE(prompt.asked[0].title, QStringLiteral("RSComm FaultDescription"));
        QCOMPARE(prompt.asked[0].icon, PromptIcon::Information);
        QVERIFY(prompt.asked[0].text.startsWith(QStringLiteral("Error Number = 75\r\n\r\n")));
    }
};

QTEST_APPLESS_MAIN(TestBoardIdentity)
#include "test_boardidentity.moc"
