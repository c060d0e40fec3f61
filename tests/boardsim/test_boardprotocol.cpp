// The board's end of the PROG port dialogue, fed byte by byte.
#include "boardmodel.h"
#include "boardregisters.h"
#include "wiretable.h"

#include <QTest>

#include <vector>

namespace
{

// Feeds the bytes and returns what the board answered (-1 for no answer).
std::vector<int> feedAll(BoardModel &board, const std::vector<int> &bytes)
{
    std::vector<int> replies;
    for (int b : bytes) {
        const auto reply = board.feed(quint8(b));
        replies.push_back(reply ? int(*reply) : -1);
    }
    return replies;
}

// What the PC does to put the board into a mode: attention until 55, then
// the mode byte. Returns the number of attention bytes it took, 0 if the
// board never acknowledged within the attempts.
int handshake(BoardModel &board, quint8 modeByte, int attempts = 6)
{
    for (int i = 1; i <= attempts; ++i) {
        if (board.feed(BoardModel::Attention) != BoardModel::Acknowledge)
            continue;
        if (board.feed(modeByte) == BoardModel::Acknowledge)
            return i;
    }
    return 0;
}

} // namespace

class TestBoardProtocol : public QObject
{
    Q_OBJECT

private slots:
    void handshakes_data();
    void handshakes();
    void refusedModeByte();
    void readW98();
    void writeW98();
    void writeDoubleWithFFBytes();
    void readHighAddresses();
    void leavingReadMode();
    void leavingWriteMode();
    void ffInsideATransactionIsData();
    void injectedFaults();
    void resynchronisation();
    void wrongEchoInjection();
    void limitSwitchQueries_data();
    void limitSwitchQueries();
    void consoleValues();
};

void TestBoardProtocol::handshakes_data()
{
    QTest::addColumn<int>("modeByte");
    QTest::addColumn<int>("mode");
    QTest::newRow("read") << 1 << int(BoardModel::Mode::Read);
    QTest::newRow("write") << 2 << int(BoardModel::Mode::Write);
    QTest::newRow("query position") << 0x48 << int(BoardModel::Mode::Query);
}

void TestBoardProtocol::handshakes()
{
    QFETCH(int, modeByte);
    QFETCH(int, mode);
    BoardModel board;
    QCOMPARE(board.mode(), BoardModel::Mode::None);
    // Probe first, as the PC does when it opens the link: any answer will do.
    QVERIFY(board.feed(0xFF).has_value());
    EXPECT_WIRE(board, {{0xFF, 0x55}, {modeByte, 0x55}});
    QCOMPARE(int(board.mode()), mode);
    // A repeated attention while awaiting the mode byte is acknowledged again.
    BoardModel fresh;
    EXPECT_WIRE(fresh, {{0xFF, 0x55}, {0xFF, 0x55}, {0xFF, 0x55}, {modeByte, 0x55}});
    QCOMPARE(int(fresh.mode()), mode);
}

void TestBoardProtocol::refusedModeByte()
{
    BoardModel board;
    // Unknown modes are not served, nor is the limit switch's ready poll a
    // mode; 0x55 as a mode byte must not be answered with 0x55.
    for (int modeByte : {0x07, 0x38, 0x1C, 0x55, 0x00}) {
        const auto replies = feedAll(board, {0xFF, modeByte});
        QCOMPARE(replies[0], 0x55);
        QVERIFY2(replies[1] != 0x55 && replies[1] >= 0, qPrintable(QString::number(modeByte)));
        QCOMPARE(board.mode(), BoardModel::Mode::None);
        QVERIFY(!board.awaitingModeByte());
    }
    // Without a mode, address bytes are refused too (never 0x55)...
    board.registers().setByte(0x62, 0x55);
    const auto replies = feedAll(board, {0x00, 0x62, 0x55});
    QCOMPARE(replies[0], 0x00);
    QCOMPARE(replies[1], 0x62);
    QVERIFY(replies[2] != 0x55);
    // ...and an attention still works.
    QCOMPARE(handshake(board, 1), 1);
}

void TestBoardProtocol::readW98()
{
    BoardModel board;
    board.registers().setWord(BoardRegisters::AlarmWord, 0xA705);
    EXPECT_WIRE(
        board,
        {{0xFF, 0x55}, {0x01, 0x55}, {0x00, 0x00}, {0x62, 0x05}, {0x00, 0x00}, {0x63, 0xA7}});
    // Reading again needs no new handshake.
    EXPECT_WIRE(board, {{0x00, 0x00}, {0x62, 0x05}});
    QCOMPARE(board.mode(), BoardModel::Mode::Read);
}

void TestBoardProtocol::writeW98()
{
    BoardModel board;
    std::vector<int> written;
    board.setWriteObserver([&](int address) { written.push_back(address); });
    EXPECT_WIRE(board, {{0xFF, 0x55},
                        {0x02, 0x55},
                        {0x00, 0x00},
                        {0x62, 0x62},
                        {0xD2, 0xD2},
                        {0x00, 0x00},
                        {0x63, 0x63},
                        {0x04, 0x04}});
    QCOMPARE(board.registers().wordAt(98), quint16(1234));
    QCOMPARE(written, (std::vector<int>{98, 99}));
    QCOMPARE(board.mode(), BoardModel::Mode::Write);
}

void TestBoardProtocol::writeDoubleWithFFBytes()
{
    // 655359999 in D1304 is 0F 27 FF FF: data bytes 0xFF are data, not
    // attention, and so is a low address byte 0xFF.
    BoardModel board;
    EXPECT_WIRE(board, {{0xFF, 0x55},
                        {0x02, 0x55},
                        {0x05, 0x05},
                        {0x18, 0x18},
                        {0x0F, 0x0F},
                        {0x05, 0x05},
                        {0x19, 0x19},
                        {0x27, 0x27},
                        {0x05, 0x05},
                        {0x1A, 0x1A},
                        {0xFF, 0xFF},
                        {0x05, 0x05},
                        {0x1B, 0x1B},
                        {0xFF, 0xFF},
                        {0x00, 0x00},
                        {0xFF, 0xFF},
                        {0x42, 0x42}});
    QCOMPARE(board.registers().doubleAt(1304), quint32(655359999));
    QCOMPARE(board.registers().byteAt(0xFF), quint8(0x42));
    QCOMPARE(board.mode(), BoardModel::Mode::Write);
}

void TestBoardProtocol::readHighAddresses()
{
    BoardModel board;
    auto &r = board.registers();
    r.setByte(0xEFF0, 'D');
    r.setByte(0x00FF, 0x3C);
    QCOMPARE(handshake(board, 1), 1);
    EXPECT_WIRE(board, {{0xEF, 0xEF}, {0xF0, 'D'}, {0x00, 0x00}, {0xFF, 0x3C}}); // low byte FF
    // FF00H..FFFFH cannot be read: their high byte is attention.
    EXPECT_WIRE(board, {{0xFF, 0x55}});
    QVERIFY(board.awaitingModeByte());
}

void TestBoardProtocol::leavingReadMode()
{
    // A board in read mode answers attention with 55 straight away, as in
    // any other mode: a PC that loses its place sees it at once.
    BoardModel board;
    QCOMPARE(handshake(board, 1), 1);
    EXPECT_WIRE(board, {{0x00, 0x00}, {0x34, 0x00}});
    EXPECT_WIRE(board, {{0xFF, 0x55}, {0x02, 0x55}});
    QCOMPARE(board.mode(), BoardModel::Mode::Write);
    QCOMPARE(handshake(board, 1), 1);
    QCOMPARE(handshake(board, 2), 1);
    QCOMPARE(handshake(board, 1), 1);
    QCOMPARE(board.mode(), BoardModel::Mode::Read);
}

void TestBoardProtocol::ffInsideATransactionIsData()
{
    // Inside a write the low address and the data byte may be FF; neither
    // is attention, and the byte is stored.
    BoardModel board;
    QCOMPARE(handshake(board, 2), 1);
    EXPECT_WIRE(board, {{0x03, 0x03}, {0xFF, 0xFF}, {0xFF, 0xFF}});
    QCOMPARE(board.registers().byteAt(0x03FF), quint8(0xFF));
    QCOMPARE(board.mode(), BoardModel::Mode::Write);
    // A PC that sends attention after only the high byte (it lost the
    // echo) gets FF back, not 55: the fault shows.
    EXPECT_WIRE(board, {{0x00, 0x00}, {0xFF, 0xFF}});
    QCOMPARE(board.mode(), BoardModel::Mode::Write);
    EXPECT_WIRE(board, {{0xFF, 0xFF}}); // the data byte of 00FFH
    EXPECT_WIRE(board, {{0xFF, 0x55}});
}

void TestBoardProtocol::injectedFaults()
{
    // A wrong answer on one exchange only; the board itself carries on.
    BoardModel board;
    board.registers().setWord(98, 0x0102);
    board.setWrongAnswerAt(4);
    EXPECT_WIRE(board, {{0xFF, 0x55}, {0x01, 0x55}, {0x00, 0x00}, {0x62, 0x03}});
    EXPECT_WIRE(board, {{0x00, 0x00}, {0x63, 0x01}, {0x00, 0x00}, {0x62, 0x02}});
    QCOMPARE(board.exchanges(), 8);

    // Garbage on every third exchange: never the right byte.
    BoardModel noisy;
    noisy.setGarbageEvery(3);
    const auto replies =
        feedAll(noisy, {0xFF, 0x02, 0x00, 0x62, 0x07, 0x00, 0x63, 0x00, 0xFF, 0x01});
    const std::vector<int> right = {0x55, 0x55, 0x00, 0x62, 0x07, 0x00, 0x63, 0x00, 0x55, 0x55};
    for (size_t i = 0; i < right.size(); ++i) {
        if ((i + 1) % 3 == 0)
            QVERIFY2(replies[i] != right[i] && replies[i] >= 0, qPrintable(QString::number(i)));
        else
            QCOMPARE(replies[i], right[i]);
    }
    // Line noise changes only the wire: the data byte was stored.
    QCOMPARE(noisy.registers().wordAt(98), quint16(7));
}

void TestBoardProtocol::leavingWriteMode()
{
    BoardModel board;
    QCOMPARE(handshake(board, 2), 1);
    EXPECT_WIRE(board, {{0x00, 0x00}, {0x62, 0x62}, {0x07, 0x07}});
    QCOMPARE(handshake(board, 1), 1);
    QCOMPARE(board.mode(), BoardModel::Mode::Read);
    QCOMPARE(handshake(board, 2), 1);
    QCOMPARE(handshake(board, 1), 1);
    QCOMPARE(board.registers().wordAt(98), quint16(7));
}

void TestBoardProtocol::resynchronisation()
{
    // The PC gave up waiting after sending a high byte in read mode and sends
    // 0xFF to resynchronise; its next transaction handshakes afresh.
    BoardModel board;
    board.registers().setWord(98, 0x0102);
    QCOMPARE(handshake(board, 1), 1);
    QCOMPARE(board.feed(0x00), std::optional<quint8>(0x00));
    QVERIFY(board.feed(0xFF).has_value()); // taken as the low byte: data of 00FFH
    QVERIFY(handshake(board, 1) > 0);
    EXPECT_WIRE(board, {{0x00, 0x00}, {0x62, 0x02}, {0x00, 0x00}, {0x63, 0x01}});

    // Two resynchronisation bytes during a handshake: the board keeps
    // acknowledging and takes the mode byte after them.
    BoardModel other;
    EXPECT_WIRE(other, {{0xFF, 0x55}, {0xFF, 0x55}, {0xFF, 0x55}, {0x02, 0x55}});
    QCOMPARE(other.mode(), BoardModel::Mode::Write);

    // In a query the resynchronisation byte is attention.
    BoardModel query;
    EXPECT_WIRE(query, {{0xFF, 0x55}, {0x48, 0x55}, {0x55, 0x00}, {0xFF, 0x55}, {0x01, 0x55}});
    QCOMPARE(query.mode(), BoardModel::Mode::Read);
}

void TestBoardProtocol::wrongEchoInjection()
{
    BoardModel board;
    board.setWrongEchoEvery(3);
    std::vector<int> written;
    board.setWriteObserver([&](int address) { written.push_back(address); });
    QCOMPARE(handshake(board, 2), 1);
    // Echoes 1 and 2 are right, the third (the data byte) is wrong and the
    // byte is not stored.
    const auto replies = feedAll(board, {0x00, 0x62, 0x2A});
    QCOMPARE(replies[0], 0x00);
    QCOMPARE(replies[1], 0x62);
    QVERIFY(replies[2] != 0x2A && replies[2] != 0x55 && replies[2] >= 0);
    QCOMPARE(board.registers().byteAt(0x62), quint8(0));
    QVERIFY(written.empty());
    // The transaction was dropped: the PC handshakes again (attention in
    // write mode is acknowledged at once) and rewrites.
    QCOMPARE(handshake(board, 2), 1);
    EXPECT_WIRE(board, {{0x00, 0x00}, {0x62, 0x62}});
    const auto third = feedAll(board, {0x2A});
    QVERIFY(third[0] != 0x2A);
    QCOMPARE(board.registers().byteAt(0x62), quint8(0));

    // Read mode: the wrong high echo drops the transaction; the next byte is
    // a high byte again.
    board.setWrongEchoEvery(1);
    board.registers().setByte(0x62, 0x77);
    QCOMPARE(handshake(board, 1), 1);
    QVERIFY(board.feed(0x00) != std::optional<quint8>(0x00));
    board.setWrongEchoEvery(0);
    EXPECT_WIRE(board, {{0x00, 0x00}, {0x62, 0x77}});

    // Off again: nothing is wrong any more.
    QCOMPARE(handshake(board, 2), 1);
    EXPECT_WIRE(board, {{0x00, 0x00}, {0x62, 0x62}, {0x2A, 0x2A}});
    QCOMPARE(board.registers().byteAt(0x62), quint8(0x2A));
}

void TestBoardProtocol::limitSwitchQueries_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("wordAddress");
    QTest::newRow("scale factor") << 0x18 << BoardRegisters::ResolverScale;
    QTest::newRow("offset") << 0x28 << BoardRegisters::ResolverOffset;
    QTest::newRow("position") << 0x48 << BoardRegisters::ResolverPosition;
    QTest::newRow("speed") << 0x58 << BoardRegisters::MachineCpm;
}

void TestBoardProtocol::limitSwitchQueries()
{
    QFETCH(int, code);
    QFETCH(int, wordAddress);
    BoardModel board;
    board.registers().setWord(wordAddress, 0x0123);
    // From read mode, as the PC does before a query: attention is answered
    // at once.
    QCOMPARE(handshake(board, 1), 1);
    QCOMPARE(handshake(board, quint8(code)), 1);
    QCOMPARE(board.mode(), BoardModel::Mode::Query);
    EXPECT_WIRE(board, {{0x55, 0x23}, {0x55, 0x01}});
    // The query ends in no mode: an address byte now is refused and a read
    // needs a new handshake.
    QCOMPARE(board.mode(), BoardModel::Mode::None);
    QCOMPARE(handshake(board, quint8(code)), 1);
    board.registers().setWord(wordAddress, 0xBEEF);
    EXPECT_WIRE(board, {{0x55, 0xEF}, {0x55, 0xBE}});
}

void TestBoardProtocol::consoleValues()
{
    BoardModel board;
    std::vector<int> written;
    board.setWriteObserver([&](int address) { written.push_back(address); });
    const auto word = RegisterAddress::parse(u"W98");
    const auto dbl = RegisterAddress::parse(u"D1304");
    const auto bit = RegisterAddress::parse(u"F119");
    QVERIFY(word && dbl && bit);
    board.storeValue(*word, 1234);
    board.storeValue(*dbl, 19999);
    board.storeValue(*bit, 1);
    QCOMPARE(board.value(*word), quint32(1234));
    QCOMPARE(board.value(*dbl), quint32(19999));
    QCOMPARE(board.value(*bit), quint32(1));
    // D1304 19999 is 0F 27 01 00; F119 is bit 7 of byte 46.
    const auto &r = board.registers();
    QCOMPARE(r.byteAt(1304), quint8(0x0F));
    QCOMPARE(r.byteAt(1305), quint8(0x27));
    QCOMPARE(r.byteAt(1306), quint8(0x01));
    QCOMPARE(r.byteAt(1307), quint8(0x00));
    QCOMPARE(r.byteAt(46), quint8(0x80));
    QCOMPARE(written, (std::vector<int>{98, 99, 1304, 1305, 1306, 1307, 46}));
    // A low word above 9999 stored by the board is passed on as the PC sums it.
    board.registers().setWord(1304, 12000);
    QCOMPARE(board.value(*dbl), quint32(10000 + 12000));
}

QTEST_APPLESS_MAIN(TestBoardProtocol)
#include "test_boardprotocol.moc"
