// kestro-boardsim as a program: the pty it prints, the link and trace it
// keeps, the console on stdin, and how it ends.
#include "fakes/boardsimprocess.h"

#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace
{
constexpr int Timeout = -1, HungUp = -2;

// The PC's end, raw as the utility opens it: each byte sent, the answer
// read (a byte, Timeout or HungUp).
struct Client {
    int fd = -1;
    ~Client() { close(); }
    bool open(const QString &path)
    {
        close();
        fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        termios t{};
        if (fd < 0 || ::tcgetattr(fd, &t) != 0)
            return false;
        ::cfmakeraw(&t);
        return ::tcsetattr(fd, TCSANOW, &t) == 0;
    }
    void close()
    {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
    int receive(int timeoutMs = 1000) const
    {
        pollfd p{fd, POLLIN, 0};
        quint8 byte;
        if (::poll(&p, 1, timeoutMs) == 0)
            return Timeout;
        if ((p.revents & POLLIN) && ::read(fd, &byte, 1) == 1)
            return byte;
        return HungUp;
    }
    QList<int> exchange(const QList<int> &bytes, int timeoutMs = 1000) const
    {
        QList<int> replies;
        for (int b : bytes) {
            const quint8 byte = quint8(b);
            replies << (::write(fd, &byte, 1) == 1 ? receive(timeoutMs) : HungUp);
        }
        return replies;
    }
};

QByteArray contentOf(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool endsWell(QProcess &p)
{
    return p.waitForFinished(5000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}
} // namespace

class TestBoardSimProcess : public QObject
{
    Q_OBJECT

private slots:
    void linkTraceAndQuit()
    {
        QTemporaryDir dir;
        const QString link = dir.filePath("COM1"), trace = dir.filePath("trace.txt");
        QVERIFY(QFile::link("/nonexistent", link)); // a stale link is replaced
        BoardSimProcess sim;
        QVERIFY(sim.start({"--frozen", "--link", link, "--trace", trace}));
        QCOMPARE(QFileInfo(link).symLinkTarget(), sim.slavePath());
        QCOMPARE(sim.command("set W98 42240"), QStringLiteral("ok"));
        Client pc;
        QVERIFY(pc.open(link));
        QCOMPARE(pc.exchange({0xFF, 0x01, 0x00, 0x63}), (QList<int>{0x55, 0x55, 0x00, 0xA5}));
        QCOMPARE(sim.command("quit"), QStringLiteral("ok"));
        QVERIFY(endsWell(sim.process()));
        QVERIFY(!QFileInfo(link).isSymLink());
        QCOMPARE(contentOf(trace), QByteArray("FF -> 55\n01 -> 55\n00 -> 00\n63 -> A5\n"));
    }

    // Nobody listening, or no console: the board goes on until SIGINT.
    void clientAndConsoleMayGo()
    {
        BoardSimProcess sim;
        QVERIFY(sim.start({"--frozen"}));
        Client pc;
        QVERIFY(pc.open(sim.slavePath()));
        QCOMPARE(pc.exchange({0xFF, 0x01, 0x00, 0x34}), (QList<int>{0x55, 0x55, 0x00, 0x24}));
        pc.close();
        QCOMPARE(sim.command("set B52 24"), QStringLiteral("ok"));
        sim.process().closeWriteChannel();
        QVERIFY(pc.open(sim.slavePath()));
        QCOMPARE(pc.exchange({0x00, 0x34}), (QList<int>{0x00, 0x18})); // still in read mode
        ::kill(pid_t(sim.process().processId()), SIGINT);
        QVERIFY(endsWell(sim.process()));
    }

    void hangsUpWhenTold()
    {
        QTemporaryDir dir;
        const QString trace = dir.filePath("trace.txt");
        BoardSimProcess after;
        QVERIFY(after.start({"--close-after", "3", "--trace", trace}));
        Client pc;
        QVERIFY(pc.open(after.slavePath()));
        QCOMPARE(pc.exchange({0xFF, 0x01, 0x00}, 3000), (QList<int>{0x55, 0x55, HungUp}));
        QVERIFY(endsWell(after.process()));
        QCOMPARE(contentOf(trace), QByteArray("FF -> 55\n01 -> 55\n00 -> --\n"));
    }

    void badOptions_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("pace") << QStringList{"--pace", "fast"};
        QTest::newRow("close after 0") << QStringList{"--close-after", "0"};
        QTest::newRow("board speed") << QStringList{"--board-speed", "1200"};
        QTest::newRow("argument") << QStringList{"extra"};
        QTest::newRow("link onto a file") << QStringList{"--link", "TAKEN"};
    }
    void badOptions()
    {
        QFETCH(QStringList, args);
        QTemporaryDir dir;
        const QString taken = dir.filePath("taken");
        QFile f(taken);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write("keep") == 4);
        f.close();
        QProcess p;
        p.start(QDir(BoardSimProcess::binDir()).filePath("kestro-boardsim"),
                args.replaceInStrings("TAKEN", taken));
        QVERIFY(p.waitForFinished(5000));
        QVERIFY(p.exitCode() != 0 && p.readAllStandardOutput().isEmpty());
        QCOMPARE(contentOf(taken), QByteArray("keep"));
    }
};

QTEST_GUILESS_MAIN(TestBoardSimProcess)
#include "test_boardsim_process.moc"
