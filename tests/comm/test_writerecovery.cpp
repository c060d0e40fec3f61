#include "fakes/fakelink.h"

#include <QtTest>

using Fault = FakeBoard::EchoFault;
Q_DECLARE_METATYPE(FakeBoard::EchoFault)

// Line noise inside a write: whatever the board took, no register changes
// without the link naming it, and a write is reported done only when the
// register holds the value.
class TestWriteRecovery : public QObject
{
    Q_OBJECT

    static QByteArray pattern()
    {
        QByteArray memory(65536, '\0');
        for (int a = 0; a < memory.size(); ++a)
            memory[a] = char((a * 7 + 3) % 251);
        return memory;
    }

private slots:
    void noiseNeverChangesAnUnnamedRegister_data()
    {
        QTest::addColumn<QList<int>>("echoes");
        QTest::addColumn<FakeBoard::EchoFault>("fault");
        // W1092 = 777: echoes 0-2 are the first triplet, 3-5 the second.
        const std::pair<const char *, Fault> kinds[] = {{"reply changed", Fault::WrongReply},
                                                        {"byte misheard", Fault::Misheard},
                                                        {"reply lost", Fault::LostReply}};
        for (const auto &[name, fault] : kinds) {
            for (int echo = 0; echo < 6; ++echo)
                QTest::addRow("%s at echo %d", name, echo) << QList<int>{echo} << fault;
            QTest::addRow("%s twice", name) << QList<int>{1, 4} << fault;
            // The closing bytes meet noise too.
            QTest::addRow("%s at echoes 0 and 1", name) << QList<int>{0, 1} << fault;
        }
    }
    void noiseNeverChangesAnUnnamedRegister()
    {
        QFETCH(QList<int>, echoes);
        QFETCH(FakeBoard::EchoFault, fault);
        FakeLink link;
        link.board.memory = pattern();
        link.open();
        for (int echo : echoes)
            link.board.echoFaults.insert(echo, fault);

        link.comm.RSWrite(QStringLiteral("W1092"), QStringLiteral("777"));

        const QByteArray before = pattern();
        const QByteArray &after = link.board.memory;
        QList<int> named;
        for (const RSComm::StrayWrite &w : link.comm.strayWrites()) {
            named << w.byteAddress;
            if (w.value >= 0)
                QCOMPARE(w.value, int(quint8(after[w.byteAddress])));
        }
        for (int a = 0; a < after.size(); ++a) {
            if (a == 1092 || a == 1093 || before[a] == after[a])
                continue;
            QVERIFY2(named.contains(a), qPrintable(QStringLiteral("B%1 changed unnamed").arg(a)));
        }
        const int held = quint8(after[1092]) + 256 * quint8(after[1093]);
        if (!link.comm.lastTransactionFailed())
            QCOMPARE(held, 777);
        else if (!link.comm.lastWriteReadBack().isEmpty())
            QCOMPARE(link.comm.lastWriteReadBack().toInt(), held);
        // One fault in a write is always repaired.
        if (echoes.size() == 1 && !link.comm.CommError)
            QCOMPARE(held, 777);
    }

    void bitWriteNeverGuessesTheOtherBits()
    {
        // The read before a bit write fails both times: nothing is written,
        // where a write from 0 would have cleared the seven other bits.
        FakeLink link;
        link.board.memory[46] = char(0x0F);
        link.open();
        link.board.wrongReadEchoes = 2;
        link.comm.RSWrite(QStringLiteral("F119"), QStringLiteral("1"));
        QVERIFY(link.comm.lastTransactionFailed());
        QCOMPARE(link.board.memory[46], char(0x0F));
        // Once the read goes through, the bit is set and the rest kept.
        link.comm.RSWrite(QStringLiteral("F119"), QStringLiteral("1"));
        QVERIFY(!link.comm.lastTransactionFailed());
        QCOMPARE(link.board.memory[46], char(0x8F));
    }
};

QTEST_GUILESS_MAIN(TestWriteRecovery)
#include "test_writerecovery.moc"
