#include "boardmodel.h"
#include "commandprocessor.h"
#include "registeraddress.h"
#include "simsettings.h"

#include <QtTest>

// The console raises a board fault the way the board does.
class TestBoardFault : public QObject
{
    Q_OBJECT

    BoardModel board;
    SimSettings settings;
    CommandProcessor console{board, settings};

    quint32 get(const char *address) const
    {
        return board.value(*RegisterAddress::parse(QString::fromLatin1(address)));
    }

private slots:
    void faultIsCurrentAndKeptAsLast()
    {
        QCOMPARE(console.execute(u"fault 26").reply, QStringLiteral("ok"));
        QCOMPARE(get("B8176"), 26u);
        QCOMPARE(get("B8177"), 26u);
        QCOMPARE(console.execute(u"fault 0").reply, QStringLiteral("ok"));
        QCOMPARE(get("B8176"), 0u);
        QCOMPARE(get("B8177"), 26u);
    }

    void badCodes()
    {
        for (const char16_t *line : {u"fault", u"fault 256", u"fault x", u"fault 1 2"})
            QVERIFY(console.execute(line).reply.startsWith(u"error: usage: fault CODE"));
    }
};

QTEST_MAIN(TestBoardFault)
#include "test_boardfault.moc"
