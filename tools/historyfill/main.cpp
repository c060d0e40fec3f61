// kestro-historyfill: fills a history file with a few weeks of plausible
// production (three shifts a day, a snapshot a minute, faults that come and
// go, set-up changes, one spindle going bad), for the demo, the pictures and
// the figures. Deterministic for a given seed.
#include "history/historystore.h"
#include "machine/registermap.h"
#include "machine/setupparameters.h"
#include "history/itemdiff.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QRandomGenerator>
#include <QTextStream>

using namespace History;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Fills a KESTRO history file with weeks of made-up production."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("history file to fill"));
    const QCommandLineOption weeksOption(QStringLiteral("weeks"), QStringLiteral("Weeks (3)."),
                                         QStringLiteral("N"), QStringLiteral("3"));
    const QCommandLineOption seedOption(QStringLiteral("seed"), QStringLiteral("Seed (7)."),
                                        QStringLiteral("S"), QStringLiteral("7"));
    const QCommandLineOption endOption(QStringLiteral("end"),
                                       QStringLiteral("Last day, yyyy-MM-dd (today)."),
                                       QStringLiteral("DATE"));
    const QCommandLineOption freshOption(QStringLiteral("fresh"),
                                         QStringLiteral("Remove the file first."));
    parser.addOptions({weeksOption, seedOption, endOption, freshOption});
    parser.process(app);
    QTextStream err(stderr);
    if (parser.positionalArguments().size() != 1) {
        err << parser.helpText();
        return 2;
    }
    const QString path = parser.positionalArguments().constFirst();
    if (parser.isSet(freshOption))
        for (const char *suffix : {"", "-wal", "-shm"})
            QFile::remove(path + QString::fromLatin1(suffix));

    const int weeks = std::max(1, parser.value(weeksOption).toInt());
    QRandomGenerator rng(parser.value(seedOption).toUInt());
    QDate end = QDate::fromString(parser.value(endOption), Qt::ISODate);
    if (!end.isValid())
        end = QDate::currentDate();
    const QDate start = end.addDays(-7 * weeks + 1);
    const int spindles = 24;
    const int badSpindle = 7;
    const QDate badFrom = end.addDays(-5);

    QDateTime clock;
    HistoryStore store([&clock] { return clock; });
    if (!store.open(path)) {
        err << "kestro-historyfill: " << path << ": " << store.lastError() << Qt::endl;
        return 5;
    }
    store.setProblemHandler([&err](const QString &p) { err << p << Qt::endl; });

    // Set-up values as the changes leave them.
    QHash<int, qint32> setup;
    for (const SetupParameter &p : setupParameters())
        setup[p.Index] = p.Default;
    const QStringList people{QStringLiteral("amorales"), QStringLiteral("jkoenig"),
                             QStringLiteral("tservice")};
    qint32 lifetime = 812000;
    int faultsOn = 0;
    qint64 snapshots = 0;

    for (QDate day = start; day <= end; day = day.addDays(1)) {
        for (int shiftStart : {6, 14, 22}) {
            const QDateTime from(day, QTime(shiftStart, 0));
            const QDateTime to = from.addSecs(8 * 3600);
            // Speed in cans per minute; weekends run slower, some shifts stop.
            const bool weekend = day.dayOfWeek() >= 6;
            const int cpm = weekend ? 1400 : 1750 + int(rng.bounded(150));
            qint32 good = 0, blown = 0;
            QList<qint32> trips(spindles, 0);
            int stoppedFor = 0;
            for (QDateTime t = from.addSecs(60); t <= to; t = t.addSecs(60)) {
                if (stoppedFor == 0 && rng.bounded(400) == 0)
                    stoppedFor = 5 + int(rng.bounded(40));
                const int speed = stoppedFor > 0 ? 0 : cpm + int(rng.bounded(40)) - 20;
                if (stoppedFor > 0)
                    --stoppedFor;
                const int off = speed > 0 ? int(rng.bounded(6)) : 0;
                good += speed - off;
                blown += off;
                for (int k = 0; k < off; ++k)
                    ++trips[int(rng.bounded(spindles))];
                if (speed > 0 && day >= badFrom && rng.bounded(3) == 0)
                    ++trips[badSpindle - 1];
                lifetime += (speed + 500) / 1000;
                if (t > QDateTime(end, QTime(23, 59)))
                    continue;
                clock = t;
                store.recordSnapshot({0, t, good, blown, speed, lifetime});
                ++snapshots;
                // A board fault now and then: fault 1A comes back.
                if (faultsOn == 0 && rng.bounded(2500) == 0) {
                    faultsOn = rng.bounded(3) == 0 ? 0x2C : 0x1A;
                    store.recordFault({0, t, FaultSource::Board, faultsOn,
                                       faultsOn == 0x1A ? QStringLiteral("Fault Code (1AH): Blow-off valve feedback")
                                                        : QStringLiteral("Fault Code (2CH): Resolver signal lost")});
                } else if (faultsOn != 0 && rng.bounded(20) == 0) {
                    faultsOn = 0;
                    store.recordFault({0, t, FaultSource::Board, 0, {}});
                }
                if (rng.bounded(9000) == 0) {
                    store.recordFault({0, t, FaultSource::Link, 1, QStringLiteral("Comm Fault with T6800")});
                    store.recordFault({0, t.addSecs(20), FaultSource::Link, 0, {}});
                }
            }
            if (to > QDateTime(end, QTime(23, 59)))
                continue;
            ShiftRecord s;
            s.endedAt = to;
            s.origin = rng.bounded(4) == 0 ? ShiftOrigin::Program : ShiftOrigin::Machine;
            s.goodCans = good;
            s.blowoffs = blown;
            s.badCanBlowoffs = blown / 2;
            s.manualBlowoffs = int(rng.bounded(5));
            s.qcBlowoffs = blown / 5;
            s.restartBlowoffs = blown - blown / 2 - blown / 5;
            s.trips = trips;
            s.spindleCount = spindles;
            s.lineName = QStringLiteral("Line 3");
            s.programIdentity = QStringLiteral("BLOWOFF 4.2");
            clock = to;
            store.recordShift(s);

            // A set-up change on some shifts, mostly through the window.
            if (rng.bounded(3) == 0) {
                const SetupParameter &p = setupParameters()[rng.bounded(SetupParameterCount)];
                const qint32 old = setup[p.Index];
                const qint32 now = std::clamp<qint32>(old + int(rng.bounded(7)) - 3, p.Minimum,
                                                      p.maximumFor(spindles));
                if (now != old) {
                    ChangeRecord c;
                    c.at = from.addSecs(3600 + rng.bounded(3 * 3600));
                    c.login = people[rng.bounded(people.size())];
                    c.reg = QString(p.Register);
                    c.caption = itemCaption(p.Index);
                    c.oldValue = QString::number(old);
                    c.newValue = QString::number(now);
                    const bool cli = rng.bounded(4) == 0;
                    c.origin = cli ? QStringLiteral("command write")
                                   : QStringLiteral("window Set-Up, field ") + c.caption;
                    c.accepted = rng.bounded(15) != 0;
                    if (c.accepted)
                        setup[p.Index] = now;
                    store.recordChange(c);
                }
            }
        }
    }
    QTextStream(stdout) << path << ": " << store.shifts().size() << " shifts, " << snapshots
                        << " snapshots, " << store.faults().size() << " fault events, "
                        << store.changes().size() << " changes" << Qt::endl;
    return 0;
}
