#include "comm/hexrecord.h"
#include "fakes/fakelink.h"

#include <QtTest>

namespace
{
const QString kInvalid =
    QStringLiteral("Currently Selected Program is Invalid.\r\n\r\nProgram Download Halted!");
const QString kChecksum = QStringLiteral("Checksum Error, Program Download Halted!");
const QString kComplete = QStringLiteral("Program Download Complete!");
const QByteArray kLcf = QByteArray("B") + QByteArray(34, '0') + "10023000%\r\n";

} // namespace

// A link to a fake board in fake time, and a project folder.
struct ProgramLink : FakeLink {
    QString file(const QString &name) const { return dir.filePath(name); }
    // A project "prog" of the given board code with the companions not null.
    QString project(const QByteArray &code, const QByteArray &rev, const QByteArray &hex,
                    const QByteArray &lcf = {})
    {
        write(QStringLiteral("prog.pdx"), code + ",project\r\n");
        const std::pair<const char *, QByteArray> files[] = {
            {"prog.rev", rev}, {"prog.hex", hex}, {"prog.lcf", lcf}};
        for (const auto &[name, content] : files)
            if (!content.isNull())
                write(QLatin1String(name), content);
        return file(QStringLiteral("prog.pdx"));
    }
    // Selects the project, goes online and says Yes to the download.
    void dump(const QString &pdx)
    {
        comm.DownloadFile(pdx);
        open();
        prompt.answers = {PromptAnswer::Yes};
        comm.DumpProgram();
    }
    // Bytes sent after the program-load mode byte (FF, 03).
    QByteArray streamed() const
    {
        const QByteArray all = port.sentBytes();
        const qsizetype at = all.indexOf(QByteArray::fromHex("ff03"));
        return at < 0 ? QByteArray() : all.mid(at + 2);
    }
    QList<QByteArray> uploaded(const QByteArray &code)
    {
        const QString pdx = project(code, {}, {});
        open();
        comm.UploadFile(pdx);
        comm.setInUploadMode(true);
        comm.UploadProgram();
        return read(QStringLiteral("prog.hex")).split('\n');
    }
};

class TestProgramTransfer : public QObject
{
    Q_OBJECT

private slots:
    void imageCheckedWhole_data()
    {
        QTest::addColumn<QByteArray>("image");
        QTest::addColumn<int>("badLine");
        const QByteArray good = ":0300300002337A1E\r\n";
        QTest::newRow("sound") << good + ":00000001FF\r\n" << -1;
        QTest::newRow("no colon") << good + "0300300002337A1E\r\n" << 1;
        QTest::newRow("truncated header") << QByteArray(":0\r\n") << 0;
        QTest::newRow("blank line") << good + "\r\n:00000001FF\r\n" << 1;
        QTest::newRow("truncated address") << QByteArray(":03003\r\n") << 0;
        QTest::newRow("space in the data") << QByteArray(":0300300002 37A\r\n") << 0;
        QTest::newRow("bad address") << QByteArray(":03G030\r\n") << 0;
        QTest::newRow("characters after the record") << good + ":0300300002337A1E00\r\n" << 1;
        QTest::newRow("short line") << good + ":0300300002337A\r\n" << 1;
        QTest::newRow("checksum wrong") << good + ":0300300002337A1F\r\n" << 1;
        QTest::newRow("record after the end") << QByteArray(":00000001FF\r\n") + good << 1;
        QTest::newRow("end record with data") << QByteArray(":0100000100FE\r\n") << 0;
        QTest::newRow("extended address record") << QByteArray(":020000021000EC\r\n") << 0;
        QTest::newRow("past FFFFH") << QByteArray(":02FFFF0000FF01\r\n") << 0;
    }
    void imageCheckedWhole()
    {
        QFETCH(QByteArray, image);
        QStringList lines = QString::fromLatin1(image).split(QStringLiteral("\r\n"));
        lines.removeLast(); // what follows the last line end
        QTEST(HexRecord::firstUnsoundLine(lines), "badLine");
    }

    // What the selection says of each board code and its companion files.
    void selection_data()
    {
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QByteArray>("rev");
        QTest::addColumn<QByteArray>("lcf");
        QTest::addColumn<QString>("text"); // "%1" is the project's folder
        QTest::addColumn<int>("icon");
        const QByteArray rev = "ABC12345<=05\r\n";
        QTest::newRow("T6800") << QByteArray("D") << rev << QByteArray() << "" << 0;
        QTest::newRow("limit switch")
            << QByteArray("7") << rev << QByteArray()
            << "prog file is a PLS target board program.\r\nOpen PLS program to download to target "
               "board.\r\n\r\nProgram Downloaded Halted."
            << int(PromptIcon::Information);
        QTest::newRow("incompatible")
            << QByteArray("1") << rev << QByteArray()
            << "prog file is incompatible with target board.\r\n\r\nProgram Downloaded Halted!"
            << int(PromptIcon::Critical);
        QTest::newRow("60 without configuration")
            << QByteArray("<") << rev << QByteArray()
            << "%1/prog.lcf Configuration File is Not Valid\r\n\r\nProgram Downloaded Halted!"
            << int(PromptIcon::Exclamation);
        QTest::newRow("60 complete") << QByteArray("<") << rev << kLcf << "" << 0;
    }
    void selection()
    {
        QFETCH(QByteArray, code);
        QFETCH(QByteArray, rev);
        QFETCH(QByteArray, lcf);
        QFETCH(QString, text);
        QFETCH(int, icon);
        ProgramLink link;
        link.comm.DownloadFile(link.project(code, rev, ":00000001FF\r\n", lcf));
        QCOMPARE(link.comm.ValidProgram(), text.isEmpty());
        QCOMPARE(link.lastText(), text.replace(QStringLiteral("%1"), link.dir.path()));
        if (!text.isEmpty())
            QCOMPARE(int(link.prompt.asked.last().icon), icon);
    }

    void recordStreamedAndAnsweredOncePerSelection()
    {
        ProgramLink link;
        const QString pdx =
            link.project("D", "ABC12345<=05\r\n", ":0300300002337A1E\r\n:00000001FF\r\n");
        link.comm.DownloadFile(pdx);
        QCOMPARE(QStringList({link.comm.ProgramIdent(), link.comm.ProgramChecksum(),
                              link.comm.ProgramRevision(), link.comm.ProjectBoardName()}),
                 QStringList({"ABC12345", " 205", " 5", "T6800(PLC)"}));
        QCOMPARE(link.comm.ProjectBoardType(), qint16(68));
        QCOMPARE(link.comm.imagePath(), link.file(QStringLiteral("prog.hex")));
        // A record's own checksum is never sent: one without it reads whole.
        QVERIFY(HexRecord::parse(QStringLiteral(":0300300002337A")).ok());
        link.dump(pdx);
        // The record, then straight to the FF that leaves program-load mode:
        // the end record sends nothing.
        QCOMPARE(link.streamed().left(7), QByteArray::fromHex("030030 02337a ff"));
        QCOMPARE(link.board.recordsLoaded, 1);
        QVERIFY(link.board.exitedProgramLoad);
        QCOMPARE(link.board.memory.mid(0x30, 3), QByteArray::fromHex("02337a"));
        QCOMPARE(link.board.memory.mid(8181, 1), QByteArray::fromHex("56"));
        QCOMPARE(link.board.memory.mid(61424, 10), QByteArray("ABC12345\xCD\x05", 10));
        QCOMPARE(link.lastText(), kComplete);
        QVERIFY(link.comm.OnlineMode);
        QVERIFY(!link.comm.InProgramMode());
        QCOMPARE(link.comm.CurrentProgramAdd(), QStringLiteral("0030H"));
        link.comm.DumpProgram();
        QCOMPARE(link.lastText(), kInvalid);
    }

    // Boards 56..65 take the configuration file's columns 36, 39 and 40 into
    // registers 8190, 8189 and 8188 before the image; others leave them alone.
    void configurationGoesToTheBoard_data()
    {
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QByteArray>("expected"); // 8188, 8189, 8190
        QTest::newRow("65") << QByteArray("A") << QByteArray::fromHex("140203");
        QTest::newRow("66") << QByteArray("B") << QByteArray::fromHex("000000");
    }
    void configurationGoesToTheBoard()
    {
        QFETCH(QByteArray, code);
        ProgramLink link;
        link.dump(link.project(code, "ABC12345<=05\r\n", ":00000001FF\r\n", kLcf));
        QCOMPARE(link.lastText(), kComplete);
        QTEST(link.board.memory.mid(8188, 3), "expected");
    }

    void confirmationBoxNoLeavesAllAsItWas()
    {
        ProgramLink link;
        link.board.memory.replace(61424, 10,
                                  QByteArray("OL\x1F"
                                             "D\0\0\0\0\x5C\x03",
                                             10));
        link.comm.DownloadFile(link.project("D", "NEW1<=05\r\n", ":00000001FF\r\n"));
        link.open();
        link.prompt.answers = {PromptAnswer::No};
        link.comm.DumpProgram();
        QCOMPARE(link.prompt.asked.size(), 1);
        const auto &box = link.prompt.asked[0];
        QCOMPARE(box.title, QStringLiteral("Program Download - [NEW1]"));
        QCOMPARE(box.buttons, PromptButtons::YesNoCancel);
        // What the board holds now is read back before the operator decides.
        QVERIFY2(box.text.contains(QStringLiteral("Program Ident: \t\tOLD\r\n"
                                                  "  Program Revision: \t\t3\r\n"
                                                  "  Program Checksum: \t92\r\n")),
                 qPrintable(box.text));
        QVERIFY(link.streamed().isEmpty());
        QVERIFY(link.comm.ValidProgram());
    }

    // A record answered with the wrong sum, or not at all, halts the download
    // there; the selection stays for another try and the ident is untouched.
    void badRecordAnswerHalts_data()
    {
        QTest::addColumn<bool>("silent");
        QTest::newRow("wrong sum") << false;
        QTest::newRow("no answer") << true;
    }
    void badRecordAnswerHalts()
    {
        QFETCH(bool, silent);
        ProgramLink link;
        (silent ? link.board.silentOnRecord : link.board.wrongSumOnRecord) = 2;
        const qint64 before = link.clock.nowMs();
        link.dump(link.project(
            "D", "ABC<=05\r\n",
            ":0240000011228B\r\n:02400200334445\r\n:024004005566FF\r\n:00000001FF\r\n"));
        QCOMPARE(link.lastText(), kChecksum);
        QCOMPARE(link.prompt.asked.last().icon, PromptIcon::Exclamation);
        QCOMPARE(link.board.recordsLoaded, 2);
        QCOMPARE(link.board.memory.mid(0x4004, 2), QByteArray(2, '\0'));
        QCOMPARE(link.comm.CurrentProgramAdd(), QStringLiteral("4002H"));
        QVERIFY(!link.comm.OnlineMode);
        QVERIFY(link.comm.ValidProgram());
        QCOMPARE(link.board.memory.mid(61424, 3), QByteArray(3, '\0'));
        QVERIFY(!silent || link.clock.nowMs() - before >= 1000);
    }

    // The whole image is looked at first: the board hears nothing of a bad one.
    void unsoundImageSendsNothing_data()
    {
        QTest::addColumn<QByteArray>("hex"); // null: no file
        QTest::addColumn<QString>("text");
        QTest::newRow("bad line") << QByteArray(
                                         ":0240000011228B\r\n:02400200334446\r\n:00000001FF\r\n")
                                  << kInvalid;
        QTest::newRow("missing")
            << QByteArray() << "%1/prog.hex File Does Not Exist.\r\n\r\nProgram Downloaded Halted";
        QTest::newRow("offline")
            << QByteArray(":00000001FF\r\n")
            << "Program is Currently OFFLINE.\r\n\r\nSwitch to ONLINE MODE to Continue.";
        QTest::newRow("empty") << QByteArray("")
                               << "%1/prog.hex File is Not Valid\r\n\r\nProgram Downloaded Halted";
    }
    void unsoundImageSendsNothing()
    {
        QFETCH(QByteArray, hex);
        QFETCH(QString, text);
        ProgramLink link;
        const QString pdx = link.project("D", "ABC<=05\r\n", hex);
        if (text.contains(QStringLiteral("OFFLINE"))) {
            link.comm.DownloadFile(pdx);
            link.comm.DumpProgram();
            QVERIFY(link.port.sent.isEmpty());
        } else {
            link.dump(pdx);
        }
        QCOMPARE(link.lastText(), text.replace(QStringLiteral("%1"), link.dir.path()));
        QVERIFY(link.streamed().isEmpty());
        QCOMPARE(link.board.memory, QByteArray(65536, '\0'));
    }

    void uploadOfT6800RoundTrips()
    {
        ProgramLink link;
        for (int i = 0; i < 16; ++i)
            link.board.memory[0x4000 + i] = char(i);
        link.board.memory[0xBFFF] = char(0x99);
        link.board.memory.replace(61424, 10, QByteArray("ABC\0\0\0\0\0\xCD\x05", 10));
        const QList<QByteArray> lines = link.uploaded("D");
        QCOMPARE(link.lastText(), QStringLiteral("Program Upload Complete!"));
        QVERIFY(!link.comm.InUploadMode());
        QCOMPARE(lines.size(), 2050); // 2048 data records, the end record, the final line end
        QCOMPARE(lines[0], QByteArray(":10400000000102030405060708090A0B0C0D0E0F38\r"));
        QCOMPARE(lines[2047], QByteArray(":10BFF00000000000000000000000000000000099A8\r"));
        QCOMPARE(link.read(QStringLiteral("prog.rev")), QByteArray("ABC\0\0\0\0\0<=05\r\n", 14));
        QVERIFY(!QFile::exists(link.file(QStringLiteral("prog.lcf"))));
    }

    // The program memory read back follows the board type. Bytes from FF00H
    // cannot be addressed (FF is attention): each gets the one read there is,
    // a new handshake and FF after the first.
    void uploadCoversTheBoardsProgramMemory_data()
    {
        QTest::addColumn<QByteArray>("code");
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<int>("records");
        QTest::addColumn<int>("attentionReads");
        QTest::newRow("50") << QByteArray("2") << QByteArray(":10500000") << 0xB000 / 16 << 255;
        QTest::newRow("51") << QByteArray("3") << QByteArray(":10200000") << 0x6000 / 16 << 0;
        QTest::newRow("52") << QByteArray("4") << QByteArray(":10200000") << 0x2000 / 16 << 0;
        QTest::newRow("55 has none") << QByteArray("7") << QByteArray(":00000001FF") << 0 << 0;
    }
    void uploadCoversTheBoardsProgramMemory()
    {
        QFETCH(QByteArray, code);
        QFETCH(int, records);
        ProgramLink link;
        const QList<QByteArray> lines = link.uploaded(code);
        QCOMPARE(lines.size(), records + 2);
        QFETCH(QByteArray, first);
        QVERIFY(lines[0].startsWith(first));
        QFETCH(int, attentionReads);
        QCOMPARE(link.port.sentBytes().count(QByteArray::fromHex("ff01ff")), attentionReads);
    }

    // A byte whose reads never agree ends the read-back after its sixteenth
    // read, and no image is written.
    void byteThatNeverAgreesFailsTheUpload()
    {
        ProgramLink link;
        link.board.flickerAt = 0x4005;
        const QList<QByteArray> lines = link.uploaded("D");
        QCOMPARE(link.comm.programTransferFault(),
                 QStringLiteral("reading 4005H: 16 reads did not agree"));
        QVERIFY(!lines.first().startsWith(':'));
    }

    void uploadOfConfiguration()
    {
        ProgramLink link;
        link.board.memory[8190] = char(5);
        link.board.memory[8189] = char(7);
        link.board.memory[8188] = char(10);
        link.uploaded("<");
        QCOMPARE(link.read(QStringLiteral("prog.lcf")),
                 QByteArray("B") + QByteArray(34, '0') + "20072000%\r\n");
    }

    void failedUploadLeavesTheFiles()
    {
        ProgramLink link;
        const QString pdx = link.project("D", "OLD<=05\r\n", ":00000001FF\r\n");
        link.comm.UploadFile(pdx);
        link.comm.UploadProgram(); // not armed: nothing happens
        QVERIFY(link.prompt.asked.isEmpty());
        link.comm.setInUploadMode(true);
        link.comm.UploadProgram(); // offline
        QCOMPARE(link.prompt.asked.last().title, QStringLiteral("Program Upload"));
        QVERIFY(!link.comm.InUploadMode());
        QCOMPARE(link.read(QStringLiteral("prog.hex")), QByteArray(":00000001FF\r\n"));
    }

    void linkHeldDuringTransfer()
    {
        ProgramLink link;
        QList<bool> busyAtYield;
        link.comm.setProgramYield([&]() {
            busyAtYield.append(link.comm.linkBusy());
            // A timer that reads meanwhile is refused without traffic.
            const qsizetype before = link.port.sent.size();
            QCOMPARE(link.comm.RSRead(QStringLiteral("W98")), QStringLiteral("0"));
            QCOMPARE(link.port.sent.size(), before);
        });
        link.dump(link.project("D", "ABC<=05\r\n", ":0240000011228B\r\n:00000001FF\r\n"));
        QCOMPARE(busyAtYield, QList<bool>({true, true}));
        QVERIFY(!link.comm.linkBusy());
        QCOMPARE(link.lastText(), kComplete);
    }
};

QTEST_GUILESS_MAIN(TestProgramTransfer)
#include "test_programtransfer.moc"
