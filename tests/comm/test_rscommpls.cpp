// Limit-switch programming of the link against a fake limit switch, in fake time.
#include "fakes/fakelink.h"
#include "fakes/fakeplsboard.h"

#include <QtTest>

namespace
{
const QString kNotProgrammed = QStringLiteral("\r\n\r\nPLS Channel will not be Programmed.");
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
const QByteArray kScaleQuery = bytes({0xFF, 0x18, 0x55, 0x55});
} // namespace

// The fake link with the limit-switch side of the board behind the port.
struct PlsLink : FakeLink {
    FakePlsBoard pls{clock};

    PlsLink()
    {
        pls.attach(port);
        open();
    }
    // The one box asked, checked whole.
    void asked(const QString &title, const QString &text, PromptIcon icon)
    {
        QCOMPARE(prompt.asked.size(), 1);
        QCOMPARE(prompt.asked[0].title, title);
        QCOMPARE(prompt.asked[0].text, text);
        QCOMPARE(prompt.asked[0].icon, icon);
    }
};

class TestRSCommPls : public QObject
{
    Q_OBJECT

private slots:
    void recordsOnTheWire()
    {
        PlsLink link;
        // Scale query, then the record: channel, START low/high, ON, OFF, kind 0.
        QVERIFY(link.comm.PulseTrain(3, 10, 20, 300));
        QCOMPARE(link.port.sentBytes(),
                 kScaleQuery + bytes({0xFF, 0x2B, 3, 0x2C, 0x01, 10, 20, 0}) + kReadyAtOnce);
        QCOMPARE(link.comm.currentMode(), qint16(0));
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::Done);
        link.port.sent.clear();
        QVERIFY(link.comm.SingleSetpoint(7, 359, 45));
        QCOMPARE(link.port.sentBytes(),
                 kScaleQuery + bytes({0xFF, 0x1B, 7, 0x67, 0x01, 45, 0, 1}) + kReadyAtOnce);
        // A clear needs no scale: the record goes straight out.
        link.port.sent.clear();
        QVERIFY(link.comm.ClearPLSChan(12));
        QCOMPARE(link.port.sentBytes(), bytes({0xFF, 0x1B, 12, 0, 0, 0, 0, 0}) + kReadyAtOnce);
        link.pls.programmed.clear();
        QVERIFY(link.comm.SingleSetpoint(5, 100, 200, RSComm::ChannelClear::ClearFirst));
        QCOMPARE(link.pls.programmed.size(), 2);
        QCOMPARE(link.pls.programmed[0].bytes, bytes({5, 0, 0, 0, 0, 0}));
        QCOMPARE(link.pls.programmed[1].bytes, bytes({5, 100, 0, 200, 0, 1}));
        QVERIFY(link.prompt.asked.isEmpty());
    }

    // A value the scale does not allow is refused before any record is sent;
    // only the scale was asked for (once more before a refusal resting on it).
    void valueRefused_data()
    {
        QTest::addColumn<int>("start"); // -1: a single setpoint
        QTest::addColumn<int>("on");
        QTest::addColumn<int>("off");
        QTest::addColumn<QString>("message");
        const QString multiple = "ON Division Plus OFF Division\r\nMust be a Multiple of 360.";
        const QString zero = "ON Division and OFF Division Must be Greater Than 0.";
        const QString big = "ON Division or OFF Division Must be Less Than 255.";
        const QString setpoint = "Setpoint setting %1 is greater than scale factor.";
        QTest::newRow("not a multiple") << 0 << 7 << 10 << multiple;
        QTest::newRow("ON 0") << 0 << 0 << 20 << zero;
        QTest::newRow("OFF 0 before multiple") << 0 << 7 << 0 << zero;
        QTest::newRow("ON 256") << 0 << 256 << 104 << big;
        QTest::newRow("OFF 300") << 0 << 60 << 300 << big;
        QTest::newRow("start 360")
            << 360 << 10 << 20 << "Start Position Must Not Be Greater Than 359.";
        QTest::newRow("setpoint on 360") << -1 << 360 << 10 << setpoint.arg(360);
        QTest::newRow("setpoint off 400") << -1 << 10 << 400 << setpoint.arg(400);
    }
    void valueRefused()
    {
        QFETCH(int, start);
        QFETCH(int, on);
        QFETCH(int, off);
        QFETCH(QString, message);
        PlsLink link;
        if (start < 0) {
            QVERIFY(!link.comm.SingleSetpoint(1, qint16(on), qint16(off)));
            link.asked(QStringLiteral("PLS Single Setpoint"),
                       message + QStringLiteral("\r\n\r\nChannel can not be programmed."),
                       PromptIcon::Exclamation);
        } else {
            QVERIFY(!link.comm.PulseTrain(1, qint16(on), qint16(off), qint16(start)));
            link.asked(QStringLiteral("PLS Pulse Train"), message + kNotProgrammed,
                       PromptIcon::Exclamation);
        }
        const QByteArray sent = link.port.sentBytes();
        QCOMPARE(sent, kScaleQuery.repeated(qMax(1, int(sent.size() / 4))));
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::ValueRefused);
    }

    void refusedRecordIsReported()
    {
        PlsLink link;
        link.pls.refuseDataByte = 3;
        QVERIFY(!link.comm.PulseTrain(4, 10, 20, 0));
        link.asked(QStringLiteral("PLS Pulse Train"),
                   QStringLiteral("Error Encountered while Programming Pulse Train.") +
                       kNotProgrammed,
                   PromptIcon::Information);
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::BoardRefused);
        // Nothing after the refused byte: no further data and no ready poll.
        QCOMPARE(link.port.sentBytes().right(6), bytes({0xFF, 0x2B, 4, 0, 0, 10}));
        QCOMPARE(link.comm.currentMode(), qint16(0));
    }

    void refusedModeByteEndsInModeMessage()
    {
        PlsLink link;
        link.pls.refusedModes = {0x1B};
        link.prompt.answers = {PromptAnswer::Cancel};
        QVERIFY(!link.comm.ClearPLSChan(1));
        link.asked(kLinkTitle, QStringLiteral("Cannot Set PLC Mode Within Target Board."),
                   PromptIcon::Critical);
        QVERIFY(!link.comm.OnlineMode);
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::NoAnswer);
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
        link.pls.offset = 10;
        link.pls.position = 100;
        QVERIFY(link.comm.SetPLSOffset(90));
        QCOMPARE(link.port.sentBytes(), bytes({0xFF, 0x28, 0x55, 0x55, 0xFF, 0x48, 0x55, 0x55}) +
                                            kScaleQuery + bytes({0xFF, 0x2A, 20, 0}) +
                                            kReadyAtOnce);
        // A position equal to the scale is allowed and reads as 0.
        link.pls.scale = 1000;
        link.pls.offset = 0;
        link.pls.position = 700;
        QVERIFY(link.comm.SetPLSOffset(1000));
        QCOMPARE(link.pls.programmed.last().bytes, bytes({0xBC, 0x02}));
        QVERIFY(link.prompt.asked.isEmpty());
    }

    // Not ready after 3 s asks Retry/Cancel; each Retry waits 2 s more.
    void readyPollTimeLimit_data()
    {
        QTest::addColumn<int>("busyMs");
        QTest::addColumn<QList<int>>("answers"); // PromptAnswer values
        QTest::addColumn<bool>("done");
        QTest::newRow("busy, then ready") << 2500 << QList<int>{} << true;
        QTest::newRow("cancel") << 60000 << QList<int>{int(PromptAnswer::Cancel)} << false;
        QTest::newRow("retry twice")
            << 6000 << QList<int>{int(PromptAnswer::Retry), int(PromptAnswer::Retry)} << true;
    }
    void readyPollTimeLimit()
    {
        QFETCH(int, busyMs);
        QFETCH(QList<int>, answers);
        QFETCH(bool, done);
        PlsLink link;
        link.pls.busyMs = busyMs;
        link.pls.notReadyAnswers = 3; // neither ready nor busy: ask again
        for (int a : answers)
            link.prompt.answers.append(PromptAnswer(a));
        const qint64 start = link.clock.nowMs();
        QList<qint64> askedAt;
        link.prompt.onAsk = [&](const ScriptedPrompt::Asked &a) {
            askedAt.append(link.clock.nowMs() - start);
            QCOMPARE(a.text,
                     QStringLiteral("Cannot Determine PLS READY Mode Within Target Board."));
            QCOMPARE(a.buttons, PromptButtons::RetryCancel);
        };
        QCOMPARE(link.comm.ClearPLSChan(1), done);
        QCOMPARE(askedAt.size(), answers.size());
        for (int i = 0; i < askedAt.size(); ++i) {
            const qint64 since = askedAt[i] - (i ? askedAt[i - 1] : 0);
            QVERIFY2(since >= (i ? 2000 : 3000) && since < (i ? 2100 : 3100),
                     qPrintable(QString::number(since)));
        }
        QCOMPARE(link.comm.CommError, !done);
        QCOMPARE(link.comm.plsOutcome(),
                 done ? RSComm::PLSOutcome::Done : RSComm::PLSOutcome::NotReady);
    }

    void recallChannel_data()
    {
        QTest::addColumn<QByteArray>("answers"); // state, position low and high
        QTest::addColumn<int>("channelReply");
        QTest::addColumn<int>("silenceAfter"); // bytes answered from now, -1 never
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("state");
        QTest::addColumn<int>("position");
        QTest::addColumn<int>("outcome");
        const int done = int(RSComm::PLSOutcome::Done),
                  refused = int(RSComm::PLSOutcome::BoardRefused),
                  noAnswer = int(RSComm::PLSOutcome::NoAnswer);
        QTest::newRow("on at 300")
            << bytes({1, 0x2C, 0x01}) << 0x55 << -1 << true << 1 << 300 << done;
        QTest::newRow("high byte 16 is a position")
            << bytes({0, 0xFF, 16}) << 0x55 << -1 << true << 0 << 4351 << done;
        QTest::newRow("high byte 17 is not")
            << bytes({1, 0, 17}) << 0x55 << -1 << false << 2 << 0 << refused;
        QTest::newRow("channel refused")
            << bytes({1, 0x10, 0}) << 0x0E << -1 << false << 2 << 0 << refused;
        // Handshake (2) and channel (1) answered, then one of the three.
        QTest::newRow("silent in the answers")
            << bytes({1, 0, 0}) << 0x55 << 4 << false << 0 << 0 << noAnswer;
        QTest::newRow("silent") << bytes({1, 0, 0}) << 0x55 << 0 << false << 2 << 0 << noAnswer;
    }
    void recallChannel()
    {
        QFETCH(QByteArray, answers);
        QFETCH(int, channelReply);
        QFETCH(int, silenceAfter);
        QFETCH(bool, ok);
        PlsLink link;
        link.pls.recallAnswers[0] = 1;
        QVERIFY(link.comm.RecallChannel(9)); // a state that must not linger
        link.port.sent.clear();
        for (int i = 0; i < 3; ++i)
            link.pls.recallAnswers[i] = quint8(answers[i]);
        link.pls.recallChannelReply = quint8(channelReply);
        if (silenceAfter >= 0)
            link.pls.silenceAfter(silenceAfter);
        link.prompt.answers = {PromptAnswer::Cancel};
        QCOMPARE(link.comm.RecallChannel(5), ok);
        QTEST(int(link.comm.ChannelRecallState()), "state");
        QTEST(int(link.comm.ChannelRecallPos()), "position");
        QTEST(int(link.comm.plsOutcome()), "outcome");
        QCOMPARE(link.comm.CommError, silenceAfter >= 0);
        if (silenceAfter < 0) // nothing more after a refused channel
            QCOMPARE(link.port.sentBytes(),
                     bytes({0xFF, 0x09, 5}) + QByteArray(channelReply == 0x55 ? 3 : 0, 0x55));
        QCOMPARE(link.comm.currentMode(), qint16(0));
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
        for (int b = 0; b < 4; ++b) {
            expected += bytes({0xFF, 0x3B + 0x10 * b});
            for (int i = 0; i < 6; ++i)
                expected.append(char(values[b * 6 + i]));
            expected += kReadyAtOnce;
        }
        QCOMPARE(link.port.sentBytes(), expected + bytes({0xFF, 0x1A, 0xD0, 0x02}) + kReadyAtOnce);
        QCOMPARE(link.pls.scale, 720);
        QVERIFY(link.prompt.asked.isEmpty());

        // The first block refused: nothing of the others, nor the scale.
        link.port.sent.clear();
        link.pls.refuseDataByte = 0;
        QVERIFY(!link.comm.PLSConfigDownload(QList<qint16>(24, 9), 360));
        QCOMPARE(link.port.sentBytes(), bytes({0xFF, 0x3B, 9}));
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::BoardRefused);
    }

    void configDownloadRefusesBeforeSending_data()
    {
        QTest::addColumn<QList<qint16>>("values");
        QTest::addColumn<int>("scale");
        const QList<qint16> good(24, 1);
        QList<qint16> big = good, negative = good;
        big[17] = 256;
        negative[0] = -1;
        QTest::newRow("256") << big << 360;
        QTest::newRow("negative") << negative << 360;
        QTest::newRow("23 values") << QList<qint16>(23, 1) << 360;
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
        QCOMPARE(link.comm.plsOutcome(), RSComm::PLSOutcome::ValueRefused);
    }

    void configUpload()
    {
        PlsLink link;
        QList<qint16> expected;
        for (int i = 0; i < 19; ++i) {
            link.pls.configValues.append(quint8(200 + i));
            expected.append(qint16(200 + i));
        }
        bool ok = false;
        QCOMPARE(link.comm.PLSConfigUpload(&ok), expected);
        QVERIFY(ok);
        QCOMPARE(link.port.sentBytes(), bytes({0xFF, 0x0C}) + QByteArray(19, char(0x55)));
        QCOMPARE(link.comm.currentMode(), qint16(0));
        QVERIFY(link.prompt.asked.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestRSCommPls)
#include "test_rscommpls.moc"
