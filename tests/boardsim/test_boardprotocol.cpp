// The board's side, fed byte by byte and through its console: a row is a
// script of steps separated by ";". ">XX:YY ..." sends XX on the PROG port
// and expects YY ("--" no answer, "!YY" an answer other than YY, "??"
// anything); "READY" is a limit-switch poll that finds it ready. "LINE=R"
// expects the console's reply R to LINE ("~R": a reply starting so),
// any other line "ok". "advance MS" moves the machine's time and the
// limit switch's, "drops N" makes every Nth echo wrong and forget the
// transaction.
#include "boardmodel.h"
#include "commandprocessor.h"
#include "machinesim.h"
#include "simsettings.h"

#include <QTest>

namespace
{
struct Row {
    const char *name, *script;
};

const Row kRows[] = {
    {"probe, then read mode", ">FF:?? FF:55 01:55;mode=read"},
    {"write mode", ">FF:55 02:55;mode=write"},
    {"attention repeated", ">FF:55 FF:55 FF:55 48:55;mode=query"},
    {"unknown modes refused",
     ">FF:55 07:!55 FF:55 38:!55 FF:55 1C:!55 FF:55 55:!55 FF:55 00:!55;mode=none"},
    {"address bytes without a mode refused", "set B98 85;>00:00 62:62 55:!55 FF:55 01:55"},
    {"read a word twice",
     "set W98 42757;>FF:55 01:55 00:00 62:05 00:00 63:A7 00:00 62:05;mode=read"},
    {"write a word", ">FF:55 02:55 00:00 62:62 D2:D2 00:00 63:63 04:04;get W98=1234;mode=write"},
    {"FF as address and data in a write",
     ">FF:55 02:55 05:05 18:18 0F:0F 05:05 19:19 27:27 05:05 1A:1A FF:FF 05:05 1B:1B FF:FF 00:00 "
     "FF:FF 42:42;get D1304=655359999;get B255=66;mode=write"},
    {"high addresses read, FF00H not", "set EFF0H 68;set B255 60;>FF:55 01:55 EF:EF F0:44 00:00 "
                                       "FF:3C FF:55;mode=attention"},
    {"read mode left at once", "set B52 36;>FF:55 01:55 00:00 34:24 FF:55 02:55;mode=write"},
    {"write mode left, value kept",
     ">FF:55 02:55 00:00 62:62 07:07 FF:55 01:55;mode=read;get W98=7"},
    {"attention after a high byte is data",
     ">FF:55 02:55 03:03 FF:FF FF:FF;get B1023=255;>00:00 FF:FF FF:FF FF:55;mode=attention"},
    {"resynchronised after a lost read",
     "set W98 258;>FF:55 01:55 00:00 FF:?? FF:55 01:55 00:00 62:02 00:00 63:01"},
    {"resynchronised in a query", "set W180 291;>FF:55 48:55 55:23 FF:55 01:55;mode=read"},
    {"one wrong answer, counted from the command",
     "set W98 258;>00:??;wrong-echo-at 4;>FF:55 01:55 00:00 62:!02 00:00 63:01 00:00 62:02"},
    {"garbage every third exchange, data still stored",
     "garbage 3;>FF:55 02:55 00:!00 62:62 07:07 00:!00 63:63 00:00 FF:!55 01:55;get W98=7"},
    {"wrong echo of the data byte",
     "wrong-echo 3;>FF:55 02:55 00:00 62:62 2A:!2A FF:55;get W98=42"},
    {"wrong echo of the low byte", "wrong-echo 2;>FF:55 02:55 00:00 62:!62 2A:2A FF:55;get W98=42"},
    {"wrong echo forgets the transaction", "drops 3;>FF:55 02:55 00:00 62:62 2A:!2A;get W98=0"},
    {"low byte misheard", "misheard 2;>FF:55 02:55 00:00 62:!62 2A:2A;get W98=10752"},
    {"data byte misheard", "misheard 3;>FF:55 02:55 00:00 62:62 2A:!2A;get W98=43"},
    {"scale factor query", "set W186 291;>FF:55 01:55 FF:55 18:55 55:23 55:01;mode=none;>00:!55"},
    {"offset query",
     "set W188 291;>FF:55 28:55 55:23 55:01;set W188 48879;>FF:55 28:55 55:EF 55:BE"},
    {"position query", "set W180 291;>FF:55 48:55 55:23 55:01"},
    {"speed query", "set W112 291;>FF:55 58:55 55:23 55:01"},
    {"values through the console",
     "set D1304 19999;get B1304=15;get B1305=39;get B1306=1;get B1307=0;set B46 37;set F119 "
     "1;get B46=165;get F119=1;set EFF8H 205;get B61432=205;  get\tW98  =0;set W1306 1;set W1304 "
     "12000;get D1304=22000"},

    {"program records land in memory",
     ">FF:55 03:55;mode=program;>03:-- 40:-- 00:-- 02:-- 33:-- 7A:F2 FF:55;mode=none;program="
     "records 1 last 4000H;get B16384=2;get B16386=122;>FF:55 01:55 40:40 00:02 40:40 02:7A"},
    {"program record outside memory not kept",
     "set B48 0;>FF:55 03:55 01:-- 00:-- 30:-- 0A:3B;get B48=0"},
    {"program faults", "program-wrong-sum 2;program-silent 3;>FF:55 03:55 01:-- 40:-- 00:-- 11:52 "
                       "01:-- 40:-- 01:-- 22:!64 01:-- 40:-- 02:-- 33:--;get B16386=51;>FF:?? "
                       "FF:?? 03:?? 01:-- 40:-- 00:-- 11:52"},

    {"setpoint, busy then ready",
     "pls busy 20;>FF:55 1B:55 03:55 64:55 00:55 C8:55 00:55 01:55;mode=limit-switch;>38:55 55:55 "
     "38:55 55:55;advance 20;>38:55 55:00 55:55;mode=none;pls channel 3=setpoint 100 200"},
    {"setpoint bytes FF are data",
     "set W186 1000;>FF:55 1B:55 00:55 FF:55 00:55 FF:55 01:55 01:55 READY;pls channel 0=setpoint "
     "255 511"},
    {"attention ends the poll",
     "pls busy 1000;>FF:55 2A:55 05:55 00:55 38:55 55:55 FF:55 01:55;mode=read;get W188=5"},
    {"pulse train, then cleared",
     ">FF:55 2B:55 07:55 2C:55 01:55 0A:55 14:55 00:55 READY;pls channel 7=pulse 300 10 20;>FF:55 "
     "1B:55 07:55 00:55 00:55 00:55 00:55 00:55 READY;pls channel 7=clear"},
    {"channel beyond the last refused", ">FF:55 1B:55 20:!55;mode=none;pls channel 32~error: "},
    {"scale and offset programmed and queried",
     ">FF:55 1A:55 D0:55 02:55 READY;get W186=720;>FF:55 2A:55 BC:55 02:55 READY;get "
     "W188=700;>FF:55 "
     "28:55 55:BC 55:02 FF:55 18:55 55:D0 55:02"},
    {"offset of a turn and scale 0 refused", "set W186 720;set W188 700;>FF:55 2A:55 D0:55 02:!55 "
                                             "FF:55 1A:55 00:55 00:!55;get W188=700;get "
                                             "W186=720"},
    {"configuration", ">FF:55 3B:55 C8:55 C9:55 CA:55 CB:55 CC:55 CD:55 READY;>FF:55 4B:55 CE:55 "
                      "CF:55 D0:55 D1:55 D2:55 D3:55 READY;>FF:55 5B:55 D4:55 D5:55 D6:55 D7:55 "
                      "D8:55 D9:55 READY;>FF:55 6B:55 DA:55 DB:55 DC:55 DD:55 DE:55 DF:55 "
                      "READY;pls config=200 201 202 203 204 205 206 207 208 209 210 211 212 213 "
                      "214 215 216 217 218 219 220 221 222 223;>FF:55 0C:55 55:C8 55:C9 55:CA "
                      "55:CB 55:CC 55:CD 55:CE 55:CF 55:D0 55:D1 55:D2 55:D3 55:D4 55:D5 55:D6 "
                      "55:D7 55:D8 55:D9 55:DA;mode=none"},
    {"refused records keep the channel",
     ">FF:55 1B:55 02:55 01:55 00:55 02:55 00:55 01:55 READY;>FF:55 1B:55 02:55 68:55 01:55 0A:55 "
     "00:55 01:!55;mode=none;>FF:55 1B:55 02:55 0A:55 00:55 FF:55 01:55 01:!55;>FF:55 1B:55 02:55 "
     "01:55 00:55 00:55 00:55 00:!55;>FF:55 1B:55 02:55 01:55 00:55 02:55 00:55 02:!55;>FF:55 "
     "2B:55 "
     "02:55 00:55 00:55 07:55 0A:55 00:!55;>FF:55 2B:55 02:55 00:55 00:55 00:55 14:55 "
     "00:!55;>FF:55 "
     "2B:55 02:55 68:55 01:55 0A:55 14:55 00:!55;>FF:55 2B:55 02:55 00:55 00:55 0A:55 14:55 "
     "01:!55;pls channel 2=setpoint 1 2"},
    {"recall",
     ">FF:55 1B:55 04:55 2C:55 01:55 40:55 01:55 01:55 READY;>FF:55 2B:55 05:55 1E:55 "
     "00:55 0A:55 14:55 00:55 READY;>FF:55 09:55 04:55 55:01 55:2C 55:01;>FF:55 09:55 "
     "05:55 55:00 55:1E 55:00;>FF:55 09:55 06:55 55:00 55:00 55:00;mode=none;>FF:55 09:55 "
     "28:!55"},

    {"console errors change nothing",
     "set W98 5;set B52 256~error: ;set W98 65536~error: ;set D1100 655360000~error: ;set F119 "
     "2~error: ;set W98 -5~error: ;set W98 12a~error: ;set X10 1~error: ;set W98~error: "
     ";get~error: ;get W98 W100~error: ;silent maybe~error: ;frozen~error: ;delay -1~error: "
     ";wrong-echo x~error: ;garbage~error: ;garbage -1~error: ;wrong-echo-at x~error: "
     ";misheard x~error: ;pace x~error: ;bogus~error: ;quit now~error: ;program-silent x~error: "
     ";pls~error: ;pls busy x~error: ;fault~error: usage: fault CODE;fault 256~error: usage: fault "
     "CODE;fault x~error: ;get W98=5;get B52=36;changes~error: no snapshot"},
    {"console settings", "silent on;silent off;frozen on;frozen off;delay 0;pace 9600;wrong-echo "
                         "0;garbage 0;misheard 0;wrong-echo-at 0;pls busy 0;  =;mode=none"},
    {"changes since the snapshot", "snapshot;set W98 261;changes=B98:0>5 B99:0>1"},
    {"fault current and kept as last",
     "fault 26;get B8176=26;get B8177=26;fault 0;get B8176=0;get B8177=26"},

    {"Q.C. blow-off of one spindle",
     "set D1120 10;set D1104 100;set B2088 3;set F825 1;get D1120=10;get F825=1;set F102 1;get "
     "D1120=11;get D1104=101;get F825=0;get F102=0;get B111.7=1"},
    {"Q.C. second flag alone ignored", "set D1120 10;set F102 1;get D1120=10;get F102=0"},
    {"Q.C. blanket", "set D1120 10;set B2088 37;set F825 1;set F102 1;get D1120=46"},
    {"Q.C. mandrel", "set D1120 10;set B2088 38;set F825 1;set F102 1;get D1120=11"},
    {"Q.C. of no spindle", "set D1120 10;set B2088 0;set F825 1;set F102 1;get D1120=10"},
    {"Q.C. flags written over the wire",
     "set D1120 10;set B2088 1;>FF:55 02:55 00:00 87:87 02:02 00:00 2C:2C 40:40;get D1120=11"},
    {"bad can test trip",
     "set D1108 5;set D1104 50;set W1020 7;set W1124 8;set F830 1;get B599=1;get F830=0;get "
     "D1108=6;get D1104=51;get W1020=8;get W1124=9;get B111.6=1"},
    {"zero resolver not allowed", "set F119 0;set W180 100;set F831 1;get F831=0;get W180=100"},
    {"zero resolver", "set F119 1;set F831 1;get F831=0;get W180=0;>FF:55 48:55 55:00 55:00"},
    {"trips reset and held",
     "set W1124 6;set B1016.0 1;get W1020=0;get W1090=0;get W1124=6;set F830 1;get W1020=0;get "
     "W1124=7;set B1016.0 0;set F830 1;get W1020=1"},
    {"end of shift once per edge",
     "set D1100 1000;set D1108 4;set W1124 7;set W1020 9;set F137 1;get D1200=1000;get D1100=0;get "
     "D1208=4;get D1108=0;get W1224=7;get W1124=0;get W1020=9;get B100.3=1;set F830 1;set F137 "
     "1;get D1208=4;set F137 0;set F137 1;get D1208=1"},
    {"clock carries into a leap day",
     "advance 1500;get B43008=59;advance 600;get B43008=0;get B43010=0;get B43012=0;get "
     "B43015=29;get B43016=2;set B43012 7;set B43010 30;set B43008 15;advance 2000;get "
     "B43012=7;get B43010=30;get B43008=17;set B43017 7;advance 1000;get B43017=7"},
    {"stopped machine",
     "set W112 0;advance 100;set D1100 5;advance 5000;get D1100=5;get W112=0;get "
     "W526=0;get W170=0;get B100.5=0"},
};
} // namespace

class TestBoardProtocol : public QObject
{
    Q_OBJECT

private slots:
    void script_data()
    {
        QTest::addColumn<int>("row");
        for (int i = 0; i < int(std::size(kRows)); ++i)
            QTest::newRow(kRows[i].name) << i;
    }
    void script()
    {
        QFETCH(int, row);
        BoardModel board;
        MachineSim machine(board, QDateTime(QDate(2024, 2, 28), QTime(23, 59, 58)));
        machine.loadStartValues(MachineSim::SetupValues::Distinct);
        SimSettings settings;
        CommandProcessor console(board, settings);
        qint64 now = 0;
        board.limitSwitch().setClock([&now] { return now; });
        board.limitSwitch().setBusyMs(0);
        for (QString step : QString::fromUtf8(kRows[row].script).split(u';')) {
            if (step.startsWith(u'>')) {
                step.replace(QStringLiteral("READY"), QStringLiteral("38:55 55:00 55:55"));
                for (const QString &pair : step.mid(1).split(u' ', Qt::SkipEmptyParts)) {
                    const auto reply = board.feed(quint8(pair.left(2).toUInt(nullptr, 16)));
                    const QString want = pair.mid(3);
                    const QString got =
                        reply ? QString::number(*reply, 16).toUpper().rightJustified(2, u'0')
                              : QStringLiteral("--");
                    const bool good =
                        want == u"??" ||
                        (want.startsWith(u'!') ? reply && got != want.mid(1) : got == want);
                    QVERIFY2(good,
                             qPrintable(QStringLiteral("%1: got %2 in %3").arg(pair, got, step)));
                }
            } else if (step.startsWith(u"advance ")) {
                machine.advance(step.mid(8).toInt());
                now += step.mid(8).toInt();
            } else if (step.startsWith(u"drops ")) {
                board.setWrongEchoEvery(step.mid(6).toInt(), true);
            } else if (const qsizetype at = step.indexOf(u'~'); at > 0) {
                QVERIFY2(console.execute(step.left(at)).reply.startsWith(step.mid(at + 1)),
                         qPrintable(step));
            } else {
                const qsizetype eq = step.indexOf(u'=');
                QCOMPARE(console.execute(eq < 0 ? step : step.left(eq)).reply,
                         eq < 0 ? QStringLiteral("ok") : step.mid(eq + 1));
            }
        }
    }
};

QTEST_APPLESS_MAIN(TestBoardProtocol)
#include "test_boardprotocol.moc"
