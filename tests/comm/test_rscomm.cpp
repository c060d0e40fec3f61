#include "fakes/fakelink.h"

#include <QTemporaryDir>
#include <QtTest>

namespace
{
const QString kNoBoardText = QStringLiteral(
    "Cannot Communicate with Target Board.\rVerify RS-232 Cable is Connected Between\r"
    "COMM Port and PROG Port.");
}

// A link under test with its settings file at hand.
struct Link : FakeLink {
    void writeSettings(const QByteArray &content)
    {
        QDir().mkpath(dir.filePath(QStringLiteral("Support")));
        QFile f(comm.CommSettingsFile());
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(content);
    }
    QByteArray settings()
    {
        QFile f(comm.CommSettingsFile());
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
};

class TestRSComm : public QObject
{
    Q_OBJECT

private slots:
    // How the file's text becomes a port and a speed is the settings reader's
    // business; the link applies it and rewrites only an empty or missing file.
    void settingsFileIsRewrittenOnlyWhenEmptyOrMissing()
    {
        Link valid;
        valid.writeSettings("3, 19200 \r\n");
        QVERIFY(valid.comm.InitializeRSComm(valid.port));
        QCOMPARE(valid.port.portNumber(), 3);
        QCOMPARE(valid.port.baudRate(), 19200);
        QCOMPARE(valid.settings(), QByteArray("3, 19200 \r\n"));
        QVERIFY(valid.prompt.asked.isEmpty());

        Link empty;
        empty.writeSettings({});
        empty.port.setPortNumber(5);
        empty.port.setBaudRate(19200);
        QVERIFY(empty.comm.InitializeRSComm(empty.port));
        QCOMPARE(empty.settings(), QByteArray("1,9600\r\n"));
        QCOMPARE(empty.port.portNumber(), 1);
        QCOMPARE(empty.port.baudRate(), 9600);

        Link missing; // no Support folder at all
        QVERIFY(missing.comm.InitializeRSComm(missing.port));
        QCOMPARE(missing.settings(), QByteArray("1,9600\r\n"));
        QVERIFY(missing.comm.CommSettingsFile().endsWith(QStringLiteral("/Support/RSPort.cfg")));
    }

    void settingsFileDamagedAsksRetryCancel()
    {
        Link link;
        link.writeSettings("7\r\n"); // no speed
        link.comm.OnlineMode = true;
        // Retry once (still damaged), then Cancel.
        link.prompt.answers = {PromptAnswer::Retry, PromptAnswer::Cancel};
        QVERIFY(!link.comm.InitializeRSComm(link.port));
        QCOMPARE(link.prompt.asked.size(), 2);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("RSComm InitializeRSComm"));
        QCOMPARE(link.prompt.asked[0].text,
                 QStringLiteral("Error Number = 62\r\n\r\nInput past end of file"));
        QCOMPARE(link.prompt.asked[0].buttons, PromptButtons::RetryCancel);
        QVERIFY(link.comm.setupFailed());
        QVERIFY(!link.comm.OnlineMode);

        // OpenRSComm stops there: the port is never opened.
        link.prompt.answers = {PromptAnswer::Cancel};
        link.comm.OpenRSComm(link.port);
        QCOMPARE(link.port.openCount, 0);
    }

    void openProbesAndGoesOnline()
    {
        Link link;
        link.comm.OpenRSComm(link.port);
        QVERIFY(link.comm.OnlineMode);
        QVERIFY(!link.comm.CommError);
        QCOMPARE(link.port.sentBytes(), QByteArray("\xff", 1));
        link.comm.CloseRSComm();
        QVERIFY(!link.port.isOpen());
        QVERIFY(!link.comm.OnlineMode);
        QCOMPARE(link.port.sentBytes(), QByteArray("\xff\xff", 2)); // goodbye probe
    }

    void openFailureShowsPortError()
    {
        Link link;
        link.port.failOpen = true;
        link.comm.OnlineMode = true; // keeps its previous value
        link.comm.OpenRSComm(link.port);
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("Comm Port Error"));
        QVERIFY(link.prompt.asked[0].text.startsWith(
            QStringLiteral("Error Number = 8002\r\nError Source = KESTRO\r\n\r\n")));
        QCOMPARE(link.prompt.asked[0].buttons, PromptButtons::Ok);
        QVERIFY(link.comm.OnlineMode);
    }

    void wireBytesOfReadAndWrite()
    {
        Link link;
        link.open();
        link.board.memory[98] = char(0x34);
        link.board.memory[99] = char(0x12);
        QCOMPARE(link.comm.RSRead(QStringLiteral("W98")), QStringLiteral("4660"));
        QCOMPARE(link.port.sentBytes(), QByteArray::fromHex("ff01 0062 0063"));

        link.port.sent.clear();
        link.comm.RSWrite(QStringLiteral("W98"), QStringLiteral("1234"));
        QCOMPARE(link.port.sentBytes(), QByteArray::fromHex("ff02 0062d2 006304"));
        QCOMPARE(quint8(link.board.memory[98]), quint8(0xD2));
        QCOMPARE(quint8(link.board.memory[99]), quint8(0x04));

        // Staying in write mode costs no handshake; switching back costs one.
        link.port.sent.clear();
        link.comm.RSWrite(QStringLiteral("B1000"), QStringLiteral(" 15"));
        QCOMPARE(link.port.sentBytes(), QByteArray::fromHex("03e80f"));
        link.port.sent.clear();
        QCOMPARE(link.comm.RSRead(QStringLiteral("B1000")), QStringLiteral("15"));
        QCOMPARE(link.port.sentBytes(), QByteArray::fromHex("ff01 03e8"));
        QCOMPARE(link.board.handshakes, 3);
    }

    // A byte left over from an earlier exchange would pair every later
    // answer with the wrong question: the handshake drops it first.
    void staleInputIsDroppedBeforeTheHandshake()
    {
        Link link;
        link.open();
        link.board.memory[98] = char(0x34);
        link.port.reply(0x99);
        QCOMPARE(link.comm.RSRead(QStringLiteral("W98")), QStringLiteral("52"));
        QVERIFY(!link.comm.lastTransactionFailed());
        QCOMPARE(link.port.sentBytes(), QByteArray::fromHex("ff01 0062 0063"));
    }

    void readsEveryValueType()
    {
        Link link;
        link.open();
        link.comm.RSWrite(QStringLiteral("D1304"), QStringLiteral("655359999"));
        link.comm.RSWrite(QStringLiteral("F830"), QStringLiteral("1"));
        link.comm.RSWrite(QStringLiteral("B1016.0"), QStringLiteral("1"));
        QCOMPARE(link.comm.RSRead(QStringLiteral("D1304")), QStringLiteral("655359999"));
        QCOMPARE(link.comm.RSRead(QStringLiteral("F830")), QStringLiteral("1"));
        QCOMPARE(link.comm.RSRead(QStringLiteral("F831")), QStringLiteral("0"));
        QCOMPARE(link.comm.RSRead(QStringLiteral("B1016.0")), QStringLiteral("1"));
        QCOMPARE(link.comm.RSRead(QStringLiteral("B1016")), QStringLiteral("1"));
        QCOMPARE(link.comm.RSRead(QStringLiteral("EFF0H")), QStringLiteral("0"));
        QVERIFY(link.prompt.asked.isEmpty());
    }

    void flagWriteIsReadModifyWrite()
    {
        Link link;
        link.open();
        link.board.memory[46] = char(0x25);
        QCOMPARE(link.comm.RSRead(QStringLiteral("B46")), QStringLiteral("37"));
        link.port.sent.clear();
        link.comm.RSWrite(QStringLiteral("F119"), QStringLiteral("1"));
        // Reads the whole byte 46 (already in read mode), then writes it back
        // with bit 7 set.
        QCOMPARE(link.port.sentBytes(), QByteArray::fromHex("002e ff02 002ea5"));
        QCOMPARE(quint8(link.board.memory[46]), quint8(0xA5));
        link.comm.RSWrite(QStringLiteral("F119"), QStringLiteral("0"));
        QCOMPARE(quint8(link.board.memory[46]), quint8(0x25));
    }

    void refusedValuesAreNotWritten()
    {
        Link link;
        link.open();
        link.comm.RSWrite(QStringLiteral("F119"), QStringLiteral("2"));
        link.comm.RSWrite(QStringLiteral("W98"), QStringLiteral("-5"));
        link.comm.RSWrite(QStringLiteral("B1000"), QStringLiteral("300"));
        QVERIFY(link.port.sent.isEmpty());
        QCOMPARE(link.prompt.asked.size(), 3);
        for (const auto &a : link.prompt.asked) {
            QCOMPARE(a.title, QStringLiteral("ENTRY ALERT"));
            QCOMPARE(a.icon, PromptIcon::Critical);
            QCOMPARE(a.buttons, PromptButtons::Ok);
        }
        QCOMPARE(link.prompt.asked[0].text, QStringLiteral("Error:\rEnter 0 or 1 Only."));
        QCOMPARE(link.prompt.asked[1].text, QStringLiteral("Error:\rOnly Numerical Data Allowed."));
        QCOMPARE(link.prompt.asked[2].text, QStringLiteral("Error:\rEntry out of Range (0-255)."));
    }

    void silentBoardTimesOutThreeTimes()
    {
        Link link;
        link.open();
        link.board.silent = true;
        const qint64 start = link.clock.nowMs();
        qint64 shownAt = 0;
        link.prompt.onAsk = [&](const ScriptedPrompt::Asked &) { shownAt = link.clock.nowMs(); };
        link.prompt.answers = {PromptAnswer::Cancel};
        QCOMPARE(link.comm.RSRead(QStringLiteral("W98")), QStringLiteral("0"));

        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("WARNING - Communication Error!"));
        QCOMPARE(link.prompt.asked[0].text, kNoBoardText);
        QCOMPARE(link.prompt.asked[0].buttons, PromptButtons::RetryCancel);
        QCOMPARE(shownAt - start, 5000); // 1 s + 2 s + 2 s
        // The attention byte, then two resync bytes at 1 s and 3 s.
        QCOMPARE(link.port.sentBytes(), QByteArray::fromHex("ffffff"));
        QCOMPARE(link.port.sent[1].atMs - start, 1000);
        QCOMPARE(link.port.sent[2].atMs - start, 3000);
        QVERIFY(link.comm.CommError);
        QVERIFY(link.comm.CommErrorAlert);

        // Latched: no traffic until the link is opened again.
        link.port.sent.clear();
        QCOMPARE(link.comm.RSRead(QStringLiteral("B52")), QStringLiteral("0"));
        link.comm.RSWrite(QStringLiteral("W98"), QStringLiteral("5"));
        QVERIFY(link.port.sent.isEmpty());
        QCOMPARE(link.prompt.asked.size(), 1);

        link.board.silent = false;
        link.comm.OpenRSComm(link.port);
        QVERIFY(!link.comm.CommError);
        QVERIFY(link.comm.OnlineMode);
        link.board.memory[52] = char(36);
        QCOMPARE(link.comm.RSRead(QStringLiteral("B52")), QStringLiteral("36"));
    }

    void retryKeepsWaiting()
    {
        Link link;
        link.open();
        link.board.silent = true;
        // Retry at once: the deadline set before the box still holds, so the
        // wait goes on and a late reply is taken.
        link.prompt.onAsk = [&](const ScriptedPrompt::Asked &) {
            link.board.silent = false;
            link.port.reply(0x55, 500);
        };
        link.prompt.answers = {PromptAnswer::Retry};
        const qint64 start = link.clock.nowMs();
        QCOMPARE(link.comm.ExchangeByte(0xFF, RSComm::ReplyWait::Await, RSComm::InputFlush::Keep),
                 0x55);
        QCOMPARE(link.clock.nowMs() - start, 5500);
        QVERIFY(!link.comm.CommError);
        QVERIFY(!link.comm.CommErrorAlert);
    }

    void lateRetryLeadsToNextTimeout()
    {
        Link link;
        link.open();
        link.board.silent = true;
        int asks = 0;
        link.prompt.onAsk = [&](const ScriptedPrompt::Asked &) {
            if (++asks == 1)
                link.clock.advance(3000); // the operator took 3 s to answer
        };
        link.prompt.answers = {PromptAnswer::Retry, PromptAnswer::Cancel};
        QCOMPARE(link.comm.ExchangeByte(0x01, RSComm::ReplyWait::Await, RSComm::InputFlush::Keep),
                 RSComm::NoReply);
        QCOMPARE(asks, 2);
        // After the late Retry a new resync 0xFF goes out straight away.
        QCOMPARE(link.port.sentBytes(), QByteArray::fromHex("01ffffffff"));
        QCOMPARE(link.port.sent[3].atMs, link.port.sent[2].atMs + 2000 + 3000);
    }

    void modeHandshakeGivesUpAfterTwoSeconds()
    {
        Link link;
        link.open();
        link.comm.OnlineMode = true;
        link.prompt.answers = {PromptAnswer::Cancel};
        // Each wrong acknowledge costs fake time only through the reply delay.
        link.port.responder = [&](quint8 b, FakeSerialPort &p) {
            p.reply(b == 0xFF ? 0x00 : b, 100);
        };
        QCOMPARE(link.comm.RSRead(QStringLiteral("W98")), QStringLiteral("0"));
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].text,
                 QStringLiteral("Cannot Set PLC Mode Within Target Board."));
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("WARNING - Communication Error!"));
        QVERIFY(link.comm.CommError);
        QVERIFY(!link.comm.OnlineMode);
        QVERIFY(!link.port.isOpen());
        // Only attention bytes were sent, about 2 s worth of them.
        const QByteArray sent = link.port.sentBytes();
        QVERIFY(sent.size() >= 20 && sent.size() <= 22);
        QCOMPARE(sent.count(char(0xFF)), sent.size());
    }

    void wrongEchoRewritesOnce()
    {
        Link link;
        link.open();
        link.comm.RSRead(QStringLiteral("B0")); // leave the board in read mode
        link.port.sent.clear();
        // The echo of the low address byte of the first write comes back wrong.
        link.board.echoFaults.insert(1, FakeBoard::EchoFault::WrongReply);
        link.comm.RSWrite(QStringLiteral("W98"), QStringLiteral("1234"));
        // The board's triplet is completed with the data it was meant to
        // get, then a fresh handshake writes the whole value once more.
        QVERIFY(link.port.sentBytes().startsWith(QByteArray::fromHex("ff02 0062d2 ff02 0062d2 006304")));
        QCOMPARE(quint8(link.board.memory[98]), quint8(0xD2));
        QCOMPARE(quint8(link.board.memory[99]), quint8(0x04));
        QVERIFY(!link.comm.lastTransactionFailed());
        QVERIFY(!link.comm.CommError);
        QVERIFY(link.prompt.asked.isEmpty());
    }

    void secondWrongEchoIsNotReported()
    {
        Link link;
        link.open();
        link.port.responder = [](quint8 b, FakeSerialPort &p) {
            p.reply(b == 0xFF || b == 0x01 || b == 0x02 ? 0x55 : quint8(b ^ 1));
        };
        link.comm.RSWrite(QStringLiteral("B1000"), QStringLiteral("5"));
        QVERIFY(link.port.sentBytes().startsWith(QByteArray::fromHex("ff02 03")));
        QVERIFY(link.comm.writeFailed());
        QVERIFY(link.comm.lastTransactionFailed());
        QVERIFY(!link.comm.CommError);
        QVERIFY(link.prompt.asked.isEmpty());
    }

    void wrongReadEchoGivesZeroAndHandshakesAgain()
    {
        Link link;
        link.open();
        link.board.memory[52] = char(36);
        const FakeSerialPort::Responder boardSide = link.port.responder;
        bool corrupt = true;
        link.port.responder = [&corrupt, boardSide](quint8 b, FakeSerialPort &p) {
            if (b == 0x00 && corrupt) {
                corrupt = false;
                p.reply(0x07); // not the echo of the high address byte
                return;
            }
            boardSide(b, p);
        };
        QCOMPARE(link.comm.RSRead(QStringLiteral("B52")), QStringLiteral("0"));
        QCOMPARE(link.comm.currentMode(), qint16(0));
        QCOMPARE(link.comm.RSRead(QStringLiteral("B52")), QStringLiteral("36"));
        QVERIFY(link.prompt.asked.isEmpty());
    }

    void failedTransactionsAreFlagged()
    {
        Link link;
        link.open();
        link.board.memory[52] = char(36);
        QCOMPARE(link.comm.RSRead(QStringLiteral("B52")), QStringLiteral("36"));
        QVERIFY(!link.comm.lastTransactionFailed());

        // A read whose address echo is wrong yields "0": a failure, not a value.
        const FakeSerialPort::Responder boardSide = link.port.responder;
        link.port.responder = [boardSide](quint8 b, FakeSerialPort &p) {
            if (b == 0x00)
                p.reply(0x07);
            else
                boardSide(b, p);
        };
        QCOMPARE(link.comm.RSRead(QStringLiteral("B52")), QStringLiteral("0"));
        QVERIFY(link.comm.lastTransactionFailed());
        QVERIFY(!link.comm.CommError);

        // A write the board never echoes right, even on the second try.
        link.port.responder = [](quint8 b, FakeSerialPort &p) {
            p.reply(b == 0xFF || b == 0x01 || b == 0x02 ? 0x55 : quint8(b ^ 1));
        };
        link.comm.RSWrite(QStringLiteral("B1000"), QStringLiteral("5"));
        QVERIFY(link.comm.lastTransactionFailed());

        // A write repaired by its second try is a success.
        link.port.responder = boardSide;
        link.board.echoFaults.insert(1, FakeBoard::EchoFault::WrongReply);
        link.comm.RSWrite(QStringLiteral("W98"), QStringLiteral("1234"));
        QVERIFY(!link.comm.lastTransactionFailed());
        QCOMPARE(quint8(link.board.memory[98]), quint8(0xD2));
    }

    void hungUpDeviceFailsWithoutWaiting()
    {
        Link link;
        link.open();
        link.port.hangUpAfter = 3; // the USB adapter is pulled mid-read
        const qint64 start = link.clock.nowMs();
        QCOMPARE(link.comm.RSRead(QStringLiteral("D1100")), QStringLiteral("0"));
        QVERIFY(link.comm.CommError);
        QVERIFY(link.prompt.asked.isEmpty());
        QCOMPARE(link.clock.nowMs(), start);
        QVERIFY(!link.port.isOpen());
    }

    void closedPortFailsSilently()
    {
        Link link;
        QCOMPARE(link.comm.RSRead(QStringLiteral("W98")), QStringLiteral("0"));
        QVERIFY(link.comm.CommError);
        QVERIFY(link.prompt.asked.isEmpty());
        QVERIFY(link.port.sent.isEmpty());
    }

    void limitSwitchQueries()
    {
        Link link;
        link.open();
        link.port.responder = [](quint8 b, FakeSerialPort &p) {
            static int requests = 0;
            if (b == 0xFF || b == 0x48 || b == 0x18)
                p.reply(0x55);
            else if (b == 0x55)
                p.reply(++requests % 2 ? 0x23 : 0x01);
        };
        QCOMPARE(link.comm.PLSPos(), QStringLiteral(" 291"));
        QCOMPARE(link.port.sentBytes(), QByteArray::fromHex("ff48 5555"));
        QCOMPARE(link.comm.currentMode(), qint16(0));
        QCOMPARE(link.comm.PLSScaleFactor(), QStringLiteral(" 291"));

        // Mode byte never acknowledged: the handshake message, then -9999.
        link.port.responder = [](quint8 b, FakeSerialPort &p) {
            p.reply(b == 0xFF ? 0x55 : 0x00, 50);
        };
        link.prompt.answers = {PromptAnswer::Cancel};
        QCOMPARE(link.comm.PLSRpm(), QStringLiteral("-9999"));
        QVERIFY(link.comm.CommError);
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].text,
                 QStringLiteral("Cannot Set PLC Mode Within Target Board."));
    }

    void sameAddressReusesDecoding()
    {
        Link link;
        link.open();
        link.board.memory[1100] = char(0x0F);
        link.board.memory[1101] = char(0x27);
        link.board.memory[1102] = char(0x01);
        QCOMPARE(link.comm.RSRead(QStringLiteral("D1100")), QStringLiteral("19999"));
        QCOMPARE(link.comm.RSRead(QStringLiteral("D1100")), QStringLiteral("19999"));
        QCOMPARE(link.comm.RSRead(QStringLiteral("B1100")), QStringLiteral("15"));
        QCOMPARE(link.port.sentBytes(),
                 QByteArray::fromHex("ff01 044c044d044e044f 044c044d044e044f 044c"));
    }
};

QTEST_APPLESS_MAIN(TestRSComm)
#include "test_rscomm.moc"
