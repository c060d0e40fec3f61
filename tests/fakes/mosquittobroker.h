#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QList>
#include <QMutex>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

#include <mosquitto.h>
#include <pwd.h>
#include <unistd.h>

#include <functional>

// A real mosquitto broker on 127.0.0.1, on a port that was free, with a user
// and password and a persistence file in the given folder, so a subscriber's
// session outlives a restart.
class MosquittoBroker
{
public:
    ~MosquittoBroker() { stop(); }

    bool start(const QString &folder, const QString &user, const QString &password)
    {
        if (port() == 0)
            return false;
        const QString passwords = QDir(folder).filePath(QStringLiteral("passwd"));
        if (!QFile::exists(passwords) &&
            QProcess::execute(
                QStringLiteral("mosquitto_passwd"),
                {QStringLiteral("-b"), QStringLiteral("-c"), passwords, user, password}) != 0)
            return false;
        QFile conf(QDir(folder).filePath(QStringLiteral("mosquitto.conf")));
        conf.open(QIODevice::WriteOnly); // if not, the broker never listens
        // Started by root it would become the user "mosquitto", who may not
        // read the test's folder.
        const passwd *me = ::getpwuid(::geteuid());
        conf.write(QStringLiteral("listener %1 127.0.0.1\nallow_anonymous false\n"
                                  "password_file %2\npersistence true\n"
                                  "persistence_location %3/\nuser %4\n")
                       .arg(m_port)
                       .arg(passwords, folder, QString::fromLocal8Bit(me ? me->pw_name : "root"))
                       .toUtf8());
        conf.close();
        m_process.start(QStringLiteral("/usr/sbin/mosquitto"),
                        {QStringLiteral("-c"), conf.fileName()});
        // Listening once a connection is taken.
        for (QDeadlineTimer deadline(5000); !deadline.hasExpired(); QThread::msleep(50)) {
            QTcpSocket s;
            s.connectToHost(QHostAddress::LocalHost, quint16(m_port));
            if (s.waitForConnected(200))
                return true;
        }
        return false;
    }

    void stop()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
    }

    // A port that was free when first asked for, kept across restarts.
    int port()
    {
        QTcpServer probe;
        if (m_port == 0 && probe.listen(QHostAddress::LocalHost, 0))
            m_port = probe.serverPort();
        return m_port;
    }
    QString url() { return QStringLiteral("mqtt://127.0.0.1:%1").arg(port()); }

private:
    QProcess m_process;
    int m_port = 0;
};

// A subscriber with a session the broker keeps (QoS 1, clean session off):
// what is published while it is away reaches it when it is back.
class MqttSubscriber
{
public:
    struct Message {
        QString topic;
        QByteArray payload;
        bool retained;
    };

    ~MqttSubscriber() // each call takes a null handle when start() never ran
    {
        mosquitto_disconnect(m_mosq);
        mosquitto_loop_stop(m_mosq, false);
        mosquitto_destroy(m_mosq);
    }

    bool start(int port, const QString &id, const QString &user, const QString &password,
               const QString &filter)
    {
        mosquitto_lib_init();
        m_filter = filter.toUtf8();
        m_mosq = mosquitto_new(id.toUtf8().constData(), false, this);
        mosquitto_username_pw_set(m_mosq, user.toUtf8().constData(), password.toUtf8().constData());
        mosquitto_reconnect_delay_set(m_mosq, 1, 1, false);
        mosquitto_connect_callback_set(m_mosq, [](mosquitto *m, void *self, int rc) {
            if (rc == 0)
                mosquitto_subscribe(m, nullptr,
                                    static_cast<MqttSubscriber *>(self)->m_filter.constData(), 1);
        });
        mosquitto_message_callback_set(
            m_mosq, [](mosquitto *, void *self, const mosquitto_message *msg) {
                auto *s = static_cast<MqttSubscriber *>(self);
                QMutexLocker lock(&s->m_mutex);
                s->m_messages.append(
                    {QString::fromUtf8(msg->topic),
                     QByteArray(static_cast<const char *>(msg->payload), msg->payloadlen),
                     msg->retain});
            });
        mosquitto_connect_async(m_mosq, "127.0.0.1", port, 10);
        return mosquitto_loop_start(m_mosq) == MOSQ_ERR_SUCCESS;
    }

    QList<Message> messages(const QString &topic = {}) const
    {
        QMutexLocker lock(&m_mutex);
        QList<Message> out;
        for (const Message &m : m_messages)
            if (topic.isEmpty() || m.topic == topic)
                out.append(m);
        return out;
    }

    // Waits until the messages satisfy the condition; false at the time-out.
    bool waitFor(const std::function<bool(const QList<Message> &)> &condition, int timeoutMs)
    {
        for (QDeadlineTimer deadline(timeoutMs); !deadline.hasExpired() && !condition(messages());
             QThread::msleep(50))
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        return condition(messages());
    }

private:
    mosquitto *m_mosq = nullptr;
    QByteArray m_filter;
    mutable QMutex m_mutex;
    QList<Message> m_messages;
};
