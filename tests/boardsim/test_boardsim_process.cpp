// kestro-boardsim as a program: the pty it prints, the dialogue on it, the
// console on stdin, and how it ends.
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace
{

constexpr int Timeout = -1;
constexpr int HungUp = -2;

QString simulatorPath()
{
    const QString dir = qEnvironmentVariable("KESTRO_BIN_DIR", QStringLiteral("."));
    return QDir(dir).filePath(QStringLiteral("kestro-boardsim"));
}

class Simulator
{
public:
    ~Simulator()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished(3000);
        }
    }

    bool start(const QStringList &args)
    {
        m_process.start(simulatorPath(), args);
        if (!m_process.waitForStarted(5000))
            return false;
        m_path = readLine();
        return m_path.startsWith(QStringLiteral("/dev/"));
    }

    QString command(const QString &line)
    {
        m_process.write(line.toUtf8() + '\n');
        return readLine();
    }

    QString readLine()
    {
        QElapsedTimer waited;
        waited.start();
        while (!m_process.canReadLine() && waited.elapsed() < 5000)
            m_process.waitForReadyRead(100);
        return QString::fromUtf8(m_process.readLine()).trimmed();
    }

    bool finished(int timeoutMs = 5000)
    {
        return m_process.state() == QProcess::NotRunning || m_process.waitForFinished(timeoutMs);
    }

    QProcess &process() { return m_process; }
    QString path() const { return m_path; }

private:
    QProcess m_process;
    QString m_path;
};

// The PC's end: raw 8N1, as the utility opens the port.
class Client
{
public:
    ~Client() { close(); }

    bool open(const QString &path)
    {
        close();
        m_fd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        if (m_fd < 0)
            return false;
        termios t{};
        if (::tcgetattr(m_fd, &t) != 0)
            return false;
        ::cfmakeraw(&t);
        ::cfsetispeed(&t, B9600);
        ::cfsetospeed(&t, B9600);
        ::tcsetattr(m_fd, TCSANOW, &t);
        ::tcflush(m_fd, TCIOFLUSH);
        return true;
    }

    void close()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }

    // Sends one byte and waits for one: the byte, Timeout or HungUp.
    int exchange(quint8 byte, int timeoutMs = 1000)
    {
        if (::write(m_fd, &byte, 1) != 1)
            return errno == EIO ? HungUp : Timeout;
        return receive(timeoutMs);
    }

    int receive(int timeoutMs)
    {
        pollfd p{m_fd, POLLIN, 0};
        const int ready = ::poll(&p, 1, timeoutMs);
        if (ready == 0)
            return Timeout;
        if (p.revents & POLLIN) {
            quint8 byte;
            const ssize_t n = ::read(m_fd, &byte, 1);
            if (n == 1)
                return byte;
            return HungUp; // 0 or EIO: the other end has gone
        }
        return (p.revents & (POLLHUP | POLLERR)) ? HungUp : Timeout;
    }

    QList<int> exchangeAll(const QList<int> &bytes)
    {
        QList<int> replies;
        for (int b : bytes)
            replies << exchange(quint8(b));
        return replies;
    }

private:
    int m_fd = -1;
};

} // namespace

class TestBoardSimProcess : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void dialogueAndConsole();
    void clientReopens();
    void consoleEndIsNotTheEnd();
    void closeAfterHangsUp();
    void closeCommandHangsUp();
    void silentDelayAndWrongEcho();
    void badOptions();
};

void TestBoardSimProcess::initTestCase()
{
    QVERIFY2(QFileInfo(simulatorPath()).isExecutable(), qPrintable(simulatorPath()));
}

void TestBoardSimProcess::dialogueAndConsole()
{
    QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("COM1"));
    const QString tracePath = dir.filePath(QStringLiteral("trace.txt"));
    // A stale link is replaced.
    QVERIFY(QFile::link(QStringLiteral("/nonexistent"), link));
    Simulator sim;
    QVERIFY(sim.start({QStringLiteral("--frozen"), QStringLiteral("--link"), link,
                       QStringLiteral("--trace"), tracePath}));
    QCOMPARE(QFileInfo(link).symLinkTarget(), sim.path());

    QCOMPARE(sim.command(QStringLiteral("set W98 42240")), QStringLiteral("ok")); // A500H
    Client pc;
    QVERIFY(pc.open(link));
    QCOMPARE(pc.exchangeAll({0xFF, 0xFF, 0x01, 0x00, 0x62, 0x00, 0x63}),
             (QList<int>{0x55, 0x55, 0x55, 0x00, 0x00, 0x00, 0xA5}));
    QCOMPARE(pc.exchangeAll({0xFF, 0x02}), (QList<int>{0x55, 0x55}));
    QCOMPARE(pc.exchangeAll({0x00, 0x62, 0xD2, 0x00, 0x63, 0x04}),
             (QList<int>{0x00, 0x62, 0xD2, 0x00, 0x63, 0x04}));
    QCOMPARE(sim.command(QStringLiteral("get W98")), QStringLiteral("1234"));
    QCOMPARE(sim.command(QStringLiteral("get B52")), QStringLiteral("36"));
    QCOMPARE(sim.command(QStringLiteral("mode")), QStringLiteral("write"));
    QVERIFY(sim.command(QStringLiteral("get Q1")).startsWith(QStringLiteral("error: ")));
    // A limit-switch query of the position.
    QCOMPARE(sim.command(QStringLiteral("set W180 291")), QStringLiteral("ok"));
    QCOMPARE(pc.exchangeAll({0xFF, 0x48, 0x55, 0x55}), (QList<int>{0x55, 0x55, 0x23, 0x01}));

    QCOMPARE(sim.command(QStringLiteral("quit")), QStringLiteral("ok"));
    QVERIFY(sim.finished());
    QCOMPARE(sim.process().exitStatus(), QProcess::NormalExit);
    QCOMPARE(sim.process().exitCode(), 0);
    QVERIFY(!QFileInfo::exists(link) && !QFileInfo(link).isSymLink());

    QFile trace(tracePath);
    QVERIFY(trace.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = trace.readAll().split('\n');
    QCOMPARE(lines.value(0), QByteArray("FF -> 55"));
    QCOMPARE(lines.value(2), QByteArray("01 -> 55"));
    QCOMPARE(lines.value(6), QByteArray("63 -> A5"));
    QCOMPARE(lines.value(10), QByteArray("62 -> 62"));
    QCOMPARE(lines.value(16), QByteArray("48 -> 55"));
    QCOMPARE(lines.size(), 19 + 1);
}

void TestBoardSimProcess::clientReopens()
{
    Simulator sim;
    QVERIFY(sim.start({QStringLiteral("--frozen")}));
    Client pc;
    QVERIFY(pc.open(sim.path()));
    QCOMPARE(pc.exchangeAll({0xFF, 0x01, 0x00, 0x34}), (QList<int>{0x55, 0x55, 0x00, 0x24}));
    pc.close();
    // Nobody is listening: the board goes on and the console still works.
    QCOMPARE(sim.command(QStringLiteral("set B52 24")), QStringLiteral("ok"));
    QVERIFY(pc.open(sim.path()));
    // Still in read mode: no handshake needed.
    QCOMPARE(pc.exchangeAll({0x00, 0x34}), (QList<int>{0x00, 0x18}));
    sim.process().terminate();
    QVERIFY(sim.finished());
    QCOMPARE(sim.process().exitCode(), 0);
}

void TestBoardSimProcess::consoleEndIsNotTheEnd()
{
    QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("board"));
    Simulator sim;
    QVERIFY(sim.start({QStringLiteral("--link"), link}));
    sim.process().closeWriteChannel();
    QTest::qWait(300);
    QCOMPARE(sim.process().state(), QProcess::Running);
    Client pc;
    QVERIFY(pc.open(link));
    QCOMPARE(pc.exchangeAll({0xFF, 0x01, 0x00, 0x34}), (QList<int>{0x55, 0x55, 0x00, 0x24}));
    ::kill(pid_t(sim.process().processId()), SIGINT);
    QVERIFY(sim.finished());
    QCOMPARE(sim.process().exitStatus(), QProcess::NormalExit);
    QCOMPARE(sim.process().exitCode(), 0);
    QVERIFY(!QFileInfo(link).isSymLink());
}

void TestBoardSimProcess::closeAfterHangsUp()
{
    QTemporaryDir dir;
    const QString tracePath = dir.filePath(QStringLiteral("trace.txt"));
    Simulator sim;
    QVERIFY(sim.start({QStringLiteral("--close-after"), QStringLiteral("3"),
                       QStringLiteral("--trace"), tracePath}));
    Client pc;
    QVERIFY(pc.open(sim.path()));
    QCOMPARE(pc.exchange(0xFF), 0x55);
    QCOMPARE(pc.exchange(0x01), 0x55);
    // The third byte is never answered: the device goes away.
    QCOMPARE(pc.exchange(0x00, 3000), HungUp);
    QVERIFY(sim.finished());
    QCOMPARE(sim.process().exitCode(), 0);
    QFile trace(tracePath);
    QVERIFY(trace.open(QIODevice::ReadOnly));
    QCOMPARE(trace.readAll(), QByteArray("FF -> 55\n01 -> 55\n00 -> --\n"));
}

void TestBoardSimProcess::closeCommandHangsUp()
{
    Simulator sim;
    QVERIFY(sim.start({}));
    Client pc;
    QVERIFY(pc.open(sim.path()));
    QCOMPARE(pc.exchange(0xFF), 0x55);
    QCOMPARE(sim.command(QStringLiteral("close")), QStringLiteral("ok"));
    QVERIFY(sim.finished());
    QCOMPARE(pc.receive(1000), HungUp);
    QCOMPARE(sim.process().exitCode(), 0);
}

void TestBoardSimProcess::silentDelayAndWrongEcho()
{
    Simulator sim;
    QVERIFY(sim.start({QStringLiteral("--silent"), QStringLiteral("--frozen")}));
    Client pc;
    QVERIFY(pc.open(sim.path()));
    QCOMPARE(pc.exchange(0xFF, 300), Timeout);
    QCOMPARE(sim.command(QStringLiteral("silent off")), QStringLiteral("ok"));
    // The silent board ignored the byte: it is not awaiting a mode byte.
    QCOMPARE(sim.command(QStringLiteral("mode")), QStringLiteral("none"));
    QCOMPARE(pc.exchange(0xFF), 0x55);
    QCOMPARE(pc.exchange(0x02), 0x55);

    QCOMPARE(sim.command(QStringLiteral("delay 200")), QStringLiteral("ok"));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(pc.exchange(0x00, 2000), 0x00);
    QVERIFY2(timer.elapsed() >= 195, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(sim.command(QStringLiteral("delay 0")), QStringLiteral("ok"));

    QCOMPARE(sim.command(QStringLiteral("wrong-echo 2")), QStringLiteral("ok"));
    QCOMPARE(pc.exchange(0x62), 0x62);
    const int wrong = pc.exchange(0x07);
    QVERIFY(wrong >= 0 && wrong != 0x07);
    // Only the echo was wrong: the board took the byte.
    QCOMPARE(sim.command(QStringLiteral("get W98")), QStringLiteral("7"));
    QCOMPARE(sim.command(QStringLiteral("quit")), QStringLiteral("ok"));
    QVERIFY(sim.finished());

    // Options as well as commands.
    Simulator slow;
    QVERIFY(slow.start({QStringLiteral("--delay-ms"), QStringLiteral("150"),
                        QStringLiteral("--wrong-echo-every"), QStringLiteral("1")}));
    QVERIFY(pc.open(slow.path()));
    timer.restart();
    QCOMPARE(pc.exchange(0xFF, 2000), 0x55);
    QVERIFY(timer.elapsed() >= 145);
    QCOMPARE(pc.exchange(0x01, 2000), 0x55);
    QCOMPARE(pc.exchange(0x00, 2000), 0x01); // every echo wrong
}

void TestBoardSimProcess::badOptions()
{
    for (const QStringList &args :
         {QStringList{QStringLiteral("--pace"), QStringLiteral("fast")},
          QStringList{QStringLiteral("--close-after"), QStringLiteral("0")},
          QStringList{QStringLiteral("extra")}}) {
        QProcess p;
        p.start(simulatorPath(), args);
        QVERIFY(p.waitForFinished(5000));
        QVERIFY2(p.exitCode() != 0, qPrintable(args.join(u' ')));
        QVERIFY(p.readAllStandardOutput().isEmpty());
    }
    // A link path that is a real file is not overwritten.
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("taken"));
    QFile f(file);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write("keep");
    f.close();
    QProcess p;
    p.start(simulatorPath(), {QStringLiteral("--link"), file});
    QVERIFY(p.waitForFinished(5000));
    QVERIFY(p.exitCode() != 0);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(f.readAll(), QByteArray("keep"));
}

QTEST_GUILESS_MAIN(TestBoardSimProcess)
#include "test_boardsim_process.moc"
