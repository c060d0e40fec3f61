// Program transfers and limit-switch reads against the simulator's own board
// model, behind a fake port, with the faults it plays on the wire.
#include "boardmodel.h"
#include "fakes/fakelink.h"

#include <QRandomGenerator>
#include <QtTest>

namespace
{

QByteArray memory(const BoardModel &board, int from, int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(char(board.registers().byteAt(from + i)));
    return bytes;
}

// An image of 16-byte records with their right checksums.
QByteArray hexImage(int start, const QByteArray &data)
{
    QByteArray out;
    for (int at = 0; at < data.size(); at += 16) {
        const int address = start + at;
        QByteArray record;
        record.append(char(16)).append(char(address >> 8)).append(char(address)).append('\0');
        record.append(data.mid(at, 16));
        int sum = 0;
        for (const char b : std::as_const(record))
            sum += quint8(b);
        record.append(char(-sum));
        out += ':' + record.toHex().toUpper() + "\r\n";
    }
    return out + ":00000001FF\r\n";
}

} // namespace

// The simulator's board model behind the fake port, in fake time.
struct ModelLink : FakeLink {
    BoardModel model;

    ModelLink()
    {
        // Fake time stands still while nobody waits: a busy limit switch
        // would stay busy.
        model.limitSwitch().setClock([this] { return clock.nowMs(); });
        model.limitSwitch().setBusyMs(0);
        port.responder = [this](quint8 b, FakeSerialPort &p) {
            if (const auto reply = model.feed(b))
                p.reply(*reply);
        };
        open();
    }
    QString project(const QByteArray &hex)
    {
        write(QStringLiteral("prog.pdx"), "D,project\r\n");
        write(QStringLiteral("prog.rev"), "NEWPROG1<=05\r\n");
        write(QStringLiteral("prog.hex"), hex);
        return dir.filePath(QStringLiteral("prog.pdx"));
    }
};

class TestNoisyTransfer : public QObject
{
    Q_OBJECT

    QByteArray m_program;

private slots:
    void initTestCase()
    {
        QRandomGenerator random(20);
        for (int i = 0; i < 0x8000; ++i)
            m_program.append(char(random.bounded(256)));
    }

    // Line noise on a read's data byte has no echo to show it: every byte
    // of the file is confirmed before it is written.
    void uploadUnderNoiseIsTheBoardsProgram()
    {
        ModelLink link;
        const QByteArray ident("PROGID12\xCD\x05", 10);
        for (int i = 0; i < m_program.size(); ++i)
            link.model.registers().setByte(0x4000 + i, quint8(m_program.at(i)));
        for (int i = 0; i < ident.size(); ++i)
            link.model.registers().setByte(61424 + i, quint8(ident.at(i)));
        link.model.setGarbageEvery(7);
        link.comm.UploadFile(link.project("old image\r\n"));
        link.comm.setInUploadMode(true);
        link.comm.UploadProgram();
        QCOMPARE(link.lastText(), QStringLiteral("Program Upload Complete!"));
        QVERIFY(link.read(QStringLiteral("prog.hex")) == hexImage(0x4000, m_program));
        QCOMPARE(link.read(QStringLiteral("prog.rev")), QByteArray("PROGID12<=05\r\n"));
        QVERIFY(link.comm.programTransferFault().isEmpty());
    }

    // Each step before the first record must be answered as the board
    // answers it; a step that is not stops the download there, named.
    void downloadPreambleChecked_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QByteArray>("marker");
        QTest::addColumn<int>("offset");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("named");
        const QString complete = QStringLiteral("Program Download Complete!");
        const QString incomplete = QStringLiteral("Program Download Not Complete!");
        QTest::newRow("03 answered wrongly")
            << "wrong" << QByteArray::fromHex("ff03") << 1 << incomplete << "program-load mode";
        QTest::newRow("FF before 03 answered wrongly, said again")
            << "wrong" << QByteArray::fromHex("ff03") << 0 << complete << "";
        QTest::newRow("device gone writing B8181")
            << "hang-up" << QByteArray::fromHex("1ff556") << 2 << incomplete << "B8181";
        QTest::newRow("device gone in a record")
            << "hang-up" << QByteArray::fromHex("104100") << 0 << incomplete << "4100H";
    }
    void downloadPreambleChecked()
    {
        QFETCH(QString, fault);
        QFETCH(QByteArray, marker);
        QFETCH(int, offset);
        QFETCH(QString, text);
        QFETCH(QString, named);

        // A clean run shows where the marked byte goes out.
        ModelLink clean, link;
        for (ModelLink *l : {&clean, &link}) {
            l->comm.DownloadFile(l->project(hexImage(0x4000, m_program.left(4096))));
            l->prompt.answers = {PromptAnswer::Yes};
        }
        clean.comm.DumpProgram();
        QCOMPARE(clean.lastText(), QStringLiteral("Program Download Complete!"));
        const QByteArray sent = clean.port.sentBytes();
        QVERIFY(sent.contains(marker));
        const int at = int(sent.indexOf(marker)) + offset + 1;
        if (fault == u"wrong")
            link.model.setWrongAnswerAt(link.model.exchanges() + at);
        else
            link.port.hangUpAfter = at - 1;
        link.comm.DumpProgram();

        QVERIFY2(link.lastText().startsWith(text), qPrintable(link.lastText()));
        for (const auto &asked : std::as_const(link.prompt.asked))
            QVERIFY(!asked.text.startsWith(QStringLiteral("Checksum Error")));
        QVERIFY(link.comm.programTransferFault().contains(named));
        if (text == u"Program Download Complete!") {
            QVERIFY(memory(link.model, 0x4000, 4096) == m_program.left(4096));
        } else if (named != u"4100H") {
            QVERIFY(!link.model.inProgramLoad());
            QCOMPARE(link.model.programMemory().recordsLoaded(), 0);
            QVERIFY(!link.comm.OnlineMode);
        }
    }

    // A setpoint under line noise: the operator's value is judged only
    // against a scale read cleanly, the record goes to the channel asked
    // for, and garbled answers are never called the board's refusal.
    void setpointUnderNoise_data()
    {
        QTest::addColumn<int>("wrongAt");
        QTest::addColumn<int>("garbageEvery");
        QTest::addColumn<bool>("mustSucceed");
        // After the opening probe: FF 18, the scale's low and high byte,
        // then FF 1B and the record.
        QTest::newRow("scale high byte corrupted (reads 104)") << 4 << 0 << true;
        QTest::newRow("mode byte answered wrongly") << 6 << 0 << true;
        QTest::newRow("channel byte answered wrongly") << 7 << 0 << true;
        QTest::newRow("last record byte answered wrongly") << 12 << 0 << true;
        QTest::newRow("every 4th answer garbage") << 0 << 4 << false;
    }
    void setpointUnderNoise()
    {
        QFETCH(int, wrongAt);
        QFETCH(int, garbageEvery);
        QFETCH(bool, mustSucceed);
        ModelLink link;
        link.model.registers().setWord(186, 360); // the resolver's scale
        if (wrongAt > 0)
            link.model.setWrongAnswerAt(link.model.exchanges() + wrongAt);
        link.model.setGarbageEvery(garbageEvery);

        const bool done = link.comm.SingleSetpoint(3, 100, 200);

        const PlsModel::Channel &channel = link.model.limitSwitch().channel(3);
        const bool programmed = channel.kind == PlsModel::Channel::Kind::Setpoint &&
                                channel.first == 100 && channel.second == 200;
        QVERIFY(done || !mustSucceed);
        QVERIFY(!done || programmed);
        const RSComm::PLSOutcome outcome = link.comm.plsOutcome();
        QVERIFY(outcome == RSComm::PLSOutcome::Done || outcome == RSComm::PLSOutcome::NoAnswer);
        QVERIFY(done || !link.comm.plsFault().isEmpty());
        // The mode byte went out once for each record: never an FF inside one.
        if (done)
            QCOMPARE(link.port.sentBytes().count(QByteArray::fromHex("ff1b")), 1);
        for (int chan = 0; chan < PlsModel::ChannelCount; ++chan)
            QVERIFY(chan == 3 ||
                    link.model.limitSwitch().channel(chan).kind == PlsModel::Channel::Kind::Clear);
    }
};

QTEST_GUILESS_MAIN(TestNoisyTransfer)
#include "test_noisytransfer.moc"
