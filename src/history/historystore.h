#pragma once

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

// The PC's own record of what the board forgets: ended shifts, production
// snapshots, faults and every write made to the board. One SQLite file per
// user. Recording is best effort: a write that fails (locked, full,
// read-only database) returns false at once, is reported once through the
// problem handler, and the caller goes on; nothing here ever waits on a lock.

namespace History
{

// Wall time source; tests and the fill tool hand in their own.
using WallClock = std::function<QDateTime()>;

// Who ended a shift, or how its counts reached the PC.
enum class ShiftOrigin { Program, Machine, Upload };
QString shiftOriginName(ShiftOrigin origin);

struct ShiftRecord {
    qint64 id = 0;
    QDateTime endedAt; // stamped from the store's clock when left invalid
    ShiftOrigin origin = ShiftOrigin::Machine;
    qint32 goodCans = 0;
    qint32 blowoffs = 0;
    qint32 badCanBlowoffs = 0;
    qint32 manualBlowoffs = 0;
    qint32 qcBlowoffs = 0;
    qint32 restartBlowoffs = 0;
    QList<qint32> trips; // spindle 1 first, one per spindle of the machine
    int spindleCount = 0;
    QString lineName;
    QString programIdentity;

    // The counts alone: two readings of the same shift compare equal.
    bool sameCounts(const ShiftRecord &other) const;
};

struct SnapshotRecord {
    qint64 id = 0;
    QDateTime at;
    qint32 goodCans = 0;
    qint32 blowoffs = 0;
    qint32 speed = 0;         // cans per minute
    qint32 lifetimeCount = 0; // thousands of cans
};

// Board: the fault code register; Comm: the board's comm error code
// register; Link: this PC's own link to the board failing.
enum class FaultSource { Board, Comm, Link };
QString faultSourceName(FaultSource source);

struct FaultRecord {
    qint64 id = 0;
    QDateTime at;
    FaultSource source = FaultSource::Board;
    int code = 0; // 0: the fault cleared
    QString text;
};

struct ChangeItem {
    QString reg;
    QString caption;
    QString oldValue;
    QString newValue;
    bool operator==(const ChangeItem &) const = default;
};

struct ChangeRecord {
    qint64 id = 0;
    QDateTime at;
    QString login;   // the user's login name; filled in by the store when empty
    QString reg;     // for a download: empty, the items carry the registers
    QString caption; // for a download: what was sent ("Set-up Data", a file)
    QString oldValue;
    QString newValue;
    QString origin; // "window <form>, field <name>", "command write", ...
    bool accepted = false;
    QList<ChangeItem> items; // a download's changed items
};

// A filter for the queries: everything at or after since (all when invalid),
// text (case-insensitive, any column) when not empty, newest last.
struct Query {
    QDateTime since;
    QDateTime until;
    QString text;
    int limit = 0; // 0: all
};

// Told of each record as it is stored (after the write succeeded).
class Listener
{
public:
    virtual ~Listener() = default;
    virtual void shiftRecorded(const ShiftRecord &) {}
    virtual void faultRecorded(const FaultRecord &) {}
    virtual void changeRecorded(const ChangeRecord &) {}
    virtual void snapshotRecorded(const SnapshotRecord &) {}
};

class HistoryStore
{
public:
    static constexpr int SchemaVersion = 2;

    explicit HistoryStore(WallClock clock = {});
    ~HistoryStore();
    HistoryStore(const HistoryStore &) = delete;
    HistoryStore &operator=(const HistoryStore &) = delete;

    // Where a program in programDir keeps its history: beside the settings
    // in a writable Support/, else $XDG_DATA_HOME/kestro (~/.local/share).
    static QString defaultPath(const QString &programDir);

    // Opens (creating folder and file as needed) and brings the schema up
    // to date. False with lastError() when the file cannot be used; the
    // store then records nothing and every call returns at once.
    bool open(const QString &path);
    void close();
    bool isOpen() const;
    QString path() const;
    int schemaVersion() const;

    // Each returns the stored record's id, 0 when it could not be stored.
    qint64 recordShift(ShiftRecord shift);
    qint64 recordSnapshot(SnapshotRecord snapshot);
    qint64 recordFault(FaultRecord fault);
    qint64 recordChange(ChangeRecord change);

    QList<ShiftRecord> shifts(const Query &query = {}) const;
    QList<SnapshotRecord> snapshots(const Query &query = {}) const;
    QList<FaultRecord> faults(const Query &query = {}) const;
    QList<ChangeRecord> changes(const Query &query = {}) const;
    // The most recent shift stored, id 0 when none.
    ShiftRecord lastShift() const;

    QDateTime now() const;
    QString lastError() const;
    // Called once for the first failure, and again only after a later
    // record succeeded: a locked database is not a stream of messages.
    void setProblemHandler(std::function<void(const QString &)> handler);

    void addListener(Listener *listener);
    void removeListener(Listener *listener);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

// The login name of the user running the program.
QString currentLogin();

} // namespace History
