#include "comm/hexrecord.h"
#include "fakes/fakelink.h"

#include <QTemporaryDir>
#include <QtTest>

namespace
{

const QString kInvalid =
    QStringLiteral("Currently Selected Program is Invalid.\r\n\r\nProgram Download Halted!");
const QString kChecksum = QStringLiteral("Checksum Error, Program Download Halted!");

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

} // namespace

// A link to a fake board in fake time, and a project folder.
struct ProgramLink : FakeLink {
    QString file(const QString &name) const { return dir.filePath(name); }
    void write(const QString &name, const QByteArray &content)
    {
        QFile f(file(name));
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(content);
    }
    // A project "prog" of the given first field with the given companions.
    QString project(const QByteArray &firstField, const QByteArray &rev, const QByteArray &hex,
                    const QByteArray &lcf = {})
    {
        write(QStringLiteral("prog.pdx"), firstField + ",project\r\n");
        if (!rev.isNull())
            write(QStringLiteral("prog.rev"), rev);
        if (!hex.isNull())
            write(QStringLiteral("prog.hex"), hex);
        if (!lcf.isNull())
            write(QStringLiteral("prog.lcf"), lcf);
        return file(QStringLiteral("prog.pdx"));
    }
    QStringList texts() const
    {
        QStringList t;
        for (const auto &a : prompt.asked)
            t.append(a.text);
        return t;
    }
    // Bytes sent after the program-load mode byte (FF, 03) up to the end.
    QByteArray streamed() const
    {
        const QByteArray all = port.sentBytes();
        const qsizetype at = all.indexOf(QByteArray::fromHex("ff03"));
        return at < 0 ? QByteArray() : all.mid(at + 2);
    }
};

class TestProgramTransfer : public QObject
{
    Q_OBJECT

private slots:
    void markHexNotation()
    {
        QString mark = QStringLiteral("<=");
        QCOMPARE(RSComm::MarkHex2HEX(mark), QStringLiteral("CD"));
        QCOMPARE(mark, QStringLiteral("CD"));
        QString hex = QStringLiteral("9F0A");
        QCOMPARE(RSComm::HEX2MarkHEX(hex), QStringLiteral("9?0:"));
        QCOMPARE(hex, QStringLiteral("9?0:"));
        QCOMPARE(RSComm::MarkHexToNumber(QStringLiteral("<=")), QStringLiteral(" 205"));
        QCOMPARE(RSComm::MarkHexToNumber(QStringLiteral("05")), QStringLiteral(" 5"));
        QCOMPARE(RSComm::HexToNumber(QStringLiteral("7FFF")), 32767);
    }

    void revisionLineGivesIdentChecksumRevision()
    {
        ProgramLink link;
        link.comm.DownloadFile(link.project("D", "ABC12345<=05\r\n", ":00000001FF\r\n"));
        QVERIFY(link.comm.ValidProgram());
        QVERIFY(link.prompt.asked.isEmpty());
        QCOMPARE(link.comm.ProgramIdent(), QStringLiteral("ABC12345"));
        QCOMPARE(link.comm.ProgramChecksum(), QStringLiteral(" 205"));
        QCOMPARE(link.comm.ProgramRevision(), QStringLiteral(" 5"));
        QCOMPARE(link.comm.ProjectBoardType(), qint16(68));
        QCOMPARE(link.comm.ProjectBoardName(), QStringLiteral("T6800(PLC)"));
        QCOMPARE(link.comm.imagePath(), link.file(QStringLiteral("prog.hex")));
    }

    void boardCodeBranches()
    {
        {
            ProgramLink link;
            link.comm.DownloadFile(link.project("7", "ABC12345<=05\r\n", {}));
            QVERIFY(!link.comm.ValidProgram());
            QCOMPARE(link.prompt.asked.size(), 1);
            QCOMPARE(link.prompt.asked[0].title, QStringLiteral("PLS Program Download"));
            QCOMPARE(link.prompt.asked[0].text,
                     QStringLiteral("prog file is a PLS target board program.\r\nOpen PLS program "
                                    "to download to target board.\r\n\r\nProgram Downloaded "
                                    "Halted."));
            QCOMPARE(link.prompt.asked[0].icon, PromptIcon::Information);
        }
        {
            ProgramLink link;
            link.comm.DownloadFile(link.project("1", "ABC12345<=05\r\n", {}));
            QVERIFY(!link.comm.ValidProgram());
            QCOMPARE(link.texts(),
                     QStringList{QStringLiteral("prog file is incompatible with target board."
                                                "\r\n\r\nProgram Downloaded Halted!")});
            QCOMPARE(link.prompt.asked[0].icon, PromptIcon::Critical);
            QCOMPARE(link.prompt.asked[0].title, QStringLiteral("Program Download"));
        }
        {
            ProgramLink link; // code 60 without its configuration file
            link.comm.DownloadFile(link.project("<", "ABC12345<=05\r\n", {}));
            QVERIFY(!link.comm.ValidProgram());
            QCOMPARE(link.texts(),
                     QStringList{link.file(QStringLiteral("prog.lcf")) +
                                 QStringLiteral(" Configuration File is Not Valid\r\n\r\n"
                                                "Program Downloaded Halted!")});
            QCOMPARE(link.prompt.asked[0].icon, PromptIcon::Exclamation);
        }
        {
            ProgramLink link; // code 60 without its revision file
            link.comm.DownloadFile(
                link.project("<", {}, {}, QByteArray("B") + QByteArray(34, '0') + "10023000%\r\n"));
            QVERIFY(!link.comm.ValidProgram());
            QCOMPARE(link.texts(), QStringList{link.file(QStringLiteral("prog.rev")) +
                                               QStringLiteral(" Revision File is Not Valid\r\n\r\n"
                                                              "Program Downloaded Halted!")});
        }
        {
            ProgramLink link; // code 60 complete
            link.comm.DownloadFile(link.project(
                "<", "X<=05\r\n", {}, QByteArray("B") + QByteArray(34, '0') + "10023000%\r\n"));
            QVERIFY(link.comm.ValidProgram());
            QVERIFY(link.prompt.asked.isEmpty());
        }
    }

    void recordStreamedAndAnswered()
    {
        ProgramLink link;
        link.comm.DownloadFile(
            link.project("D", "ABC12345<=05\r\n", ":0300300002337A1E\r\n:00000001FF\r\n"));
        link.open();
        link.prompt.answers = {PromptAnswer::Yes};
        link.comm.DumpProgram();

        // The record, then straight to the FF that leaves program-load mode:
        // the end record sends nothing.
        QCOMPARE(link.streamed().left(7), QByteArray::fromHex("030030 02337a ff"));
        QCOMPARE(link.board.recordsLoaded, 1);
        QVERIFY(link.board.exitedProgramLoad);
        QCOMPARE(link.board.memory.mid(0x30, 3), QByteArray::fromHex("02337a"));
        QCOMPARE(link.board.memory.mid(8181, 1), QByteArray::fromHex("56"));
        QCOMPARE(link.board.memory.mid(61424, 10), QByteArray("ABC12345\xCD\x05", 10));
        QCOMPARE(link.texts().last(), QStringLiteral("Program Download Complete!"));
        QCOMPARE(link.prompt.asked.last().icon, PromptIcon::Information);
        QVERIFY(link.comm.OnlineMode);
        QVERIFY(!link.comm.ValidProgram());
        QVERIFY(!link.comm.InProgramMode());
        QCOMPARE(link.comm.CurrentProgramAdd(), QStringLiteral("0030H"));

        // Once per selection.
        link.prompt.asked.clear();
        link.comm.DumpProgram();
        QCOMPARE(link.texts(), QStringList{kInvalid});
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("Program Download"));
    }

    // Boards 56..65 take the configuration file's columns 36, 39 and 40 into
    // registers 8190, 8189 and 8188 before the image; others leave them alone.
    void configurationGoesToTheBoard_data()
    {
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QByteArray>("expected"); // 8188, 8189, 8190
        QTest::newRow("56") << QByteArray("8") << QByteArray::fromHex("140203");
        QTest::newRow("65") << QByteArray("A") << QByteArray::fromHex("140203");
        QTest::newRow("66") << QByteArray("B") << QByteArray::fromHex("000000");
    }
    void configurationGoesToTheBoard()
    {
        QFETCH(QByteArray, code);
        QFETCH(QByteArray, expected);
        ProgramLink link;
        link.comm.DownloadFile(link.project(code, "ABC12345<=05\r\n", ":00000001FF\r\n",
                                            QByteArray("B") + QByteArray(34, '0') +
                                                "10023000%\r\n"));
        QVERIFY(link.comm.ValidProgram());
        link.open();
        link.prompt.answers = {PromptAnswer::Yes};
        link.comm.DumpProgram();
        QCOMPARE(link.texts().last(), QStringLiteral("Program Download Complete!"));
        QCOMPARE(link.board.memory.mid(8188, 3), expected);
    }

    void confirmationBox()
    {
        ProgramLink link;
        link.comm.DownloadFile(link.project("D", "NEW1<=05\r\n", ":00000001FF\r\n"));
        link.board.memory.replace(61424, 10,
                                  QByteArray("OL\x1F"
                                             "D\0\0\0\0\x5C\x03",
                                             10));
        link.open();
        link.prompt.answers = {PromptAnswer::No};
        link.comm.DumpProgram();
        QCOMPARE(link.prompt.asked.size(), 1);
        const auto &box = link.prompt.asked[0];
        QCOMPARE(box.title, QStringLiteral("Program Download - [NEW1]"));
        QCOMPARE(box.icon, PromptIcon::Question);
        QCOMPARE(box.buttons, PromptButtons::YesNoCancel);
        QCOMPARE(box.text, QStringLiteral("Program to be loaded into module (on disk):\r\n"
                                          "  Program Ident: \t\tNEW1\r\n"
                                          "  Program Revision: \t\t 5\r\n"
                                          "  Program Checksum: \t 205\r\n"
                                          "  Target Board: \t\tT6800(PLC)\r\n"
                                          "\r\n"
                                          "Program currently loaded in module:\r\n"
                                          "  Program Ident: \t\tOLD\r\n"
                                          "  Program Revision: \t\t3\r\n"
                                          "  Program Checksum: \t92\r\n"
                                          "\r\n"
                                          "Entire program file will be dumped to the PLC.\r\n"
                                          "All outputs are off while program dump occurrs.\r\n"
                                          "\r\n"
                                          "Do You Wish to Continue?\r\n"));
        // No: nothing written, nothing streamed, still selected.
        QVERIFY(link.streamed().isEmpty());
        QVERIFY(link.comm.ValidProgram());
    }

    void wrongSumHaltsAndKeepsSelection()
    {
        ProgramLink link;
        link.comm.DownloadFile(link.project("D", "ABC<=05\r\n",
                                            ":0240000011228B\r\n:02400200334445\r\n"
                                            ":024004005566FF\r\n:00000001FF\r\n"));
        link.board.wrongSumOnRecord = 2;
        link.open();
        link.prompt.answers = {PromptAnswer::Yes};
        link.comm.DumpProgram();
        QCOMPARE(link.texts().last(), kChecksum);
        QCOMPARE(link.prompt.asked.last().icon, PromptIcon::Exclamation);
        QCOMPARE(link.board.recordsLoaded, 2);
        QCOMPARE(link.board.memory.mid(0x4004, 2), QByteArray(2, '\0'));
        QVERIFY(!link.comm.OnlineMode);
        QVERIFY(link.comm.ValidProgram());
        QCOMPARE(link.comm.CurrentProgramAdd(), QStringLiteral("4002H"));
        // The ident was not touched.
        QCOMPARE(link.board.memory.mid(61424, 3), QByteArray(3, '\0'));
    }

    void silentRecordHalts()
    {
        ProgramLink link;
        link.comm.DownloadFile(link.project("D", "ABC<=05\r\n",
                                            ":0240000011228B\r\n:02400200334445\r\n"
                                            ":00000001FF\r\n"));
        link.board.silentOnRecord = 1;
        link.open();
        link.prompt.answers = {PromptAnswer::Yes};
        const qint64 before = link.clock.nowMs();
        link.comm.DumpProgram();
        QCOMPARE(link.texts().last(), kChecksum);
        QCOMPARE(link.board.recordsLoaded, 1);
        QVERIFY(link.clock.nowMs() - before >= 1000);
        QVERIFY(link.comm.ValidProgram());
    }

    void refusedLines_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("no colon") << QByteArray("0240020033441B");
        QTest::newRow("truncated") << QByteArray(":1040000000010203");
        QTest::newRow("bad digits") << QByteArray(":0240020033G41B");
        QTest::newRow("blank") << QByteArray("");
        QTest::newRow("checksum wrong") << QByteArray(":02400200334446");
    }
    void refusedLines()
    {
        QFETCH(QByteArray, line);
        ProgramLink link;
        link.comm.DownloadFile(
            link.project("D", "ABC<=05\r\n", ":0240000011228B\r\n" + line + "\r\n:00000001FF\r\n"));
        link.open();
        const QByteArray before = link.board.memory;
        link.prompt.answers = {PromptAnswer::Yes};
        link.comm.DumpProgram();
        QCOMPARE(link.texts().last(), kInvalid);
        QCOMPARE(link.prompt.asked.last().title, QStringLiteral("Program Dump"));
        QVERIFY(!link.comm.ValidProgram());
        // The whole image is looked at first: the board heard nothing of it.
        QVERIFY(link.board.memory == before);
        QVERIFY(link.streamed().isEmpty());
    }

    void hexRecordReader()
    {
        const HexRecord r = HexRecord::parse(QStringLiteral(":0300300002337A1E"));
        QVERIFY(r.ok());
        QCOMPARE(r.length(), 3);
        QCOMPARE(r.addressText(), QStringLiteral("0030"));
        QCOMPARE(r.data(), QByteArray::fromHex("02337a"));
        QCOMPARE(r.sum(), quint8(0xE2));
        QCOMPARE(HexRecord::parse(QStringLiteral(":0300300002337A")).status(),
                 HexRecord::Status::Ok); // its own checksum is never sent
        QCOMPARE(HexRecord::parse(QStringLiteral(":03003000023")).status(),
                 HexRecord::Status::Truncated);
        QCOMPARE(HexRecord::parse(QStringLiteral(":0")).status(), HexRecord::Status::Truncated);
        QCOMPARE(HexRecord::parse(QStringLiteral(":0300300002 37A")).status(),
                 HexRecord::Status::BadDigits);
        QCOMPARE(HexRecord::parse(QStringLiteral("x0300")).status(), HexRecord::Status::NoColon);
    }

    void missingAndEmptyImage()
    {
        ProgramLink link;
        link.comm.DownloadFile(link.project("D", "ABC<=05\r\n", {}));
        link.open();
        link.prompt.answers = {PromptAnswer::Yes};
        link.comm.DumpProgram();
        QCOMPARE(link.texts().last(),
                 link.file(QStringLiteral("prog.hex")) +
                     QStringLiteral(" File Does Not Exist.\r\n\r\nProgram Downloaded Halted"));
        link.write(QStringLiteral("prog.hex"), "");
        link.prompt.answers = {PromptAnswer::Yes};
        link.comm.DumpProgram();
        QCOMPARE(link.texts().last(),
                 link.file(QStringLiteral("prog.hex")) +
                     QStringLiteral(" File is Not Valid\r\n\r\nProgram Downloaded Halted"));
        QVERIFY(link.streamed().isEmpty());
    }

    void offlineDump()
    {
        ProgramLink link;
        link.comm.DownloadFile(link.project("D", "ABC<=05\r\n", ":00000001FF\r\n"));
        link.comm.DumpProgram();
        QCOMPARE(link.texts(), QStringList{QStringLiteral("Program is Currently OFFLINE.\r\n\r\n"
                                                          "Switch to ONLINE MODE to Continue.")});
        QVERIFY(link.port.sent.isEmpty());
    }

    void uploadRecordsOfT6800()
    {
        ProgramLink link;
        const QString pdx = link.project("D", {}, {});
        for (int i = 0; i < 16; ++i)
            link.board.memory[0x4000 + i] = char(i);
        link.board.memory[0xBFFF] = char(0x99);
        link.board.memory.replace(61424, 10, QByteArray("ABC\0\0\0\0\0\xCD\x05", 10));
        link.open();
        link.comm.UploadFile(pdx);
        link.comm.setInUploadMode(true);
        link.comm.UploadProgram();
        QCOMPARE(link.texts(), QStringList{QStringLiteral("Program Upload Complete!")});
        QVERIFY(!link.comm.InUploadMode());
        const QList<QByteArray> lines = readAll(link.file(QStringLiteral("prog.hex"))).split('\n');
        QCOMPARE(lines.size(), 2050); // 2048 data records, the end record, the final line end
        QCOMPARE(lines[0], QByteArray(":10400000000102030405060708090A0B0C0D0E0F38\r"));
        QCOMPARE(lines[2047], QByteArray(":10BFF00000000000000000000000000000000099A8\r"));
        QCOMPARE(lines[2048], QByteArray(":00000001FF\r"));
        QCOMPARE(readAll(link.file(QStringLiteral("prog.rev"))),
                 QByteArray("ABC\0\0\0\0\0<=05\r\n", 14));
        QVERIFY(!QFile::exists(link.file(QStringLiteral("prog.lcf"))));

        // The ident with its NUL bytes goes back into a board unchanged.
        ProgramLink second;
        second.write(QStringLiteral("prog.pdx"), "D,project\r\n");
        QFile::copy(link.file(QStringLiteral("prog.rev")), second.file(QStringLiteral("prog.rev")));
        second.write(QStringLiteral("prog.hex"), ":01400000556A\r\n:00000001FF\r\n");
        second.board.memory.replace(61424, 10, QByteArray("XXXXXXXX\x01\x01", 10));
        second.comm.DownloadFile(second.file(QStringLiteral("prog.pdx")));
        QVERIFY(second.comm.ValidProgram());
        second.open();
        second.prompt.answers = {PromptAnswer::Yes};
        second.comm.DumpProgram();
        QCOMPARE(second.texts().last(), QStringLiteral("Program Download Complete!"));
        QCOMPARE(second.board.memory.mid(61424, 10), QByteArray("ABC\0\0\0\0\0\xCD\x05", 10));
        QCOMPARE(second.board.memory.at(0x4000), char(0x55));
    }

    // The program memory read back follows the board type.
    void uploadCoversTheBoardsProgramMemory_data()
    {
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<int>("records");
        QTest::newRow("50") << QByteArray("2") << QByteArray(":10500000") << 0xB000 / 16;
        QTest::newRow("51") << QByteArray("3") << QByteArray(":10200000") << 0x6000 / 16;
        QTest::newRow("52") << QByteArray("4") << QByteArray(":10200000") << 0x2000 / 16;
    }
    void uploadCoversTheBoardsProgramMemory()
    {
        QFETCH(QByteArray, code);
        QFETCH(QByteArray, first);
        QFETCH(int, records);
        ProgramLink link;
        const QString pdx = link.project(code, {}, {});
        link.open();
        link.comm.UploadFile(pdx);
        link.comm.setInUploadMode(true);
        link.comm.UploadProgram();
        const QList<QByteArray> lines = readAll(link.file(QStringLiteral("prog.hex"))).split('\n');
        QCOMPARE(lines.size(), records + 2);
        QVERIFY(lines[0].startsWith(first));
    }

    void uploadWithoutMemoryRange()
    {
        ProgramLink link;
        const QString pdx = link.project("7", {}, {});
        link.open();
        link.comm.UploadFile(pdx);
        QCOMPARE(link.comm.ProjectBoardType(), qint16(55));
        link.comm.setInUploadMode(true);
        link.comm.UploadProgram();
        QCOMPARE(readAll(link.file(QStringLiteral("prog.hex"))), QByteArray(":00000001FF\r\n"));
    }

    void uploadConfiguration()
    {
        ProgramLink link;
        const QString pdx = link.project("<", {}, {});
        link.board.memory[8190] = char(5);
        link.board.memory[8189] = char(7);
        link.board.memory[8188] = char(10);
        link.open();
        link.comm.UploadFile(pdx);
        link.comm.setInUploadMode(true);
        link.comm.UploadProgram();
        const QByteArray lcf = readAll(link.file(QStringLiteral("prog.lcf")));
        QCOMPARE(lcf, QByteArray("B") + QByteArray(34, '0') + "20072000%\r\n");
        QCOMPARE(lcf.size(), 46);
    }

    void failedUploadLeavesFiles()
    {
        ProgramLink link;
        const QString pdx = link.project("D", "OLD<=05\r\n", ":00000001FF\r\n");
        link.open();
        link.comm.UploadFile(pdx);
        link.comm.setInUploadMode(true);
        link.port.hangUpAfter = 5000; // part-way through the memory
        link.comm.UploadProgram();
        QCOMPARE(link.texts().last(),
                 QStringLiteral("Program Upload Not Complete!\r\n\r\nHEX file not created."));
        QCOMPARE(link.prompt.asked.last().icon, PromptIcon::Critical);
        QVERIFY(!link.comm.OnlineMode);
        QCOMPARE(readAll(link.file(QStringLiteral("prog.rev"))), QByteArray("OLD<=05\r\n"));
        QCOMPARE(readAll(link.file(QStringLiteral("prog.hex"))), QByteArray(":00000001FF\r\n"));
        QCOMPARE(QDir(link.dir.path()).entryList(QDir::Files).size(), 3);
    }

    void uploadNotArmedOrOffline()
    {
        ProgramLink link;
        const QString pdx = link.project("D", "OLD<=05\r\n", {});
        link.comm.UploadFile(pdx);
        link.comm.UploadProgram();
        QVERIFY(link.prompt.asked.isEmpty());
        link.comm.setInUploadMode(true);
        link.comm.UploadProgram();
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("Program Upload"));
        QVERIFY(!link.comm.InUploadMode());
    }

    void linkHeldDuringTransfer()
    {
        ProgramLink link;
        link.comm.DownloadFile(
            link.project("D", "ABC<=05\r\n", ":0240000011228B\r\n:00000001FF\r\n"));
        link.open();
        link.prompt.answers = {PromptAnswer::Yes};
        QList<bool> busyAtYield;
        link.comm.setProgramYield([&]() {
            busyAtYield.append(link.comm.linkBusy());
            // A timer that reads meanwhile is refused without traffic.
            const qsizetype before = link.port.sent.size();
            QCOMPARE(link.comm.RSRead(QStringLiteral("W98")), QStringLiteral("0"));
            QCOMPARE(link.port.sent.size(), before);
        });
        link.comm.DumpProgram();
        QCOMPARE(busyAtYield, QList<bool>({true, true}));
        QVERIFY(!link.comm.linkBusy());
        QCOMPARE(link.texts().last(), QStringLiteral("Program Download Complete!"));
    }
};

QTEST_GUILESS_MAIN(TestProgramTransfer)
#include "test_programtransfer.moc"
