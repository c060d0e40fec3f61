// Limit-switch channel programming of RSComm against a fake limit switch, in
// fake time.
#include "comm/rscomm.h"
#include "fakes/fakeclock.h"
#include "fakes/fakeplsboard.h"
#include "fakes/fakeserialport.h"
#include "fakes/scriptedprompt.h"

#include <QTemporaryDir>
#include <QtTest>

namespace
{

const QString kNotProgrammed = QStringLiteral("\r\n\r\nPLS Channel will not be Programmed.");
const QString kReadyText = QStringLiteral("Cannot Determine PLS READY Mode Within Target Board.");
const QString kLinkTitle = QStringLiteral("WARNING - Communication Error!");

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray out;
    for (int v : values)
        out.append(char(v));
    return out;
}

// The ready poll of a board that is ready at once.
const QByteArray kReadyAtOnce = bytes({0x38, 0x55, 0x55});

} // namespace

struct PlsLink {
    QTemporaryDir dir;
    FakeClock clock;
    FakeSerialPort port{clock};
    FakePlsBoard board{clock};
    ScriptedPrompt prompt;
    RSComm comm{clock, prompt, dir.path()};

    PlsLink()
    {
        board.attach(port);
        comm.OpenRSComm(port);
        port.sent.clear();
    }
};

class TestRSCommPls : public QObject
{
    Q_OBJECT

private slots:
    void pulseTrainRecord()
    {
        PlsLink link;
        QVERIFY(link.comm.OnlineMode);
        QVERIFY(link.comm.PulseTrain(3, 10, 20, 300));
        // Scale query, then the record: channel, START low/high, ON, OFF, kind 0.
        QCOMPARE(link.port.sentBytes(),
                 bytes({0xFF, 0x18, 0x55, 0x55, 0xFF, 0x2B, 3, 0x2C, 0x01, 10, 20, 0}) +
                     kReadyAtOnce);
        QVERIFY(link.prompt.asked.isEmpty());
        QCOMPARE(link.comm.currentMode(), qint16(0));
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::Done);
    }

    void pulseTrainChecks_data()
    {
        QTest::addColumn<int>("on");
        QTest::addColumn<int>("off");
        QTest::addColumn<int>("start");
        QTest::addColumn<QString>("message");
        QTest::newRow("not a multiple")
            << 7 << 10 << 0 << "ON Division Plus OFF Division\r\nMust be a Multiple of 360.";
        QTest::newRow("ON 0") << 0 << 20 << 0
                              << "ON Division and OFF Division Must be Greater Than 0.";
        QTest::newRow("OFF 0 before multiple")
            << 7 << 0 << 0 << "ON Division and OFF Division Must be Greater Than 0.";
        QTest::newRow("ON 256") << 256 << 104 << 0
                                << "ON Division or OFF Division Must be Less Than 255.";
        QTest::newRow("OFF 300") << 60 << 300 << 0
                                 << "ON Division or OFF Division Must be Less Than 255.";
        QTest::newRow("start 360")
            << 10 << 20 << 360 << "Start Position Must Not Be Greater Than 359.";
    }
    void pulseTrainChecks()
    {
        QFETCH(int, on);
        QFETCH(int, off);
        QFETCH(int, start);
        QFETCH(QString, message);
        PlsLink link;
        QVERIFY(!link.comm.PulseTrain(1, qint16(on), qint16(off), qint16(start)));
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("PLS Pulse Train"));
        QCOMPARE(link.prompt.asked[0].text, message + kNotProgrammed);
        QCOMPARE(link.prompt.asked[0].icon, PromptIcon::Exclamation);
        QCOMPARE(link.prompt.asked[0].buttons, PromptButtons::Ok);
        // Only the scale factor was asked for (once more before a refusal that
        // depends on it).
        const QByteArray sent = link.port.sentBytes();
        QCOMPARE(sent, bytes({0xFF, 0x18, 0x55, 0x55}).repeated(qMax(1, int(sent.size() / 4))));
        QVERIFY(link.board.programmed.isEmpty());
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::ValueRefused);
        QVERIFY(!link.comm.CommError);
    }

    void pulseTrainOn255Accepted()
    {
        PlsLink link;
        QVERIFY(link.comm.PulseTrain(2, 255, 105, 359));
        QCOMPARE(link.board.programmed.size(), 1);
        QCOMPARE(link.board.programmed[0].modeByte, quint8(0x2B));
        QCOMPARE(link.board.programmed[0].bytes, bytes({2, 0x67, 0x01, 255, 105, 0}));
        QVERIFY(link.prompt.asked.isEmpty());
    }

    void pulseTrainFailureIsReported()
    {
        PlsLink link;
        link.board.refuseDataByte = 3;
        QVERIFY(!link.comm.PulseTrain(4, 10, 20, 0));
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("PLS Pulse Train"));
        QCOMPARE(link.prompt.asked[0].text,
                 QStringLiteral("Error Encountered while Programming Pulse Train.") +
                     kNotProgrammed);
        QCOMPARE(link.prompt.asked[0].icon, PromptIcon::Information);
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::BoardRefused);
        // Nothing after the refused byte: no further data and no ready poll.
        QCOMPARE(link.port.sentBytes().right(6), bytes({0xFF, 0x2B, 4, 0, 0, 10}));
        QCOMPARE(link.comm.currentMode(), qint16(0));
    }

    void singleSetpointLimit_data()
    {
        QTest::addColumn<int>("on");
        QTest::addColumn<int>("off");
        QTest::addColumn<int>("shown");
        QTest::newRow("on 360") << 360 << 10 << 360;
        QTest::newRow("off 400") << 10 << 400 << 400;
        QTest::newRow("both: on first") << 365 << 400 << 365;
    }
    void singleSetpointLimit()
    {
        QFETCH(int, on);
        QFETCH(int, off);
        QFETCH(int, shown);
        PlsLink link;
        QVERIFY(!link.comm.SingleSetpoint(1, qint16(on), qint16(off)));
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("PLS Single Setpoint"));
        QCOMPARE(link.prompt.asked[0].text,
                 QStringLiteral("Setpoint setting %1 is greater than scale factor.\r\n\r\n"
                                "Channel can not be programmed.")
                     .arg(shown));
        QCOMPARE(link.prompt.asked[0].icon, PromptIcon::Exclamation);
        QVERIFY(link.board.programmed.isEmpty());
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::ValueRefused);
    }

    void singleSetpointBytes()
    {
        PlsLink link;
        QVERIFY(link.comm.SingleSetpoint(7, 359, 45));
        QCOMPARE(link.port.sentBytes(),
                 bytes({0xFF, 0x18, 0x55, 0x55, 0xFF, 0x1B, 7, 0x67, 0x01, 45, 0, 1}) +
                     kReadyAtOnce);
        QVERIFY(link.prompt.asked.isEmpty());
    }

    void singleSetpointClearsFirst()
    {
        PlsLink link;
        QVERIFY(link.comm.SingleSetpoint(5, 100, 200, RSComm::ChannelClear::ClearFirst));
        QCOMPARE(link.board.programmed.size(), 2);
        QCOMPARE(link.board.programmed[0].modeByte, quint8(0x1B));
        QCOMPARE(link.board.programmed[0].bytes, bytes({5, 0, 0, 0, 0, 0}));
        QCOMPARE(link.board.programmed[1].bytes, bytes({5, 100, 0, 200, 0, 1}));
        QCOMPARE(link.board.readyPolls, 2);
    }

    void clearChannelBytes()
    {
        PlsLink link;
        QVERIFY(link.comm.ClearPLSChan(12));
        // No scale query: the record goes straight out.
        QCOMPARE(link.port.sentBytes(), bytes({0xFF, 0x1B, 12, 0, 0, 0, 0, 0}) + kReadyAtOnce);
    }

    void latchedErrorSendsNothing()
    {
        PlsLink link;
        link.comm.CommError = true;
        QVERIFY(!link.comm.SingleSetpoint(1, 10, 20));
        QVERIFY(!link.comm.PulseTrain(1, 10, 20, 0));
        QVERIFY(!link.comm.ClearPLSChan(1));
        QVERIFY(!link.comm.RecallChannel(1));
        QVERIFY(!link.comm.SetPLSOffset(1));
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::NoAnswer);
        QVERIFY(link.port.sent.isEmpty());
    }

    void setOffsetMakesPositionReadAsAsked()
    {
        PlsLink link;
        link.board.offset = 10;
        link.board.position = 100;
        link.board.scale = 360;
        QVERIFY(link.comm.SetPLSOffset(90));
        QCOMPARE(link.port.sentBytes(), bytes({0xFF, 0x28, 0x55, 0x55, 0xFF, 0x48, 0x55, 0x55, 0xFF,
                                               0x18, 0x55, 0x55, 0xFF, 0x2A, 20, 0}) +
                                            kReadyAtOnce);
        QCOMPARE(link.board.offset, 20);
    }

    void setOffsetWordBytes()
    {
        PlsLink link;
        link.board.scale = 1000;
        link.board.offset = 0;
        link.board.position = 700;
        QVERIFY(link.comm.SetPLSOffset(0));
        QCOMPARE(link.board.programmed.last().bytes, bytes({0xBC, 0x02})); // 700
        // A position equal to the scale is allowed and reads as 0.
        link.board.offset = 0;
        QVERIFY(link.comm.SetPLSOffset(1000));
        QCOMPARE(link.board.offset, 700);
    }

    void setOffsetBeyondScaleRefused()
    {
        PlsLink link;
        QVERIFY(!link.comm.SetPLSOffset(361));
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("Set PLS Offset"));
        QCOMPARE(link.prompt.asked[0].text,
                 QStringLiteral("Desired Position cannot be greater than Scale Factor of 360."
                                "\r\n\r\nPLS Offset will not be Programmed."));
        QCOMPARE(link.prompt.asked[0].icon, PromptIcon::Exclamation);
        QVERIFY(link.board.programmed.isEmpty());
    }

    void readyPollWaitsForBusyBoard()
    {
        PlsLink link;
        link.board.busyMs = 2500;
        link.board.notReadyAnswers = 3;
        QVERIFY(link.comm.ClearPLSChan(1));
        QVERIFY(link.prompt.asked.isEmpty());
        QVERIFY(link.board.busyAnswers > 100);
        QVERIFY(link.board.readyPolls > link.board.busyAnswers);
        QVERIFY(!link.comm.CommError);
    }

    void readyPollMessageAfterThreeSeconds()
    {
        PlsLink link;
        link.board.busyMs = 60000;
        const qint64 start = link.clock.nowMs();
        qint64 askedAt = 0;
        link.prompt.onAsk = [&](const ScriptedPrompt::Asked &) { askedAt = link.clock.nowMs(); };
        link.prompt.answers = {PromptAnswer::Cancel};
        QVERIFY(!link.comm.ClearPLSChan(1));
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, kLinkTitle);
        QCOMPARE(link.prompt.asked[0].text, kReadyText);
        QCOMPARE(link.prompt.asked[0].icon, PromptIcon::Critical);
        QCOMPARE(link.prompt.asked[0].buttons, PromptButtons::RetryCancel);
        QVERIFY2(askedAt - start >= 3000 && askedAt - start < 3100,
                 qPrintable(QString::number(askedAt - start)));
        QVERIFY(link.comm.CommError);
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::NotReady);
        // Cancel ends the poll: nothing more is sent.
        const qsizetype sent = link.port.sent.size();
        QVERIFY(!link.comm.ClearPLSChan(1));
        QCOMPARE(link.port.sent.size(), sent);
    }

    void readyPollRetryWaitsTwoSecondsMore()
    {
        PlsLink link;
        link.board.busyMs = 6000;
        const qint64 start = link.clock.nowMs();
        QList<qint64> askedAt;
        link.prompt.onAsk = [&](const ScriptedPrompt::Asked &) {
            askedAt.append(link.clock.nowMs() - start);
        };
        link.prompt.answers = {PromptAnswer::Retry, PromptAnswer::Retry};
        QVERIFY(link.comm.ClearPLSChan(1));
        QCOMPARE(askedAt.size(), 2);
        QVERIFY(askedAt[0] >= 3000 && askedAt[0] < 3100);
        QVERIFY(askedAt[1] - askedAt[0] >= 2000 && askedAt[1] - askedAt[0] < 2100);
        QVERIFY(!link.comm.CommError);
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::Done);
    }

    void recallChannel()
    {
        PlsLink link;
        link.board.recallAnswers[0] = 1;
        link.board.recallAnswers[1] = 0x2C;
        link.board.recallAnswers[2] = 0x01;
        QVERIFY(link.comm.RecallChannel(5));
        QCOMPARE(link.port.sentBytes(), bytes({0xFF, 0x09, 5, 0x55, 0x55, 0x55}));
        QCOMPARE(link.comm.ChannelRecallState(), qint16(1));
        QCOMPARE(link.comm.ChannelRecallPos(), qint16(300));
        QCOMPARE(link.comm.currentMode(), qint16(0));

        // High byte 16 is still a position.
        link.board.recallAnswers[0] = 0;
        link.board.recallAnswers[1] = 0xFF;
        link.board.recallAnswers[2] = 16;
        QVERIFY(link.comm.RecallChannel(6));
        QCOMPARE(link.comm.ChannelRecallState(), qint16(0));
        QCOMPARE(link.comm.ChannelRecallPos(), qint16(4351));
    }

    void recallRejectsPositionAbove16()
    {
        PlsLink link;
        link.board.recallAnswers[0] = 1;
        link.board.recallAnswers[1] = 0;
        link.board.recallAnswers[2] = 17;
        QVERIFY(!link.comm.RecallChannel(2));
        QCOMPARE(link.comm.ChannelRecallState(), qint16(2));
        QCOMPARE(link.comm.ChannelRecallPos(), qint16(0));
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::BoardRefused);
        QVERIFY(!link.comm.CommError);
    }

    void recallRefusedChannel()
    {
        PlsLink link;
        link.board.recallAnswers[1] = 0x10;
        QVERIFY(link.comm.RecallChannel(1));
        link.board.recallChannelReply = 0x0E;
        QVERIFY(!link.comm.RecallChannel(99));
        QCOMPARE(link.comm.ChannelRecallState(), qint16(2));
        QCOMPARE(link.comm.ChannelRecallPos(), qint16(0));
        QCOMPARE(link.port.sentBytes().right(3), bytes({0xFF, 0x09, 99}));
    }

    void recallSilentDuringAnswers()
    {
        PlsLink link;
        link.board.recallAnswers[0] = 1;
        // Handshake (2) and channel (1) answered, then one of the three.
        link.board.silenceAfter(4);
        link.prompt.answers = {PromptAnswer::Cancel};
        QVERIFY(!link.comm.RecallChannel(3));
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, kLinkTitle);
        QVERIFY(link.comm.CommError);
        QCOMPARE(link.comm.ChannelRecallState(), qint16(0));
        QCOMPARE(link.comm.ChannelRecallPos(), qint16(0));
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::NoAnswer);
    }

    void recallSilentBoardGivesState2()
    {
        PlsLink link;
        link.board.recallAnswers[0] = 1;
        QVERIFY(link.comm.RecallChannel(3)); // state 1 from a good recall
        link.board.silenceAfter(0);
        QVERIFY(!link.comm.RecallChannel(3));
        QVERIFY(link.comm.CommError);
        QCOMPARE(link.comm.ChannelRecallState(), qint16(2));
        QCOMPARE(link.comm.ChannelRecallPos(), qint16(0));
    }

    void configDownloadBytes()
    {
        PlsLink link;
        QList<qint16> values;
        for (int i = 0; i < 24; ++i)
            values.append(qint16(i * 10 + 5));
        values[23] = 255;
        QVERIFY(link.comm.PLSConfigDownload(values, 720));
        QByteArray expected;
        const int codes[4] = {0x3B, 0x4B, 0x5B, 0x6B};
        for (int b = 0; b < 4; ++b) {
            expected += bytes({0xFF, codes[b]});
            for (int i = 0; i < 6; ++i)
                expected.append(char(values[b * 6 + i]));
            expected += kReadyAtOnce;
        }
        expected += bytes({0xFF, 0x1A, 0xD0, 0x02}) + kReadyAtOnce;
        QCOMPARE(link.port.sentBytes(), expected);
        QCOMPARE(link.board.scale, 720);
        QVERIFY(link.prompt.asked.isEmpty());
    }

    void configDownloadRefusesBeforeSending_data()
    {
        QTest::addColumn<QList<qint16>>("values");
        QTest::addColumn<int>("scale");
        QList<qint16> good(24, 1);
        QList<qint16> big = good;
        big[17] = 256;
        QList<qint16> negative = good;
        negative[0] = -1;
        QTest::newRow("256") << big << 360;
        QTest::newRow("negative") << negative << 360;
        QTest::newRow("23 values") << QList<qint16>(23, 1) << 360;
        QTest::newRow("25 values") << QList<qint16>(25, 1) << 360;
        QTest::newRow("scale 0") << good << 0;
    }
    void configDownloadRefusesBeforeSending()
    {
        QFETCH(QList<qint16>, values);
        QFETCH(int, scale);
        PlsLink link;
        QVERIFY(!link.comm.PLSConfigDownload(values, qint16(scale)));
        QVERIFY(link.port.sent.isEmpty());
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("ENTRY ALERT"));
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::ValueRefused);
    }

    void configDownloadStopsAtFailedBlock()
    {
        PlsLink link;
        link.board.refuseDataByte = 0;
        QVERIFY(!link.comm.PLSConfigDownload(QList<qint16>(24, 9), 360));
        // The first block was refused: nothing of the others, nor the scale.
        QCOMPARE(link.port.sentBytes(), bytes({0xFF, 0x3B, 9}));
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::BoardRefused);
    }

    void configUpload()
    {
        PlsLink link;
        for (int i = 0; i < 19; ++i)
            link.board.configValues.append(quint8(200 + i));
        bool ok = false;
        const QList<qint16> values = link.comm.PLSConfigUpload(&ok);
        QVERIFY(ok);
        QCOMPARE(values.size(), 19);
        for (int i = 0; i < 19; ++i)
            QCOMPARE(values[i], qint16(200 + i));
        QCOMPARE(link.port.sentBytes(), bytes({0xFF, 0x0C}) + QByteArray(19, char(0x55)));
        QVERIFY(link.prompt.asked.isEmpty());
        QCOMPARE(link.comm.currentMode(), qint16(0));
    }

    void configUploadFailureKeepsWhatCame()
    {
        PlsLink link;
        for (int i = 0; i < 19; ++i)
            link.board.configValues.append(quint8(i + 1));
        link.board.silenceAfter(2 + 5); // handshake and five values
        link.prompt.answers = {PromptAnswer::Cancel};
        bool ok = true;
        const QList<qint16> values = link.comm.PLSConfigUpload(&ok);
        QVERIFY(!ok);
        QCOMPARE(values, (QList<qint16>{1, 2, 3, 4, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
        QCOMPARE(link.prompt.asked.size(), 2);
        QCOMPARE(link.prompt.asked[0].title, kLinkTitle);
        QCOMPARE(link.prompt.asked[1].title, QStringLiteral("PLS Upload"));
        QCOMPARE(link.prompt.asked[1].text,
                 QStringLiteral("Not able to Upload Configuration from PLS."));
        QCOMPARE(link.prompt.asked[1].icon, PromptIcon::Exclamation);
    }

    void refusedModeByteEndsInModeMessage()
    {
        PlsLink link;
        link.board.refusedModes = {0x1B};
        link.prompt.answers = {PromptAnswer::Cancel};
        QVERIFY(!link.comm.ClearPLSChan(1));
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].text,
                 QStringLiteral("Cannot Set PLC Mode Within Target Board."));
        QVERIFY(link.comm.CommError);
        QVERIFY(!link.comm.OnlineMode);
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::NoAnswer);
    }
};

QTEST_GUILESS_MAIN(TestRSCommPls)
#include "test_rscommpls.moc"
