// The cost of keeping the history: a register write against the simulator
// (9600 baud pace) with the audit recording into a free and into a locked
// history file, the CPU per snapshot recorded, and how the file grows per
// shift and per month of snapshots.
//
//   bench_history   (KESTRO_BIN_DIR names the folder of kestro-boardsim)
#include "benchfigures.h"
#include "fakes/boardsimprocess.h"
#include "fakes/loggingprompt.h"

#include "comm/clock.h"
#include "comm/posixserialport.h"
#include "comm/rscomm.h"
#include "history/historystore.h"
#include "history/writeaudit.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <algorithm>

using namespace History;

namespace
{

// The file's size once the write-ahead log is folded into it: the log
// itself is reused, not grown, so only the file says what the data costs.
qint64 fileBytes(const QString &path)
{
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("size"));
        db.setDatabaseName(path);
        if (db.open())
            QSqlQuery(db).exec(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("size"));
    return QFileInfo(path).size();
}

struct ExchangeFigures {
    bool ok = false;
    double meanMs = 0;
    double worstMs = 0;
    int recorded = 0;
};

ExchangeFigures timeWrites(RSComm &comm, HistoryStore &store, int count)
{
    ExchangeFigures f;
    const int before = int(store.changes().size());
    std::vector<double> ms;
    for (int i = 0; i < count; ++i) {
        const double t0 = bench::wallSeconds();
        comm.RSWrite(QStringLiteral("W1004"), QString::number(30 + i % 5));
        ms.push_back(1000.0 * (bench::wallSeconds() - t0));
        if (comm.CommError || comm.lastTransactionFailed())
            return f;
    }
    f.ok = true;
    for (double m : ms)
        f.meanMs += m / double(ms.size());
    f.worstMs = *std::max_element(ms.begin(), ms.end());
    f.recorded = int(store.changes().size()) - before;
    return f;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    bench::printLoad();
    QTemporaryDir dir;
    int status = 0;

    // --- a write with the audit recording, the file free and then locked
    {
        BoardSimProcess sim;
        SteadyClock clock;
        LoggingPrompt prompt;
        PosixSerialPort port(clock, dir.path());
        RSComm comm(clock, prompt, dir.path());
        if (!sim.start({QStringLiteral("--frozen"), QStringLiteral("--pace"), QStringLiteral("9600")})
            || !sim.linkAsPort(dir.path(), 1)) {
            std::printf("ERROR: kestro-boardsim did not start (KESTRO_BIN_DIR?)\n");
            return 1;
        }
        comm.OpenRSComm(port);
        if (!comm.OnlineMode) {
            std::printf("ERROR: the simulator did not answer\n");
            return 1;
        }
        const QString path = dir.filePath(QStringLiteral("audit.sqlite"));
        HistoryStore store;
        int reported = 0;
        store.setProblemHandler([&reported](const QString &) { ++reported; });
        if (!store.open(path))
            return 1;
        WriteAudit audit(store);
        comm.setRegisterObserver(&audit);
        const int n = 50;
        const ExchangeFigures free = timeWrites(comm, store, n);
        ExchangeFigures locked;
        {
            QSqlDatabase other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("lock"));
            other.setDatabaseName(path);
            other.open();
            QSqlQuery lock(other);
            lock.exec(QStringLiteral("BEGIN EXCLUSIVE"));
            locked = timeWrites(comm, store, n);
            lock.exec(QStringLiteral("ROLLBACK"));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("lock"));
        if (!free.ok || !locked.ok) {
            std::printf("ERROR: a write failed on the link\n");
            return 1;
        }
        std::printf("write W1004 at 9600 baud, %d each (mean / worst ms):\n", n);
        std::printf("  history file free:   %.2f / %.2f ms, %d of %d recorded\n", free.meanMs,
                    free.worstMs, free.recorded, n);
        std::printf("  history file locked: %.2f / %.2f ms, %d of %d recorded, reported %d time(s)\n",
                    locked.meanMs, locked.worstMs, locked.recorded, n, reported);
        if (locked.meanMs > free.meanMs * 1.2 + 1.0) {
            std::printf("  target (a locked file adds no wait): NOT met\n");
            status = 1;
        } else {
            std::printf("  target (a locked file adds no wait): met\n");
        }
    }

    // --- CPU per snapshot and growth
    {
        const QString path = dir.filePath(QStringLiteral("growth.sqlite"));
        QDateTime t(QDate(2026, 3, 1), QTime(6, 0));
        HistoryStore store([&t] { return t; });
        if (!store.open(path))
            return 1;
        const qint64 empty = fileBytes(path);
        ShiftRecord shift;
        shift.trips = QList<qint32>(36, 123);
        shift.spindleCount = 36;
        shift.goodCans = 812345;
        shift.lineName = QStringLiteral("Line 3");
        shift.programIdentity = QStringLiteral("BLOWOFF 4.2");
        const int shifts = 90; // a month of three shifts a day
        for (int i = 0; i < shifts; ++i)
            store.recordShift(shift);
        const qint64 afterShifts = fileBytes(path);

        const int month = 30 * 24 * 60; // a snapshot a minute
        const double c0 = bench::cpuSeconds();
        const double w0 = bench::wallSeconds();
        for (int i = 0; i < month; ++i) {
            t = t.addSecs(60);
            store.recordSnapshot({0, {}, 1000 + i, i / 100, 1750, 812000 + i});
        }
        const double cpu = bench::cpuSeconds() - c0;
        const double wall = bench::wallSeconds() - w0;
        const qint64 afterSnapshots = fileBytes(path);
        std::printf("snapshot: %.1f us CPU, %.1f us wall each (%d recorded)\n", 1e6 * cpu / month,
                    1e6 * wall / month, month);
        std::printf("growth: %.0f bytes per shift, %.2f MB per month of snapshots "
                    "(%.0f bytes each)\n",
                    double(afterShifts - empty) / shifts,
                    double(afterSnapshots - afterShifts) / 1e6,
                    double(afterSnapshots - afterShifts) / month);
    }
    return status;
}
