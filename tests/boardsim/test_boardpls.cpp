// The limit-switch side of the simulated board, fed byte by byte.
#include "boardmodel.h"
#include "boardregisters.h"
#include "commandprocessor.h"
#include "plsmodel.h"
#include "simsettings.h"
#include "wiretable.h"

#include <QTest>

#include <vector>

namespace
{

// The board's limit switch with time that moves only when told.
struct Board {
    BoardModel model;
    qint64 now = 0;

    Board()
    {
        model.registers().setWord(BoardRegisters::ResolverScale, 360);
        model.limitSwitch().setClock([this] { return now; });
        model.limitSwitch().setBusyMs(0);
    }
    PlsModel &pls() { return model.limitSwitch(); }
    // Handshake, the bytes each acknowledged, and a poll that finds it ready.
    QString program(quint8 modeByte, const std::vector<int> &bytes)
    {
        std::vector<Exchange> table{{0xFF, 0x55}, {modeByte, 0x55}};
        for (int b : bytes)
            table.push_back({b, 0x55});
        table.insert(table.end(), {{0x38, 0x55}, {0x55, 0x00}, {0x55, 0x55}});
        return runWire(model, table);
    }
};

} // namespace

class TestBoardPls : public QObject
{
    Q_OBJECT

private slots:
    void setpointWithReadyPoll()
    {
        Board b;
        b.pls().setBusyMs(20);
        EXPECT_WIRE(b.model, {{0xFF, 0x55},
                              {0x1B, 0x55},
                              {3, 0x55},
                              {100, 0x55},
                              {0, 0x55},
                              {200, 0x55},
                              {0, 0x55},
                              {1, 0x55}});
        QCOMPARE(b.model.mode(), BoardModel::Mode::LimitSwitch);
        // Busy until 20 ms have passed.
        EXPECT_WIRE(b.model, {{0x38, 0x55}, {0x55, 0x55}, {0x38, 0x55}, {0x55, 0x55}});
        b.now += 20;
        EXPECT_WIRE(b.model, {{0x38, 0x55}, {0x55, 0x00}, {0x55, 0x55}});
        QCOMPARE(b.model.mode(), BoardModel::Mode::None);
        const PlsModel::Channel &c = b.pls().channel(3);
        QCOMPARE(c.kind, PlsModel::Channel::Kind::Setpoint);
        QCOMPARE(c.first, quint16(100));
        QCOMPARE(c.second, quint16(200));
    }

    void dataBytesMayBeFF()
    {
        Board b;
        b.model.registers().setWord(BoardRegisters::ResolverScale, 1000);
        // ON position 255, OFF position 0x1FF: FF is data here, not attention.
        const QString mismatch = b.program(0x1B, {0, 0xFF, 0, 0xFF, 1, 1});
        QVERIFY2(mismatch.isEmpty(), qPrintable(mismatch));
        QCOMPARE(b.pls().channel(0).first, quint16(255));
        QCOMPARE(b.pls().channel(0).second, quint16(511));
    }

    void attentionEndsThePoll()
    {
        Board b;
        b.pls().setBusyMs(1000);
        EXPECT_WIRE(b.model, {{0xFF, 0x55},
                              {0x2A, 0x55},
                              {5, 0x55},
                              {0, 0x55},
                              {0x38, 0x55},
                              {0x55, 0x55},
                              {0xFF, 0x55},
                              {0x01, 0x55}});
        QCOMPARE(b.model.mode(), BoardModel::Mode::Read);
        QCOMPARE(b.model.registers().wordAt(BoardRegisters::ResolverOffset), quint16(5));
    }

    void pulseTrain()
    {
        Board b;
        QVERIFY(b.program(0x2B, {7, 0x2C, 0x01, 10, 20, 0}).isEmpty());
        const PlsModel::Channel &c = b.pls().channel(7);
        QCOMPARE(c.kind, PlsModel::Channel::Kind::PulseTrain);
        QCOMPARE(c.first, quint16(300));
        QCOMPARE(c.second, quint16(20 * 256 + 10));
        // Cleared by an all-zero setpoint record.
        QVERIFY(b.program(0x1B, {7, 0, 0, 0, 0, 0}).isEmpty());
        QCOMPARE(b.pls().channel(7).kind, PlsModel::Channel::Kind::Clear);
    }

    void refusedRecords_data()
    {
        QTest::addColumn<int>("modeByte");
        QTest::addColumn<QByteArray>("record");
        QTest::newRow("setpoint at scale") << 0x1B << QByteArray::fromHex("0268010a0001");
        QTest::newRow("off beyond scale") << 0x1B << QByteArray::fromHex("020a00ff0101");
        QTest::newRow("clear with values") << 0x1B << QByteArray::fromHex("020100000000");
        QTest::newRow("kind 2") << 0x1B << QByteArray::fromHex("020100020002");
        QTest::newRow("pulse not dividing") << 0x2B << QByteArray::fromHex("020000070a00");
        QTest::newRow("pulse ON 0") << 0x2B << QByteArray::fromHex("020000001400");
        QTest::newRow("pulse start at scale") << 0x2B << QByteArray::fromHex("0268010a1400");
        QTest::newRow("pulse kind 1") << 0x2B << QByteArray::fromHex("0200000a1401");
    }
    void refusedRecords()
    {
        QFETCH(int, modeByte);
        QFETCH(QByteArray, record);
        Board b;
        QVERIFY(b.program(0x1B, {2, 1, 0, 2, 0, 1}).isEmpty());
        std::vector<Exchange> table{{0xFF, 0x55}, {modeByte, 0x55}};
        for (int i = 0; i < 5; ++i)
            table.push_back({quint8(record[i]), 0x55});
        EXPECT_WIRE(b.model, table);
        const auto last = b.model.feed(quint8(record[5]));
        QVERIFY(last.has_value());
        QVERIFY(*last != 0x55);
        QCOMPARE(b.model.mode(), BoardModel::Mode::None);
        // The channel keeps what it had.
        QCOMPARE(b.pls().channel(2).kind, PlsModel::Channel::Kind::Setpoint);
        QCOMPARE(b.pls().channel(2).first, quint16(1));
    }

    void channelBeyondLastRefusedAtOnce()
    {
        Board b;
        const auto reply = [&] {
            b.model.feed(0xFF);
            b.model.feed(0x1B);
            return b.model.feed(quint8(PlsModel::ChannelCount));
        }();
        QVERIFY(reply && *reply != 0x55);
        QCOMPARE(b.model.mode(), BoardModel::Mode::None);
        QVERIFY(b.program(0x1B, {PlsModel::ChannelCount - 1, 1, 0, 2, 0, 1}).isEmpty());
    }

    void offsetAndScaleWords()
    {
        Board b;
        QVERIFY(b.program(0x1A, {0xD0, 0x02}).isEmpty());
        QCOMPARE(b.model.registers().wordAt(BoardRegisters::ResolverScale), quint16(720));
        QVERIFY(b.program(0x2A, {0xBC, 0x02}).isEmpty());
        QCOMPARE(b.model.registers().wordAt(BoardRegisters::ResolverOffset), quint16(700));
        // The queries see them.
        EXPECT_WIRE(b.model, {{0xFF, 0x55}, {0x28, 0x55}, {0x55, 0xBC}, {0x55, 0x02}});
        EXPECT_WIRE(b.model, {{0xFF, 0x55}, {0x18, 0x55}, {0x55, 0xD0}, {0x55, 0x02}});
        // An offset of a whole turn or more, and a scale of 0, are refused.
        EXPECT_WIRE(b.model, {{0xFF, 0x55}, {0x2A, 0x55}, {0xD0, 0x55}});
        QVERIFY(b.model.feed(0x02) != quint8(0x55));
        EXPECT_WIRE(b.model, {{0xFF, 0x55}, {0x1A, 0x55}, {0, 0x55}});
        QVERIFY(b.model.feed(0) != quint8(0x55));
        QCOMPARE(b.model.registers().wordAt(BoardRegisters::ResolverOffset), quint16(700));
        QCOMPARE(b.model.registers().wordAt(BoardRegisters::ResolverScale), quint16(720));
    }

    void writesAreSeenByTheWatcher()
    {
        Board b;
        std::vector<int> written;
        b.model.setWriteObserver([&](int address) { written.push_back(address); });
        QVERIFY(b.program(0x2A, {9, 0}).isEmpty());
        QCOMPARE(written, (std::vector<int>{BoardRegisters::ResolverOffset,
                                            BoardRegisters::ResolverOffset + 1}));
    }

    void configurationDownloadThenRead()
    {
        Board b;
        const quint8 codes[4] = {0x3B, 0x4B, 0x5B, 0x6B};
        for (int block = 0; block < 4; ++block) {
            std::vector<int> bytes;
            for (int i = 0; i < 6; ++i)
                bytes.push_back(200 + block * 6 + i);
            QVERIFY(b.program(codes[block], bytes).isEmpty());
        }
        for (int i = 0; i < PlsModel::ConfigCount; ++i)
            QCOMPARE(b.pls().config()[size_t(i)], quint8(200 + i));
        std::vector<Exchange> read{{0xFF, 0x55}, {0x0C, 0x55}};
        for (int i = 0; i < 19; ++i)
            read.push_back({0x55, 200 + i});
        EXPECT_WIRE(b.model, read);
        QCOMPARE(b.model.mode(), BoardModel::Mode::None);
    }

    void recall()
    {
        Board b;
        QVERIFY(b.program(0x1B, {4, 0x2C, 0x01, 0x40, 0x01, 1}).isEmpty());
        QVERIFY(b.program(0x2B, {5, 30, 0, 10, 20, 0}).isEmpty());
        EXPECT_WIRE(b.model,
                    {{0xFF, 0x55}, {0x09, 0x55}, {4, 0x55}, {0x55, 1}, {0x55, 0x2C}, {0x55, 0x01}});
        EXPECT_WIRE(b.model,
                    {{0xFF, 0x55}, {0x09, 0x55}, {5, 0x55}, {0x55, 0}, {0x55, 30}, {0x55, 0}});
        EXPECT_WIRE(b.model,
                    {{0xFF, 0x55}, {0x09, 0x55}, {6, 0x55}, {0x55, 0}, {0x55, 0}, {0x55, 0}});
        QCOMPARE(b.model.mode(), BoardModel::Mode::None);
        EXPECT_WIRE(b.model, {{0xFF, 0x55}, {0x09, 0x55}});
        QVERIFY(b.model.feed(40) != quint8(0x55));
    }

    void console()
    {
        Board b;
        SimSettings settings;
        CommandProcessor console(b.model, settings);
        QVERIFY(b.program(0x1B, {1, 10, 0, 20, 0, 1}).isEmpty());
        QVERIFY(b.program(0x2B, {2, 30, 0, 10, 20, 0}).isEmpty());
        QCOMPARE(console.execute(u"pls channel 1").reply, QStringLiteral("setpoint 10 20"));
        QCOMPARE(console.execute(u"pls channel 2").reply, QStringLiteral("pulse 30 10 20"));
        QCOMPARE(console.execute(u"pls channel 3").reply, QStringLiteral("clear"));
        QVERIFY(console.execute(u"pls channel 32").reply.startsWith(u"error: "));
        QCOMPARE(console.execute(u"pls busy 4000").reply, QStringLiteral("ok"));
        QCOMPARE(b.pls().busyMs(), 4000);
        QVERIFY(console.execute(u"pls busy x").reply.startsWith(u"error: "));
        QVERIFY(console.execute(u"pls").reply.startsWith(u"error: "));
        QCOMPARE(console.execute(u"pls config").reply.split(u' ').size(), 24);
        b.model.feed(0xFF);
        b.model.feed(0x0C);
        QCOMPARE(console.execute(u"mode").reply, QStringLiteral("limit-switch"));
    }
};

QTEST_GUILESS_MAIN(TestBoardPls)
#include "test_boardpls.moc"
