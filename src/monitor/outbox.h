#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// Messages that must reach the broker, kept in a table of their own in the
// history database until the broker has acknowledged them: the broker may
// be away for hours, and the monitor may be restarted meanwhile.
class Outbox
{
public:
    struct Message {
        qint64 id = 0;
        QString topic;
        QByteArray payload;
    };

    ~Outbox();
    // False with *why when the database cannot be opened or the table made.
    bool open(const QString &databasePath, QString *why);
    // The new message's id, 0 when it could not be stored (then it is
    // published all the same, just not kept).
    qint64 add(const QString &topic, const QByteArray &payload);
    void remove(qint64 id);
    // Oldest first; only those after the given id.
    QList<Message> pending(qint64 afterId = 0) const;
    // Small numbers the monitor keeps between runs (the last change sent).
    qint64 mark(const QString &name, qint64 absent) const;
    void setMark(const QString &name, qint64 value);

private:
    QString m_connection;
};
