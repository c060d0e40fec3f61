#include "fakes/boardsimprocess.h"
#include "fakes/pdfwords.h"
#include "fakes/programrun.h"
#include "machine/dataset.h"
#include "machine/registermap.h"
#include "machine/sdtfile.h"

#include <QDateTime>
#include <QDirIterator>
#include <QTemporaryDir>
#include <QtTest>

// kestro-cli against a fresh simulated board on a pty per row. A row: the
// simulator's options (null: no board and no port; "-": a port with no
// device), console lines before, the command line(s) (" ; " between runs on
// the same board, all but the last must succeed), the exit code, texts
// expected ("!" never shown, "=" all of stdout) and what the board or the
// folder holds after. "@" is the data folder, "%pty" the board's device.
// A failed command leaves every file as it was; a refused one (2, 4, 5)
// changes no register.
namespace
{
struct Row {
    const char *name, *sim, *setup, *args;
    int code;
    const char *expect, *after;
};

const Row kRows[] = {
    // First, while the program's folder holds no settings.
    {"ports listed", nullptr, "", "ports", 0,
     "Settings: port 1 at 9600 baud (defaults)|Port 1 is /dev/ttyS0: |Serial devices:\n",
     "?Support/RSPort.cfg"},
    {"read several", "", "set W98 5;set D1100 655359999;set B46 128",
     "read W98 B52 D1100 F119 B46.6", 0, "=W98 5\nB52 36\nD1100 655359999\nF119 1\nB46.6 0\n", ""},
    {"read by hex address, port given with =", "", "set EFF0H 77", "read EFF0H --port=21", 0,
     "=77\n", ""},
    {"trace", "", "", "--trace read B52", 0, "=36\n", ""},
    {"write then read", "", "", "write D1304 19999 ; read D1304", 0, "=19999\n", "D1304=19999"},
    {"write flag keeps the other bits", "", "set B46 37", "write F119 1", 0, "", "B46=165"},
    {"clear bit", "", "set B1016 3", "write B1016.0 0", 0, "", "B1016=2"},
    {"negative value refused", "", "", "write W98 -5", 4,
     "[ENTRY ALERT] Error:\nOnly Numerical Data Allowed.", ""},
    {"silent board", "--silent", "", "read W98", 3,
     "=|[WARNING - Communication Error!] Cannot Communicate with Target Board.\nVerify RS-232 "
     "Cable is Connected Between\nCOMM Port and PROG Port.",
     ""},
    {"no device", "-", "", "read W98", 3, "=|[Comm Port Error] Error Number = 8002", ""},
    {"board gone mid read", "--close-after 6", "", "read D1100", 3, "=|not read: D1100", ""},
    {"wrong echo names the register", "--wrong-echo-at 6", "", "read W98 B52", 3,
     "=B52 36\n|kestro-cli: not read: W98", ""},
    {"bad addresses", nullptr, "",
     "read W98 Q12 X10 Y1 I0 W B-1 B70000 W65535 D65533 F600000 B12.8 Q1.1 GFFH 12345H F", 2,
     "bad address Q12|bad address X10|bad address B12.8|bad address GFFH|bad address "
     "12345H|bad address F:|!bad address W98",
     ""},
    {"bad address to write", nullptr, "", "write B70000 5", 2, "bad address B70000", ""},
    {"addresses of the notation", "-", "",
     "read W98 w98 B8176 D1304 F119 f8 B1016.0 W98.1 EFF0H FFH FFFFH B65535 W65534 D65532", 3,
     "!bad address", ""},
    {"unknown command", nullptr, "", "frobnicate", 2, "unknown command frobnicate", ""},
    {"no command", nullptr, "", "--port 3", 2, "no command given", ""},
    {"read nothing", nullptr, "", "read", 2, "", ""},
    {"write without value", nullptr, "", "write W98", 2, "", ""},
    {"unknown option", nullptr, "", "read W98 --bogus", 2, "unknown option --bogus", ""},
    {"bad port", nullptr, "", "read W98 --port 0", 2, "bad value for --port", ""},
    {"bad speed", nullptr, "", "read W98 --speed 1200", 2, "bad value for --speed", ""},
    {"port without value", nullptr, "", "read W98 --port", 2, "--port needs a value", ""},
    {"help", nullptr, "", "write -h", 0, "Usage: kestro-cli|--version", ""},
    {"long help", nullptr, "", "--help", 0, "Usage: kestro-cli", ""},
    {"version", nullptr, "", "--version", 0, "kestro-cli ", ""},
    {"window program usage", nullptr, "", "kestro -h", 0, "Usage: kestro", ""},
    {"window program version", nullptr, "", "kestro --version", 0, "kestro ", ""},
    {"unreadable settings name their cause", nullptr, ">Support/RSPort.cfg=5", "--port 61 read W98",
     3, "cannot use port 61|RSPort.cfg: Input past end of file|!No error", ""},

    {"healthy board", "", "set B8175 0;set B8177 0;set B8178 0;set B8180 7",
     "board --project @DECOR.pdx", 0,
     "Current Fault: Code = 00H|Corrective Action: None\n|Last Comm Error: Code = 00H  No "
     "communications error|In Target Board: Name: DECOR213  Revision: 5  Checksum: 205|On "
     "Disk: Name: DECOR213  Revision: 5  Checksum: 205  Target Board: T6800(PLC)  Rev Date: "
     "-|Program: the board holds the project's program|Current Network Address 1: 07\n|Target "
     "Board Time: |Current Time: |!CO-CPU Slot",
     ""},
    {"faulted board", "", "set B8175 0;fault 26;set B8176 5;set B8179 18", "board", 0,
     "Current Fault: Code = 05H  CO-CPU dual-port memory error\n|Last Fault: Code = 1AH  "
     "|Corrective Action: Replace CO-CPU board at \"CO-CPU Slot\" and try again.|Current Comm "
     "Error: Code = 12H  Break detected on the network line",
     ""},
    {"faults reset", "", "fault 26;set B8179 18", "board --reset-faults", 0,
     "Current Fault: Code = 00H", "B8176=0;B8177=0;B8179=0"},
    {"network address refused", "", "", "board --address 33", 4,
     "Only a Number Between 1 and 32 can be Entered", ""},
    {"network address set", "", "", "board --address 12", 0, "Current Network Address 1: 12\n",
     "B8180=12"},
    {"clock set", "", "set B43017 0;set B43016 0", "board --set-clock", 0, "",
     "B43017=%yy;B43016=%mm"},
    {"board gone", "--close-after 1", "", "board", 3, "=", ""},
    {"board option unknown", nullptr, "", "board --bogus", 2, "", ""},
    {"board project missing", "", "", "board --project @none.pdx", 5, "none.pdx", ""},
    {"board project revision short", "", "", "board --project @SHORT.pdx", 5, "", ""},

    {"port of the option listed", "", "", "ports", 0, "Port 21 is Support/COM21 -> %pty", ""},
    {"port assigned, then used", "", "set W98 4321", "ports --assign 33 %pty ; --port 33 read W98",
     0, "=4321\n", ""},
    {"port 0 not assigned", nullptr, "", "ports --assign 0 /dev/null", 2, "", ""},
    {"missing device not assigned", nullptr, "", "ports --assign 2 /dev/kestro-none", 2,
     "does not exist", "?Support/COM2"},
    {"assign without device", nullptr, "", "ports --assign 2", 2, "", "?Support/COM2"},
    {"only character devices assigned", nullptr, "", "ports --assign 62 /etc/passwd", 5,
     "/etc/passwd is not a character device", "?Support/COM62"},

    {"show", nullptr, "", "show @board.sdt", 0, "Stored:  138 addresses, 138 values", ""},
    {"export", nullptr, "", "export @board.sdt @shift.txt", 0, "", "+shift.txt"},
    {"upload group unknown", nullptr, "", "upload bogus @board.sdt", 2, "", ""},
    {"download without file", nullptr, "", "download all", 2, "", ""},
    {"show without file", nullptr, "", "show", 2, "", ""},
    {"download of a missing file", "", "", "download all @missing.sdt", 5, "missing.sdt", ""},
    {"file of another version", "", "", "download all @other.sdt", 5,
     "File created by set-up program version: KESTRO_R2.0.9\nData tables may not be properly "
     "aligned.",
     ""},
    {"damaged file not overwritten", "", "", "upload all @damaged.sdt", 5, "too short", ""},
    {"values the board cannot hold", "", "", "download all @refused.sdt", 4,
     "Entry out of Range (0-255).|Only Numerical Data Allowed.", ""},
    {"file address outside the notation, download", "-", "", "download setup @badaddr.sdt", 5,
     "item 130|bad address Q12", ""},
    {"file address outside the notation, upload", "-", "", "upload setup @badaddr.sdt", 5,
     "item 130|bad address Q12", ""},
    {"silent board, upload", "--silent", "", "upload setup @board.sdt", 3,
     "no answer from the board on|COM21 -> /dev/pts/|17 of 17 registers not read", ""},
    // A download reads the group first (for the history's old values), then writes.
    {"download cut while reading first", "--close-after 400", "", "download all @board.sdt", 3,
     "nothing written: the link failed while reading the board's values first", ""},
    {"download cut part-way", "--close-after 900", "", "download all @board.sdt", 3,
     "[KESTRO] Error Processing Request\n\nProcess Not Complete|the link failed after |of 138 "
     "registers not written",
     ""},
    {"upload cut leaves the file", "--close-after 300", "set D1304 111", "upload all @board.sdt", 3,
     "", ""},
    {"one wrong echo in an upload", "--wrong-echo-at 4", "", "upload setup @board.sdt", 3,
     "1 of 17 registers not read|not read: B1011", ""},
    {"device gone, new file not made", "--close-after 40", "", "upload shift @new.sdt", 3,
     "not tried|Error Processing Request", ""},

    {"setpoint, clear first", "", "", "pls setpoint 3 5 359 --clear", 0, "",
     "pls channel 3=setpoint 5 359"},
    {"setpoint recalled", "", "", "pls setpoint 3 100 200 ; pls recall 3", 0,
     "=state 1\nposition 100\n", "pls channel 3=setpoint 100 200"},
    {"pulse train recalled", "", "", "pls pulse 4 10 20 300 ; pls recall 4", 0,
     "=state 0\nposition 300\n", "pls channel 4=pulse 300 10 20"},
    {"channel cleared", "", "", "pls pulse 4 10 20 300 ; pls clear 4 ; pls recall 4", 0,
     "=state 0\nposition 0\n", "pls channel 4=clear"},
    {"offset then query", "", "set W188 0", "pls offset 90 ; pls query", 0,
     "scale-factor 360\noffset |position 90\nspeed ", "W180=90"},
    {"offset at the top", "", "", "pls offset 359", 0, "", "W180=359"},
    {"setpoint beyond scale", "", "", "pls setpoint 3 360 10", 4,
     "[PLS Single Setpoint] Setpoint setting 360 is greater than scale factor.\n\nChannel can "
     "not be programmed.",
     "pls channel 3=clear"},
    {"pulse not a multiple", "", "", "pls pulse 3 7 10 0", 4,
     "[PLS Pulse Train] ON Division Plus OFF Division\nMust be a Multiple of 360.\n\nPLS "
     "Channel will not be Programmed.",
     "pls channel 3=clear"},
    {"offset beyond scale", "", "", "pls offset 361", 4,
     "[Set PLS Offset] Desired Position cannot be greater than Scale Factor of 360.", ""},
    {"recalled position beyond range", "", "set W186 5000",
     "pls setpoint 9 4500 4600 ; pls recall 9", 3, "=|recall channel 9: state 2 (no position)", ""},
    {"channel beyond the board", "", "", "pls setpoint 40 1 2", 3, "refused by the limit switch",
     ""},
    {"recall beyond the board", "", "", "pls recall 40", 3, "=", ""},
    {"configuration with scale", "", "", "pls config-download @config.txt 720", 0, "",
     "W186=720;pls config=100 105 110 115 120 125 130 135 140 145 150 155 160 165 170 175 "
     "180 185 190 195 200 205 210 215"},
    {"configuration keeps the scale", "", "set W186 720", "pls config-download @config.txt", 0, "",
     "W186=720"},
    {"configuration uploaded", "", "",
     "pls config-download @config.txt ; pls config-upload @up.txt", 0, "", "@up.txt=@config19.txt"},
    {"configuration of 23 values", "", "", "pls config-download @c23.txt 360", 5,
     "holds 23 values, 24 needed", ""},
    {"configuration value 256", "", "", "pls config-download @c256.txt 360", 4,
     "value 1 (256) out of range (0-255)", ""},
    {"configuration word", "", "", "pls config-download @cword.txt 360", 5,
     "line 1: not a whole number", ""},
    {"configuration missing", "", "", "pls config-download @none.txt", 5, "", ""},
    {"configuration upload to no folder", "", "", "pls config-upload @no/such/dir", 5, "", ""},
    {"configuration upload cut", "--close-after 9", "", "pls config-upload @kept.txt", 3,
     "[PLS Upload] Not able to Upload Configuration from PLS.", ""},
    {"pls alone", nullptr, "", "pls", 2, "", ""},
    {"pls unknown", nullptr, "", "pls frobnicate", 2, "", ""},
    {"setpoint short", nullptr, "", "pls setpoint 1 2", 2, "", ""},
    {"clear a word", nullptr, "", "pls clear one", 2, "", ""},
    {"clear 256", "", "", "pls clear 256", 4, "", ""},
    {"offset negative", "", "", "pls offset -1", 4, "", ""},
    {"limit switch stays busy", "--pls-busy-ms 5000", "", "pls setpoint 1 10 20", 3,
     "[WARNING - Communication Error!] Cannot Determine PLS READY Mode Within Target "
     "Board.|stayed busy",
     "pls channel 1=setpoint 10 20"},
    {"limit switch gone", "--close-after 1", "", "pls query", 3, "=", ""},

    {"program without project", nullptr, "", "program-download", 2, "", ""},
    {"program project missing", "", "", "program-upload @none.pdx", 5, "", ""},
    {"program without revision", "", "", "program-download @norev/SAMPLE.pdx --yes", 5,
     " Revision File is Not Valid", "program=records 0 last -"},
    {"program upload cut leaves the project", "--close-after=20000", "",
     "program-upload @norev/SAMPLE.pdx", 3, "Program Upload Not Complete!", ""},
    {"report", nullptr, "", "report @board.sdt @full.pdf", 0, "",
     "pdf full.pdf=3 KESTRO Report: [board.sdt] Set-up"},
    {"report of the shift, titled", nullptr, "",
     "report @board.sdt @shift.pdf --shift-only --title [unnamed]", 0, "",
     "pdf shift.pdf=2 KESTRO Report: [unnamed] Data"},
    {"report of the set-up", nullptr, "", "report @board.sdt @setup.pdf --setup-only", 0, "",
     "pdf setup.pdf=1 KESTRO Report: [board.sdt] Set-up"},
    {"report of a missing file", nullptr, "", "report @nothere.sdt @r.pdf", 5, "nothere.sdt", ""},
    {"report of garbage, options first", nullptr, "",
     "--port 3 --speed 9600 --trace report @garbage.sdt @r.pdf", 5, "", ""},
    {"report into no folder", nullptr, "", "report @board.sdt @none/r.pdf", 5, "none/r.pdf", ""},
    {"report onto a folder", nullptr, "", "report @board.sdt @blocked/r.pdf", 5, "", ""},
    {"report without output", nullptr, "", "report @board.sdt", 2, "", ""},
    {"monitor config others may read", nullptr, "", "monitor --config @open.conf", 5,
     "other users|!s3cret", ""},
};

constexpr int kPort = 21;
} // namespace

class TestCliE2E : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    QString m_bin, m_data;

    void writeFile(const QString &name, const QByteArray &content)
    {
        QFile f(m_data + name);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(content);
    }
    static QByteArray contentOf(const QString &path)
    {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<none>");
    }
    QMap<QString, QByteArray> files() const
    {
        QMap<QString, QByteArray> all;
        for (QDirIterator it(m_data, QDir::AllEntries | QDir::NoDotAndDotDot,
                             QDirIterator::Subdirectories);
             it.hasNext();)
            all.insert(it.next(), contentOf(it.filePath()));
        return all;
    }
    // The copy of kestro-cli, so its links and settings stay in the test's
    // folder, with no display (a console program needs none); "kestro..."
    // first runs that program of the build instead.
    ProgramRun run(QStringList args)
    {
        QProcess p;
        if (!args.value(0).startsWith(u"kestro")) {
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            for (const char *display : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
                env.remove(QLatin1String(display));
            p.setProcessEnvironment(env);
            args.prepend(m_bin + "kestro-cli");
        }
        p.start(ProgramRun::path(args.takeFirst()), args);
        p.closeWriteChannel();
        return ProgramRun::finish(p);
    }

private slots:
    void initTestCase()
    {
        m_bin = m_tmp.filePath(QStringLiteral("bin/"));
        m_data = m_tmp.filePath(QStringLiteral("data/"));
        QVERIFY(QDir().mkpath(m_bin + QStringLiteral("Support")) && QDir().mkpath(m_data));
        QVERIFY(QFile::copy(ProgramRun::path(QStringLiteral("kestro-cli")), m_bin + "kestro-cli"));
        BoardSimProcess sim;
        QVERIFY(sim.start({QStringLiteral("--frozen")}) && sim.linkAsPort(m_bin, kPort));
        const ProgramRun up = run({"--port", "21", "upload", "all", m_data + "board.sdt"});
        QVERIFY2(up.exitCode == 0, qPrintable(up.err));
        DataSet data;
        QCOMPARE(readSetupFile(m_data + "board.sdt", data), MachineError::None);
        const auto variant = [&](const char *name, const std::function<void(DataSet &)> &change) {
            DataSet d = data;
            change(d);
            QCOMPARE(writeSetupFile(m_data + name, d), MachineError::None);
        };
        variant("badaddr.sdt", [](DataSet &d) { d.Address[130] = QStringLiteral("Q12"); });
        variant("other.sdt", [](DataSet &d) { d.Version = QStringLiteral("KESTRO_R2.0.9"); });
        variant("refused.sdt", [](DataSet &d) {
            d.Value[Item::InfeedOpenBlowoffCans] = 300; // B1000
            d.Value[Item::CurShiftGoodCans] = -5;
        });
        writeFile("damaged.sdt", contentOf(m_data + "board.sdt").left(700));
        writeFile("garbage.sdt", "not a set-up file");
        writeFile("DECOR.pdx", "DDECOR,1\r\n");
        writeFile("DECOR.rev", "DECOR213<=05\r\n");
        writeFile("SHORT.pdx", "D,1\r\n");
        writeFile("SHORT.rev", "AB\r\n");
        writeFile("kept.txt", "earlier\n");
        QByteArray config, ones;
        for (int i = 0; i < 24; ++i) {
            config += QByteArray::number(100 + i * 5) + '\n';
            ones += "1\n";
        }
        writeFile("config.txt", config);
        writeFile("config19.txt", config.left(19 * 4).replace("\n", "\r\n"));
        writeFile("c23.txt", ones.left(46));
        writeFile("c256.txt", "256\n" + ones.mid(2));
        writeFile("cword.txt", "x1\n" + ones.mid(2));
        writeFile("open.conf", "line = L7\nusername = u\npassword = s3cret\n");
        QFile::setPermissions(m_data + "open.conf", QFile::ReadOwner | QFile::ReadOther);
        QVERIFY(QDir().mkpath(m_data + "blocked/r.pdf") && QDir().mkpath(m_data + "norev"));
        for (const char *ext : {"pdx", "hex", "lcf"})
            QFile::copy(ProgramRun::path(QStringLiteral("samples/SAMPLE.") + ext),
                        m_data + "norev/SAMPLE." + ext);
        QFile::remove(m_bin + "Support/RSPort.cfg");
        for (const char *codes : {"Support/FaultErrCodes.txt", "Support/CommErrCodes.txt"})
            QVERIFY(QFile::copy(ProgramRun::path(codes), m_bin + codes));
    }

    void command_data()
    {
        QTest::addColumn<int>("row");
        for (int i = 0; i < int(std::size(kRows)); ++i)
            QTest::newRow(kRows[i].name) << i;
    }
    void command()
    {
        QFETCH(int, row);
        const Row &r = kRows[row];
        BoardSimProcess sim;
        const bool board = r.sim && qstrcmp(r.sim, "-") != 0;
        if (board) {
            QVERIFY(sim.start(
                QStringLiteral("--frozen %1").arg(r.sim).split(u' ', Qt::SkipEmptyParts)));
            QVERIFY(sim.linkAsPort(m_bin, kPort));
        }
        QStringList written;
        for (const QString &line : QString::fromUtf8(r.setup).split(u';', Qt::SkipEmptyParts)) {
            if (line.startsWith(u'>')) {
                written << m_bin + line.mid(1).section(u'=', 0, 0);
                QFile f(written.last());
                QVERIFY(f.open(QIODevice::WriteOnly));
                f.write(line.section(u'=', 1).toUtf8());
            } else {
                QCOMPARE(sim.command(line), QStringLiteral("ok"));
            }
        }
        if (board)
            QCOMPARE(sim.command(QStringLiteral("snapshot")), QStringLiteral("ok"));
        const auto before = files();
        ProgramRun result;
        const QStringList runs = QString::fromUtf8(r.args).split(QStringLiteral(" ; "));
        for (qsizetype i = 0; i < runs.size(); ++i) {
            QString one = runs[i];
            one.replace(u'@', m_data).replace(QStringLiteral("%pty"), sim.slavePath());
            if (r.sim && !one.contains(u"--port"))
                one += QStringLiteral(" --port %1").arg(board ? kPort : 29);
            result = run(one.split(u' ', Qt::SkipEmptyParts));
            if (i + 1 < runs.size())
                QVERIFY2(result.exitCode == 0, qPrintable(one + u'\n' + result.err));
        }
        for (const QString &f : std::as_const(written))
            QFile::remove(f);
        const QString shown = result.out + result.err;
        QVERIFY2(result.exitCode == r.code, qPrintable(shown));
        for (QString text : QString::fromUtf8(r.expect).split(u'|', Qt::SkipEmptyParts)) {
            text.replace(QStringLiteral("%pty"), sim.slavePath());
            if (text.startsWith(u'!'))
                QVERIFY2(!shown.contains(text.mid(1)), qPrintable(text + u'\n' + shown));
            else if (text.startsWith(u'='))
                QCOMPARE(result.out, text.mid(1));
            else
                QVERIFY2(shown.contains(text), qPrintable(text + u'\n' + shown));
        }
        for (QString check : QString::fromUtf8(r.after).split(u';', Qt::SkipEmptyParts)) {
            const QDate today = QDate::currentDate();
            check.replace(QStringLiteral("%yy"), QString::number(today.year() % 100))
                .replace(QStringLiteral("%mm"), QString::number(today.month()));
            const QString what = check.section(u'=', 0, 0), value = check.section(u'=', 1);
            if (check.startsWith(u'?') || check.startsWith(u'+'))
                QVERIFY2(QFileInfo::exists((check[0] == u'+' ? m_data : m_bin) + check.mid(1)) ==
                             (check[0] == u'+'),
                         qPrintable(check));
            else if (check.startsWith(u"pdf "))
                QVERIFY2(QStringLiteral("%1 %2")
                             .arg(PdfWords::read(m_data + what.mid(4)).pageCount)
                             .arg(PdfWords::read(m_data + what.mid(4)).pageText(1))
                             .startsWith(value),
                         qPrintable(check));
            else if (check.startsWith(u'@'))
                QCOMPARE(contentOf(m_data + what.mid(1)), contentOf(m_data + value.mid(1)));
            else
                QCOMPARE(sim.command(what.front().isUpper() ? QStringLiteral("get ") + what : what),
                         value);
        }
        if (r.code != 0)
            QCOMPARE(files(), before);
        if (board && (r.code == 2 || r.code == 4 || r.code == 5))
            QCOMPARE(sim.command(QStringLiteral("changes")), QStringLiteral("none"));
    }
};

QTEST_GUILESS_MAIN(TestCliE2E)
#include "test_cli_e2e.moc"
