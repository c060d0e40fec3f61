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
