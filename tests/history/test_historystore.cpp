#include "history/historyrecorder.h"
#include "history/historystore.h"
#include "history/writeaudit.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

using namespace History;

namespace
{

ShiftRecord counts(qint32 good, QList<qint32> trips = {1, 2, 3})
{
    ShiftRecord s;
    s.goodCans = good;
    s.blowoffs = good / 100;
    s.trips = trips;
    return s;
}

} // namespace

class TestHistoryStore : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_path;
    // The wall clock the test moves by hand.
    QDateTime m_now = QDateTime(QDate(2026, 3, 2), QTime(6, 0));
    WallClock clock()
    {
        return [this] { return m_now; };
    }

private slots:
    void init()
    {
        static int n = 0;
        m_path = m_dir.filePath(QStringLiteral("h%1/history.sqlite").arg(++n));
    }

    void recordsComeBackAsStored()
    {
        HistoryStore store(clock());
        QVERIFY(store.open(m_path));
        QCOMPARE(store.schemaVersion(), HistoryStore::SchemaVersion);

        ShiftRecord s = counts(51234, {4, 0, 97});
        s.spindleCount = 3;
        s.lineName = QStringLiteral("Line 2");
        s.programIdentity = QStringLiteral("BLOW 3.1");
        QVERIFY(store.recordShift(s) > 0);

        ChangeRecord write;
        write.reg = QStringLiteral("W1084");
        write.caption = QStringLiteral("Pin Chain Blowoff Pins");
        write.oldValue = QStringLiteral("3");
        write.newValue = QStringLiteral("5");
        write.origin = QStringLiteral("command write");
        QVERIFY(store.recordChange(write) > 0);
        m_now = m_now.addSecs(60);
        ChangeRecord download;
        download.caption = QStringLiteral("Set-up Data");
        download.accepted = true;
        download.items = {{"W1", "A", "1", "2"}, {"W2", "B", "3", "4"}};
        QVERIFY(store.recordChange(download) > 0);
        QVERIFY(store.recordFault({0, {}, FaultSource::Link, 1, QStringLiteral("No reply")}) > 0);

        // Read through a second connection, as the window and the CLI do.
        HistoryStore reader;
        QVERIFY(reader.open(m_path));
        const ShiftRecord back = reader.lastShift();
        QVERIFY(back.sameCounts(s));
        QCOMPARE(back.endedAt, m_now.addSecs(-60));
        QCOMPARE(back.lineName, s.lineName);
        QCOMPARE(back.programIdentity, s.programIdentity);
        QCOMPARE(back.spindleCount, 3);
        const QList<ChangeRecord> changes = reader.changes();
        QCOMPARE(changes.size(), 2);
        QCOMPARE(changes[0].accepted, false);
        QCOMPARE(changes[0].oldValue, QStringLiteral("3"));
        QCOMPARE(changes[0].login, currentLogin());
        QCOMPARE(changes[1].items, download.items);
        QCOMPARE(reader.faults().constFirst().source, FaultSource::Link);
        // The filters: time and text.
        QCOMPARE(reader.changes({m_now, {}, {}, 0}).size(), 1);
        QCOMPARE(reader.changes({{}, {}, QStringLiteral("pin chain"), 0}).size(), 1);
    }

    void shiftRecordedOnce_data()
    {
        QTest::addColumn<bool>("byProgram");
        QTest::addColumn<bool>("programHasCounts");
        QTest::addColumn<QString>("origin");
        QTest::newRow("at the machine") << false << false << "machine";
        QTest::newRow("program, counts read after") << true << false << "program";
        QTest::newRow("program, counts in hand") << true << true << "program";
    }

    // The cycle keeps reading the last-shift counts after a shift ends, and
    // the program that ended it may record it first: one shift, one record.
    void shiftRecordedOnce()
    {
        QFETCH(bool, byProgram);
        QFETCH(bool, programHasCounts);
        QFETCH(QString, origin);
        HistoryStore store(clock());
        QVERIFY(store.open(m_path));
        HistoryRecorder recorder(store);
        recorder.setMachine(QStringLiteral("L1"), QStringLiteral("P"), 2);

        recorder.lastShiftSeen(counts(100));
        recorder.lastShiftSeen(counts(100));
        QCOMPARE(store.shifts().size(), 0);
        const ShiftRecord ended = counts(700, {5, 6, 0});
        if (byProgram && programHasCounts)
            recorder.shiftEndedByProgram(ended);
        else if (byProgram)
            recorder.shiftEndedByProgram();
        for (int tick = 0; tick < 3; ++tick)
            recorder.lastShiftSeen(ended);
        recorder.shiftUploaded(ended);

        const QList<ShiftRecord> shifts = store.shifts();
        QCOMPARE(shifts.size(), 1);
        QCOMPARE(shiftOriginName(shifts[0].origin), origin);
        QCOMPARE(shifts[0].trips, (QList<qint32>{5, 6})); // the machine's spindles only
        QCOMPARE(shifts[0].lineName, QStringLiteral("L1"));
    }

    void onlyCodeChangesAreFaults()
    {
        HistoryStore store(clock());
        QVERIFY(store.open(m_path));
        {
            HistoryRecorder recorder(store);
            for (int code : {0, 0, 0x1A, 0x1A, 0, 0x1A})
                recorder.faultCodeSeen(code, QStringLiteral("f"));
            recorder.commErrorSeen(2, QStringLiteral("c"));
            recorder.commErrorSeen(2, QStringLiteral("c"));
            recorder.linkFaultSeen(0, {}); // the link's own state is kept apart
        }
        // A program started again while the fault is still there adds nothing.
        HistoryRecorder again(store);
        again.faultCodeSeen(0x1A, QStringLiteral("f"));
        QList<int> codes;
        for (const FaultRecord &f : store.faults())
            codes << (f.source == FaultSource::Comm ? -f.code : f.code);
        QCOMPARE(codes, (QList<int>{0x1A, 0, 0x1A, -2}));
    }

    void upgradeFromFirstVersionKeepsData()
    {
        QDir().mkpath(QFileInfo(m_path).absolutePath());
        {
            // A file exactly as the first release left it.
            QSqlDatabase db =
                QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("v1"));
            db.setDatabaseName(m_path);
            QVERIFY(db.open());
            QSqlQuery q(db);
            for (const char *sql :
                 {"CREATE TABLE shifts (id INTEGER PRIMARY KEY, ended_at INTEGER NOT NULL,"
                  " origin TEXT NOT NULL, good_cans INTEGER, blowoffs INTEGER,"
                  " bad_can_blowoffs INTEGER, manual_blowoffs INTEGER, qc_blowoffs INTEGER,"
                  " restart_blowoffs INTEGER, trips TEXT NOT NULL, spindle_count INTEGER)",
                  "CREATE TABLE snapshots (id INTEGER PRIMARY KEY, at INTEGER NOT NULL,"
                  " good_cans INTEGER, blowoffs INTEGER, speed INTEGER, lifetime_count INTEGER)",
                  "CREATE TABLE faults (id INTEGER PRIMARY KEY, at INTEGER NOT NULL,"
                  " source TEXT NOT NULL, code INTEGER, text TEXT)",
                  "CREATE TABLE changes (id INTEGER PRIMARY KEY, at INTEGER NOT NULL, login TEXT,"
                  " reg TEXT, caption TEXT, old_value TEXT, new_value TEXT, origin TEXT,"
                  " accepted INTEGER)",
                  "INSERT INTO shifts VALUES (1, 1772431200000, 'machine', 4000, 12, 1, 2, 3, 4,"
                  " '7,8,9', 3)",
                  "INSERT INTO changes VALUES (1, 1772431200000, 'ann', 'W1084', 'Pins', '3', '5',"
                  " 'command write', 1)",
                  "PRAGMA user_version=1"})
                QVERIFY2(q.exec(QString::fromLatin1(sql)), sql);
        }
        QSqlDatabase::removeDatabase(QStringLiteral("v1"));

        HistoryStore store(clock());
        QVERIFY2(store.open(m_path), qPrintable(store.lastError()));
        QCOMPARE(store.schemaVersion(), HistoryStore::SchemaVersion);
        const ShiftRecord old = store.lastShift();
        QCOMPARE(old.goodCans, 4000);
        QCOMPARE(old.trips, (QList<qint32>{7, 8, 9}));
        QCOMPARE(old.lineName, QString());
        QCOMPARE(store.changes().constFirst().login, QStringLiteral("ann"));
        // And the new columns take data.
        ShiftRecord s = counts(5);
        s.lineName = QStringLiteral("L");
        QVERIFY2(store.recordShift(s) > 0, qPrintable(store.lastError()));
        QCOMPARE(store.lastShift().lineName, QStringLiteral("L"));
    }

    void lockedFileIsRefusedAndSaidOnce()
    {
        HistoryStore store(clock());
        QVERIFY(store.open(m_path));
        QStringList reported;
        store.setProblemHandler([&](const QString &why) { reported << why; });
        {
            QSqlDatabase other =
                QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("lock"));
            other.setDatabaseName(m_path);
            QVERIFY(other.open());
            QSqlQuery lock(other);
            QVERIFY(lock.exec(QStringLiteral("BEGIN EXCLUSIVE")));
            for (int i = 0; i < 5; ++i)
                QCOMPARE(store.recordFault({0, {}, FaultSource::Board, i + 1, {}}), 0);
            QCOMPARE(store.recordChange(ChangeRecord{}), 0);
            QCOMPARE(reported.size(), 1);
            QVERIFY(lock.exec(QStringLiteral("ROLLBACK")));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("lock"));
        QVERIFY(store.recordFault({0, {}, FaultSource::Board, 9, {}}) > 0);
        QCOMPARE(store.changes().size(), 0); // nothing half-written
        // Reported again only after it worked in between.
        HistoryStore nowhere;
        nowhere.setProblemHandler([&](const QString &why) { reported << why; });
        QVERIFY(!nowhere.open(QStringLiteral("/proc/kestro/history.sqlite")));
        QCOMPARE(nowhere.recordFault({}), 0);
        QCOMPARE(reported.size(), 2);
    }

    void defaultPathFollowsTheSettings()
    {
        const QString writable = m_dir.filePath(QStringLiteral("prog"));
        QDir().mkpath(writable + QStringLiteral("/Support"));
        QCOMPARE(HistoryStore::defaultPath(writable),
                 writable + QStringLiteral("/Support/history.sqlite"));
        qputenv("XDG_DATA_HOME", m_dir.filePath(QStringLiteral("data")).toUtf8());
        QCOMPARE(HistoryStore::defaultPath(QStringLiteral("/usr/lib/kestro")),
                 m_dir.filePath(QStringLiteral("data/kestro/history.sqlite")));
    }

    void auditOfWritesAndDownloads()
    {
        HistoryStore store(clock());
        QVERIFY(store.open(m_path));
        WriteAudit audit(store);
        audit.valueRead(QStringLiteral("B1000"), QStringLiteral("9"));
        audit.valueRead(QStringLiteral("W1298"), QStringLiteral("4711"));
        {
            const WriteAudit::Origin window(&audit, QStringLiteral("window Set-Up, field F"));
            const WriteAudit::Origin inner(&audit, QStringLiteral("window Set-Up"));
            audit.valueWritten(QStringLiteral("B1000"), QStringLiteral(" 15"), true);
        }
        audit.valueWritten(QStringLiteral("W1298"), QStringLiteral("1234"), true);
        // A download: one entry, only what it changed, not taken when any write failed.
        audit.beginBatch(QStringLiteral("command download"), QStringLiteral("Set-up Data"));
        audit.valueWritten(QStringLiteral("B1000"), QStringLiteral(" 15"), true);
        audit.valueWritten(QStringLiteral("B1001"), QStringLiteral(" 2"), false);
        audit.endBatch();

        const QList<ChangeRecord> c = store.changes();
        QCOMPARE(c.size(), 3);
        QCOMPARE(QStringList({c[0].origin, c[0].oldValue, c[0].newValue}),
                 QStringList({"window Set-Up, field F", "9", "15"}));
        QCOMPARE(c[0].caption, QStringLiteral("Number of Cans to Blow-off at Infeed Open"));
        QVERIFY(!c[1].oldValue.contains(QStringLiteral("4711")) &&
                !c[1].newValue.contains(QStringLiteral("1234")));
        QCOMPARE(c[1].origin, QStringLiteral("program"));
        QCOMPARE(c[2].items.size(), 1);
        QCOMPARE(c[2].items[0].reg, QStringLiteral("B1001"));
        QCOMPARE(c[2].accepted, false);
    }
};

QTEST_GUILESS_MAIN(TestHistoryStore)
#include "test_historystore.moc"
