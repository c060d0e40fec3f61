#include "boardmodel.h"

#include <QtTest>

// The simulator's program-load mode, spoken from the PC's side by hand.
class TestProgramMemory : public QObject
{
    Q_OBJECT

    static QList<int> feed(BoardModel &board, const QByteArray &bytes)
    {
        QList<int> replies;
        for (const char b : bytes) {
            const auto r = board.feed(quint8(b));
            replies.append(r ? int(*r) : -1);
        }
        return replies;
    }

private slots:
    void recordsLandInProgramMemory()
    {
        BoardModel board;
        // Entered without the acknowledges being looked at; both are 55 here.
        QCOMPARE(feed(board, QByteArray::fromHex("ff03")), QList<int>({0x55, 0x55}));
        QVERIFY(board.inProgramLoad());
        QCOMPARE(feed(board, QByteArray::fromHex("03400002337a")),
                 QList<int>({-1, -1, -1, -1, -1, 0xF2}));
        QCOMPARE(feed(board, QByteArray::fromHex("ff")), QList<int>({0x55}));
        QVERIFY(!board.inProgramLoad());
        QCOMPARE(board.registers().byteAt(0x4000), quint8(0x02));
        QCOMPARE(board.registers().byteAt(0x4002), quint8(0x7A));
        QCOMPARE(board.programMemory().recordsLoaded(), 1);
        QCOMPARE(board.programMemory().lastRecordAddress(), 0x4000);
        // Back to registers: a read finds the program.
        QCOMPARE(feed(board, QByteArray::fromHex("ff01 40 00 40 02")),
                 QList<int>({0x55, 0x55, 0x40, 0x02, 0x40, 0x7A}));
    }

    void outsideProgramMemoryNotKept()
    {
        BoardModel board;
        feed(board, QByteArray::fromHex("ff03"));
        QCOMPARE(feed(board, QByteArray::fromHex("0100300a")).last(), 0x3B);
        QCOMPARE(board.registers().byteAt(0x0030), quint8(0));
    }

    void faults()
    {
        BoardModel board;
        board.programMemory().setWrongSumOnRecord(2);
        board.programMemory().setSilentOnRecord(3);
        feed(board, QByteArray::fromHex("ff03"));
        QCOMPARE(feed(board, QByteArray::fromHex("01400011")).last(), 0x52);
        QVERIFY(feed(board, QByteArray::fromHex("01400122")).last() != 0x64);
        QCOMPARE(feed(board, QByteArray::fromHex("01400233")).last(), -1);
        QCOMPARE(board.registers().byteAt(0x4002), quint8(0x33));
        // A new load counts from 1 again.
        feed(board, QByteArray::fromHex("ff ff03"));
        QCOMPARE(feed(board, QByteArray::fromHex("01400011")).last(), 0x52);
    }
};

QTEST_GUILESS_MAIN(TestProgramMemory)
#include "test_programmemory.moc"
