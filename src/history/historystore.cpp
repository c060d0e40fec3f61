#include "historystore.h"

#include "comm/statefolder.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QVariant>

#include <atomic>

#include <pwd.h>
#include <unistd.h>

namespace History
{

namespace
{

using namespace Qt::StringLiterals;

// Each version's statements, applied in order from the file's user_version.
// Version 1 is what the first release wrote; never edit a published step.
const QList<QStringList> &migrations()
{
    static const QList<QStringList> steps = {
        {
            u"CREATE TABLE shifts (id INTEGER PRIMARY KEY, ended_at INTEGER NOT NULL,"
            " origin TEXT NOT NULL, good_cans INTEGER, blowoffs INTEGER,"
            " bad_can_blowoffs INTEGER, manual_blowoffs INTEGER, qc_blowoffs INTEGER,"
            " restart_blowoffs INTEGER, trips TEXT NOT NULL, spindle_count INTEGER)"_s,
            u"CREATE TABLE snapshots (id INTEGER PRIMARY KEY, at INTEGER NOT NULL,"
            " good_cans INTEGER, blowoffs INTEGER, speed INTEGER, lifetime_count INTEGER)"_s,
            u"CREATE TABLE faults (id INTEGER PRIMARY KEY, at INTEGER NOT NULL,"
            " source TEXT NOT NULL, code INTEGER, text TEXT)"_s,
            u"CREATE TABLE changes (id INTEGER PRIMARY KEY, at INTEGER NOT NULL, login TEXT,"
            " reg TEXT, caption TEXT, old_value TEXT, new_value TEXT, origin TEXT,"
            " accepted INTEGER)"_s,
        },
        {
            u"ALTER TABLE shifts ADD COLUMN line_name TEXT NOT NULL DEFAULT ''"_s,
            u"ALTER TABLE shifts ADD COLUMN program_identity TEXT NOT NULL DEFAULT ''"_s,
            u"CREATE TABLE change_items (change_id INTEGER NOT NULL REFERENCES changes(id),"
            " seq INTEGER NOT NULL, reg TEXT, caption TEXT, old_value TEXT, new_value TEXT)"_s,
            u"CREATE INDEX shifts_at ON shifts(ended_at)"_s,
            u"CREATE INDEX snapshots_at ON snapshots(at)"_s,
            u"CREATE INDEX faults_at ON faults(at)"_s,
            u"CREATE INDEX changes_at ON changes(at)"_s,
            u"CREATE INDEX change_items_change ON change_items(change_id)"_s,
        },
    };
    return steps;
}

QString tripsText(const QList<qint32> &trips)
{
    QStringList parts;
    parts.reserve(trips.size());
    for (qint32 t : trips)
        parts << QString::number(t);
    return parts.join(u',');
}

QList<qint32> tripsFromText(const QString &text)
{
    QList<qint32> trips;
    for (const QString &part : text.split(u',', Qt::SkipEmptyParts))
        trips << part.toInt();
    return trips;
}

// A null QString binds as SQL NULL; an absent text is stored as "".
QString text(const QString &s)
{
    return s.isNull() ? QString(u""_s) : s;
}

qint64 msOf(const QDateTime &t)
{
    return t.toMSecsSinceEpoch();
}

QDateTime timeOf(const QVariant &v)
{
    return QDateTime::fromMSecsSinceEpoch(v.toLongLong());
}

bool matches(const QString &needle, const QStringList &haystack)
{
    if (needle.isEmpty())
        return true;
    for (const QString &s : haystack)
        if (s.contains(needle, Qt::CaseInsensitive))
            return true;
    return false;
}

} // namespace

QString shiftOriginName(ShiftOrigin origin)
{
    switch (origin) {
    case ShiftOrigin::Program:
        return u"program"_s;
    case ShiftOrigin::Machine:
        return u"machine"_s;
    case ShiftOrigin::Upload:
        return u"upload"_s;
    }
    return {};
}

static ShiftOrigin shiftOriginFrom(const QString &name)
{
    if (name == u"program")
        return ShiftOrigin::Program;
    if (name == u"upload")
        return ShiftOrigin::Upload;
    return ShiftOrigin::Machine;
}

QString faultSourceName(FaultSource source)
{
    switch (source) {
    case FaultSource::Comm:
        return u"comm"_s;
    case FaultSource::Link:
        return u"link"_s;
    case FaultSource::Board:
        break;
    }
    return u"board"_s;
}

bool ShiftRecord::sameCounts(const ShiftRecord &o) const
{
    return goodCans == o.goodCans && blowoffs == o.blowoffs && badCanBlowoffs == o.badCanBlowoffs
           && manualBlowoffs == o.manualBlowoffs && qcBlowoffs == o.qcBlowoffs
           && restartBlowoffs == o.restartBlowoffs && trips == o.trips;
}

QString currentLogin()
{
    if (const passwd *pw = ::getpwuid(::geteuid()); pw && pw->pw_name)
        return QString::fromLocal8Bit(pw->pw_name);
    return qEnvironmentVariable("USER");
}

struct HistoryStore::Private {
    WallClock clock;
    QString connection;
    QString path;
    QString lastError;
    bool problemReported = false;
    std::function<void(const QString &)> problemHandler;
    QList<Listener *> listeners;

    QSqlDatabase db() const { return QSqlDatabase::database(connection, false); }

    bool exec(QSqlQuery &q)
    {
        if (q.exec())
            return true;
        fail(q.lastError().text());
        return false;
    }

    void fail(const QString &why)
    {
        lastError = why;
        if (!problemReported && problemHandler) {
            problemReported = true;
            problemHandler(u"History not recorded: "_s + why);
        }
        problemReported = true;
    }

    void succeeded() { problemReported = false; }
};

HistoryStore::HistoryStore(WallClock clock) : d(std::make_unique<Private>())
{
    d->clock = clock ? std::move(clock) : WallClock([] { return QDateTime::currentDateTime(); });
    static std::atomic<int> serial{0};
    d->connection = u"kestro-history-%1"_s.arg(++serial);
}

HistoryStore::~HistoryStore()
{
    close();
}

QString HistoryStore::defaultPath(const QString &programDir)
{
    const StateFolder folder(programDir);
    if (folder.supportWritable())
        return QDir(folder.supportDir()).filePath(u"history.sqlite"_s);
    QString base = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    if (base.isEmpty())
        base = QDir::home().filePath(u".local/share"_s);
    return QDir(base).filePath(u"kestro/history.sqlite"_s);
}

bool HistoryStore::open(const QString &path)
{
    close();
    d->path = path;
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        d->fail(u"cannot make the folder of %1"_s.arg(path));
        return false;
    }
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, d->connection);
        db.setDatabaseName(path);
        // Never wait for another writer: an exchange with the board must not
        // stand behind a lock.
        db.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=0"_s);
        if (!db.open()) {
            d->fail(db.lastError().text());
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(d->connection);
            return false;
        }
        QSqlQuery q(db);
        // Readers (the History window, the CLI) never block the recorder.
        q.exec(u"PRAGMA journal_mode=WAL"_s);
        q.exec(u"PRAGMA synchronous=NORMAL"_s);
        q.exec(u"PRAGMA user_version"_s);
        const int version = q.next() ? q.value(0).toInt() : 0;
        if (version > SchemaVersion) {
            d->fail(u"%1 was written by a newer KESTRO (schema %2)"_s.arg(path).arg(version));
            q = QSqlQuery();
            db.close();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(d->connection);
            return false;
        }
        for (int v = version; v < SchemaVersion; ++v) {
            db.transaction();
            bool ok = true;
            for (const QString &statement : migrations().at(v)) {
                if (!q.exec(statement)) {
                    ok = false;
                    break;
                }
            }
            ok = ok && q.exec(u"PRAGMA user_version=%1"_s.arg(v + 1));
            if (!ok || !db.commit()) {
                d->fail(q.lastError().text());
                db.rollback();
                q = QSqlQuery();
                db.close();
                db = QSqlDatabase();
                QSqlDatabase::removeDatabase(d->connection);
                return false;
            }
        }
    }
    return true;
}

void HistoryStore::close()
{
    if (!QSqlDatabase::contains(d->connection))
        return;
    {
        QSqlDatabase db = QSqlDatabase::database(d->connection, false);
        db.close();
    }
    QSqlDatabase::removeDatabase(d->connection);
}

bool HistoryStore::isOpen() const
{
    return QSqlDatabase::contains(d->connection) && d->db().isOpen();
}

QString HistoryStore::path() const
{
    return d->path;
}

int HistoryStore::schemaVersion() const
{
    if (!isOpen())
        return 0;
    QSqlQuery q(d->db());
    return q.exec(u"PRAGMA user_version"_s) && q.next() ? q.value(0).toInt() : 0;
}

QDateTime HistoryStore::now() const
{
    return d->clock();
}

QString HistoryStore::lastError() const
{
    return d->lastError;
}

void HistoryStore::setProblemHandler(std::function<void(const QString &)> handler)
{
    d->problemHandler = std::move(handler);
}

void HistoryStore::addListener(Listener *listener)
{
    if (listener && !d->listeners.contains(listener))
        d->listeners.append(listener);
}

void HistoryStore::removeListener(Listener *listener)
{
    d->listeners.removeAll(listener);
}

qint64 HistoryStore::recordShift(ShiftRecord shift)
{
    if (!isOpen()) {
        d->fail(u"no history file is open"_s);
        return 0;
    }
    if (!shift.endedAt.isValid())
        shift.endedAt = now();
    QSqlQuery q(d->db());
    q.prepare(u"INSERT INTO shifts (ended_at, origin, good_cans, blowoffs, bad_can_blowoffs,"
              " manual_blowoffs, qc_blowoffs, restart_blowoffs, trips, spindle_count, line_name,"
              " program_identity) VALUES (?,?,?,?,?,?,?,?,?,?,?,?)"_s);
    q.addBindValue(msOf(shift.endedAt));
    q.addBindValue(shiftOriginName(shift.origin));
    q.addBindValue(shift.goodCans);
    q.addBindValue(shift.blowoffs);
    q.addBindValue(shift.badCanBlowoffs);
    q.addBindValue(shift.manualBlowoffs);
    q.addBindValue(shift.qcBlowoffs);
    q.addBindValue(shift.restartBlowoffs);
    q.addBindValue(tripsText(shift.trips));
    q.addBindValue(shift.spindleCount);
    q.addBindValue(text(shift.lineName));
    q.addBindValue(text(shift.programIdentity));
    if (!d->exec(q))
        return 0;
    d->succeeded();
    shift.id = q.lastInsertId().toLongLong();
    for (Listener *l : std::as_const(d->listeners))
        l->shiftRecorded(shift);
    return shift.id;
}

qint64 HistoryStore::recordSnapshot(SnapshotRecord snapshot)
{
    if (!isOpen()) {
        d->fail(u"no history file is open"_s);
        return 0;
    }
    if (!snapshot.at.isValid())
        snapshot.at = now();
    QSqlQuery q(d->db());
    q.prepare(u"INSERT INTO snapshots (at, good_cans, blowoffs, speed, lifetime_count)"
              " VALUES (?,?,?,?,?)"_s);
    q.addBindValue(msOf(snapshot.at));
    q.addBindValue(snapshot.goodCans);
    q.addBindValue(snapshot.blowoffs);
    q.addBindValue(snapshot.speed);
    q.addBindValue(snapshot.lifetimeCount);
    if (!d->exec(q))
        return 0;
    d->succeeded();
    snapshot.id = q.lastInsertId().toLongLong();
    for (Listener *l : std::as_const(d->listeners))
        l->snapshotRecorded(snapshot);
    return snapshot.id;
}

qint64 HistoryStore::recordFault(FaultRecord fault)
{
    if (!isOpen()) {
        d->fail(u"no history file is open"_s);
        return 0;
    }
    if (!fault.at.isValid())
        fault.at = now();
    QSqlQuery q(d->db());
    q.prepare(u"INSERT INTO faults (at, source, code, text) VALUES (?,?,?,?)"_s);
    q.addBindValue(msOf(fault.at));
    q.addBindValue(faultSourceName(fault.source));
    q.addBindValue(fault.code);
    q.addBindValue(text(fault.text));
    if (!d->exec(q))
        return 0;
    d->succeeded();
    fault.id = q.lastInsertId().toLongLong();
    for (Listener *l : std::as_const(d->listeners))
        l->faultRecorded(fault);
    return fault.id;
}

qint64 HistoryStore::recordChange(ChangeRecord change)
{
    if (!isOpen()) {
        d->fail(u"no history file is open"_s);
        return 0;
    }
    if (!change.at.isValid())
        change.at = now();
    if (change.login.isEmpty())
        change.login = currentLogin();
    QSqlDatabase db = d->db();
    if (!db.transaction()) {
        d->fail(db.lastError().text());
        return 0;
    }
    QSqlQuery q(db);
    q.prepare(u"INSERT INTO changes (at, login, reg, caption, old_value, new_value, origin,"
              " accepted) VALUES (?,?,?,?,?,?,?,?)"_s);
    q.addBindValue(msOf(change.at));
    q.addBindValue(text(change.login));
    q.addBindValue(text(change.reg));
    q.addBindValue(text(change.caption));
    q.addBindValue(text(change.oldValue));
    q.addBindValue(text(change.newValue));
    q.addBindValue(text(change.origin));
    q.addBindValue(change.accepted ? 1 : 0);
    bool ok = d->exec(q);
    if (ok) {
        change.id = q.lastInsertId().toLongLong();
        QSqlQuery item(db);
        item.prepare(u"INSERT INTO change_items (change_id, seq, reg, caption, old_value,"
                     " new_value) VALUES (?,?,?,?,?,?)"_s);
        for (int i = 0; ok && i < change.items.size(); ++i) {
            const ChangeItem &it = change.items.at(i);
            item.addBindValue(change.id);
            item.addBindValue(i);
            item.addBindValue(text(it.reg));
            item.addBindValue(text(it.caption));
            item.addBindValue(text(it.oldValue));
            item.addBindValue(text(it.newValue));
            ok = d->exec(item);
        }
    }
    if (!ok || !db.commit()) {
        if (ok)
            d->fail(db.lastError().text());
        db.rollback();
        return 0;
    }
    d->succeeded();
    for (Listener *l : std::as_const(d->listeners))
        l->changeRecorded(change);
    return change.id;
}

namespace
{

// " WHERE col >= ? AND col < ?" for the query's time range.
QString timeRange(const Query &query, const QString &column)
{
    QStringList terms;
    if (query.since.isValid())
        terms << column + u" >= :since"_s;
    if (query.until.isValid())
        terms << column + u" < :until"_s;
    return terms.isEmpty() ? QString() : u" WHERE "_s + terms.join(u" AND "_s);
}

void bindRange(QSqlQuery &q, const Query &query)
{
    if (query.since.isValid())
        q.bindValue(u":since"_s, msOf(query.since));
    if (query.until.isValid())
        q.bindValue(u":until"_s, msOf(query.until));
}

template <typename T> void keepLimit(QList<T> &list, const Query &query)
{
    // The newest `limit`, still oldest first.
    if (query.limit > 0 && list.size() > query.limit)
        list.remove(0, list.size() - query.limit);
}

} // namespace

QList<ShiftRecord> HistoryStore::shifts(const Query &query) const
{
    QList<ShiftRecord> out;
    if (!isOpen())
        return out;
    QSqlQuery q(d->db());
    q.prepare(u"SELECT id, ended_at, origin, good_cans, blowoffs, bad_can_blowoffs,"
              " manual_blowoffs, qc_blowoffs, restart_blowoffs, trips, spindle_count,"
              " line_name, program_identity FROM shifts"_s
              + timeRange(query, u"ended_at"_s) + u" ORDER BY ended_at, id"_s);
    bindRange(q, query);
    if (!q.exec())
        return out;
    while (q.next()) {
        ShiftRecord s;
        s.id = q.value(0).toLongLong();
        s.endedAt = timeOf(q.value(1));
        s.origin = shiftOriginFrom(q.value(2).toString());
        s.goodCans = q.value(3).toInt();
        s.blowoffs = q.value(4).toInt();
        s.badCanBlowoffs = q.value(5).toInt();
        s.manualBlowoffs = q.value(6).toInt();
        s.qcBlowoffs = q.value(7).toInt();
        s.restartBlowoffs = q.value(8).toInt();
        s.trips = tripsFromText(q.value(9).toString());
        s.spindleCount = q.value(10).toInt();
        s.lineName = q.value(11).toString();
        s.programIdentity = q.value(12).toString();
        if (matches(query.text, {shiftOriginName(s.origin), s.lineName, s.programIdentity}))
            out << s;
    }
    keepLimit(out, query);
    return out;
}

QList<SnapshotRecord> HistoryStore::snapshots(const Query &query) const
{
    QList<SnapshotRecord> out;
    if (!isOpen())
        return out;
    QSqlQuery q(d->db());
    q.setForwardOnly(true);
    q.prepare(u"SELECT id, at, good_cans, blowoffs, speed, lifetime_count FROM snapshots"_s
              + timeRange(query, u"at"_s) + u" ORDER BY at, id"_s);
    bindRange(q, query);
    if (!q.exec())
        return out;
    while (q.next()) {
        SnapshotRecord s;
        s.id = q.value(0).toLongLong();
        s.at = timeOf(q.value(1));
        s.goodCans = q.value(2).toInt();
        s.blowoffs = q.value(3).toInt();
        s.speed = q.value(4).toInt();
        s.lifetimeCount = q.value(5).toInt();
        out << s;
    }
    keepLimit(out, query);
    return out;
}

QList<FaultRecord> HistoryStore::faults(const Query &query) const
{
    QList<FaultRecord> out;
    if (!isOpen())
        return out;
    QSqlQuery q(d->db());
    q.prepare(u"SELECT id, at, source, code, text FROM faults"_s + timeRange(query, u"at"_s)
              + u" ORDER BY at, id"_s);
    bindRange(q, query);
    if (!q.exec())
        return out;
    while (q.next()) {
        FaultRecord f;
        f.id = q.value(0).toLongLong();
        f.at = timeOf(q.value(1));
        const QString source = q.value(2).toString();
        f.source = source == u"comm"   ? FaultSource::Comm
                   : source == u"link" ? FaultSource::Link
                                       : FaultSource::Board;
        f.code = q.value(3).toInt();
        f.text = q.value(4).toString();
        if (matches(query.text, {faultSourceName(f.source), f.text,
                                 QString::number(f.code, 16).toUpper()}))
            out << f;
    }
    keepLimit(out, query);
    return out;
}

QList<ChangeRecord> HistoryStore::changes(const Query &query) const
{
    QList<ChangeRecord> out;
    if (!isOpen())
        return out;
    QSqlDatabase db = d->db();
    QSqlQuery q(db);
    q.prepare(u"SELECT id, at, login, reg, caption, old_value, new_value, origin, accepted"
              " FROM changes"_s
              + timeRange(query, u"at"_s) + u" ORDER BY at, id"_s);
    bindRange(q, query);
    if (!q.exec())
        return out;
    QSqlQuery items(db);
    items.prepare(u"SELECT reg, caption, old_value, new_value FROM change_items"
                  " WHERE change_id = ? ORDER BY seq"_s);
    while (q.next()) {
        ChangeRecord c;
        c.id = q.value(0).toLongLong();
        c.at = timeOf(q.value(1));
        c.login = q.value(2).toString();
        c.reg = q.value(3).toString();
        c.caption = q.value(4).toString();
        c.oldValue = q.value(5).toString();
        c.newValue = q.value(6).toString();
        c.origin = q.value(7).toString();
        c.accepted = q.value(8).toInt() != 0;
        items.addBindValue(c.id);
        if (items.exec()) {
            while (items.next())
                c.items << ChangeItem{items.value(0).toString(), items.value(1).toString(),
                                      items.value(2).toString(), items.value(3).toString()};
        }
        QStringList text{c.login, c.reg, c.caption, c.origin, c.oldValue, c.newValue};
        for (const ChangeItem &it : std::as_const(c.items))
            text << it.reg << it.caption;
        if (matches(query.text, text))
            out << c;
    }
    keepLimit(out, query);
    return out;
}

ShiftRecord HistoryStore::lastShift() const
{
    Query q;
    q.limit = 1;
    const QList<ShiftRecord> list = shifts(q);
    return list.isEmpty() ? ShiftRecord{} : list.constLast();
}

} // namespace History
