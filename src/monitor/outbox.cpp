#include "outbox.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

Q_LOGGING_CATEGORY(lcOutbox, "kestro.monitor.outbox")

Outbox::~Outbox()
{
    if (m_connection.isEmpty())
        return;
    QSqlDatabase::database(m_connection, false).close();
    QSqlDatabase::removeDatabase(m_connection);
}

bool Outbox::open(const QString &databasePath, QString *why)
{
    static int serial = 0;
    m_connection = QStringLiteral("kestro-monitor-outbox-%1").arg(++serial);
    QDir().mkpath(QFileInfo(databasePath).absolutePath());
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
    db.setDatabaseName(databasePath);
    // The history store writes the same file: wait for it rather than fail.
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=2000"));
    QSqlQuery q(db);
    // In WAL a commit needs no sync of its own: a power cut may cost the
    // last messages, never the file.
    if (!db.open() || !q.exec(QStringLiteral("PRAGMA journal_mode=WAL")) ||
        !q.exec(QStringLiteral("PRAGMA synchronous=NORMAL")) ||
        !q.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS monitor_outbox ("
                               "id INTEGER PRIMARY KEY AUTOINCREMENT, topic TEXT NOT NULL, "
                               "payload BLOB NOT NULL)")) ||
        !q.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS monitor_mark ("
                               "name TEXT PRIMARY KEY, value INTEGER NOT NULL)"))) {
        if (why)
            *why = databasePath + QStringLiteral(": ") +
                   (db.isOpen() ? q.lastError().text() : db.lastError().text());
        return false;
    }
    return true;
}

qint64 Outbox::add(const QString &topic, const QByteArray &payload)
{
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    q.prepare(QStringLiteral("INSERT INTO monitor_outbox (topic, payload) VALUES (?, ?)"));
    q.addBindValue(topic);
    q.addBindValue(payload);
    if (!q.exec()) {
        qCWarning(lcOutbox) << "message not kept for the broker:" << q.lastError().text();
        return 0;
    }
    return q.lastInsertId().toLongLong();
}

void Outbox::remove(qint64 id)
{
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    q.prepare(QStringLiteral("DELETE FROM monitor_outbox WHERE id = ?"));
    q.addBindValue(id);
    if (!q.exec())
        qCWarning(lcOutbox) << "delivered message" << id
                            << "not removed:" << q.lastError().text();
}

QList<Outbox::Message> Outbox::pending(qint64 afterId) const
{
    QList<Message> messages;
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    q.prepare(QStringLiteral("SELECT id, topic, payload FROM monitor_outbox WHERE id > ? "
                             "ORDER BY id"));
    q.addBindValue(afterId);
    if (!q.exec())
        return messages;
    while (q.next())
        messages.append({q.value(0).toLongLong(), q.value(1).toString(), q.value(2).toByteArray()});
    return messages;
}

qint64 Outbox::mark(const QString &name, qint64 absent) const
{
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    q.prepare(QStringLiteral("SELECT value FROM monitor_mark WHERE name = ?"));
    q.addBindValue(name);
    return q.exec() && q.next() ? q.value(0).toLongLong() : absent;
}

void Outbox::setMark(const QString &name, qint64 value)
{
    QSqlQuery q(QSqlDatabase::database(m_connection, false));
    q.prepare(QStringLiteral("INSERT OR REPLACE INTO monitor_mark (name, value) VALUES (?, ?)"));
    q.addBindValue(name);
    q.addBindValue(value);
    if (!q.exec())
        qCWarning(lcOutbox) << "mark" << name << "not kept:" << q.lastError().text();
}
