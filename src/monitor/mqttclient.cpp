#include "mqttclient.h"

#include <QFile>
#include <QLoggingCategory>
#include <QMetaObject>
#include <QTimer>

#include <mosquitto.h>

Q_LOGGING_CATEGORY(lcMqtt, "kestro.monitor.mqtt")

namespace
{
struct LibraryInit {
    LibraryInit() { mosquitto_lib_init(); }
    ~LibraryInit() { mosquitto_lib_cleanup(); }
};

QByteArray fileArg(const QString &path)
{
    return path.isEmpty() ? QByteArray() : QFile::encodeName(path);
}
const char *orNull(const QByteArray &b)
{
    return b.isEmpty() ? nullptr : b.constData();
}
} // namespace

MqttClient::MqttClient(QObject *parent) : QObject(parent)
{
    static LibraryInit init;
}

MqttClient::~MqttClient()
{
    stop();
    if (m_mosq)
        mosquitto_destroy(m_mosq);
}

bool MqttClient::start(const Settings &settings, QString *why)
{
    auto fail = [&](const QString &problem) {
        if (why)
            *why = problem;
        return false;
    };
    m_settings = settings;
    m_mosq = mosquitto_new(settings.clientId.toUtf8().constData(), true, this);
    if (!m_mosq)
        return fail(QStringLiteral("cannot make an MQTT client"));
    mosquitto_int_option(m_mosq, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V311);
    mosquitto_connect_callback_set(m_mosq, &MqttClient::onConnect);
    mosquitto_disconnect_callback_set(m_mosq, &MqttClient::onDisconnect);
    mosquitto_publish_callback_set(m_mosq, &MqttClient::onPublish);
    mosquitto_reconnect_delay_set(m_mosq, 1, 60, true);

    if (!settings.username.isEmpty() &&
        mosquitto_username_pw_set(m_mosq, settings.username.toUtf8().constData(),
                                  settings.password.isEmpty()
                                      ? nullptr
                                      : settings.password.toUtf8().constData()) != MOSQ_ERR_SUCCESS)
        return fail(QStringLiteral("the broker user name cannot be used"));
    if (settings.url.tls) {
        if (settings.caFile.isEmpty())
            return fail(QStringLiteral("mqtts:// needs a CA file (cafile in the config file)"));
        const QByteArray ca = fileArg(settings.caFile);
        const QByteArray cert = fileArg(settings.certFile);
        const QByteArray key = fileArg(settings.keyFile);
        const int rc = mosquitto_tls_set(m_mosq, orNull(ca), nullptr, orNull(cert), orNull(key),
                                         nullptr);
        if (rc != MOSQ_ERR_SUCCESS)
            return fail(QStringLiteral("TLS files not usable (%1): %2")
                            .arg(settings.caFile, QString::fromUtf8(mosquitto_strerror(rc))));
    }
    const QByteArray will = settings.willTopic.toUtf8();
    if (!will.isEmpty() &&
        mosquitto_will_set(m_mosq, will.constData(), int(settings.willPayload.size()),
                           settings.willPayload.constData(), 1, true) != MOSQ_ERR_SUCCESS)
        return fail(QStringLiteral("bad will topic ") + settings.willTopic);

    m_started = true;
    return firstConnect(why);
}

bool MqttClient::firstConnect(QString *why)
{
    // libmosquitto's own loop reconnects a connection that was up; one that
    // never came up (the broker not started yet when the PC boots) is
    // retried here, with the same back-off, until it does.
    const int rc = mosquitto_connect_async(m_mosq, m_settings.url.host.toUtf8().constData(),
                                           m_settings.url.port, 30);
    if (rc == MOSQ_ERR_INVAL) {
        if (why)
            *why = QStringLiteral("bad broker address ") + m_settings.url.text();
        return false;
    }
    if (rc != MOSQ_ERR_SUCCESS) {
        if (m_retryMs == 1000)
            qCInfo(lcMqtt) << "broker" << m_settings.url.text()
                           << "not reached yet:" << mosquitto_strerror(rc) << "- retrying";
        QTimer::singleShot(int(m_retryMs), this, [this]() {
            if (m_started && !m_loopRunning)
                firstConnect(nullptr);
        });
        m_retryMs = qMin<qint64>(m_retryMs * 2, 60000);
        return true;
    }
    if (mosquitto_loop_start(m_mosq) != MOSQ_ERR_SUCCESS) {
        if (why)
            *why = QStringLiteral("cannot start the MQTT network thread");
        return false;
    }
    m_loopRunning = true;
    return true;
}

void MqttClient::stop()
{
    if (!m_started)
        return;
    m_started = false;
    if (m_connected.load() && !m_settings.willTopic.isEmpty())
        publish(m_settings.willTopic, m_settings.willPayload, true);
    mosquitto_disconnect(m_mosq);
    if (m_loopRunning)
        mosquitto_loop_stop(m_mosq, false);
    m_loopRunning = false;
    m_connected = false;
}

int MqttClient::publish(const QString &topic, const QByteArray &payload, bool retain)
{
    if (!m_mosq)
        return -1;
    int mid = 0;
    const int rc = mosquitto_publish(m_mosq, &mid, topic.toUtf8().constData(), int(payload.size()),
                                     payload.constData(), 1, retain);
    // NO_CONN: queued all the same, sent after the next connection.
    if (rc != MOSQ_ERR_SUCCESS && rc != MOSQ_ERR_NO_CONN) {
        qCWarning(lcMqtt) << "publish to" << topic << "refused:" << mosquitto_strerror(rc);
        return -1;
    }
    return mid;
}

void MqttClient::onConnect(mosquitto *, void *self, int rc)
{
    auto *client = static_cast<MqttClient *>(self);
    const bool up = rc == 0;
    const QString reason = QString::fromUtf8(mosquitto_connack_string(rc));
    if (up)
        client->m_connected = true;
    QMetaObject::invokeMethod(
        client, [client, up, reason]() { emit client->connectionChanged(up, reason); },
        Qt::QueuedConnection);
}

void MqttClient::onDisconnect(mosquitto *, void *self, int rc)
{
    auto *client = static_cast<MqttClient *>(self);
    client->m_connected = false;
    const QString reason = rc == 0 ? QStringLiteral("disconnected")
                                   : QString::fromUtf8(mosquitto_strerror(rc));
    QMetaObject::invokeMethod(
        client, [client, reason]() { emit client->connectionChanged(false, reason); },
        Qt::QueuedConnection);
}

void MqttClient::onPublish(mosquitto *, void *self, int mid)
{
    auto *client = static_cast<MqttClient *>(self);
    QMetaObject::invokeMethod(client, [client, mid]() { emit client->delivered(mid); },
                              Qt::QueuedConnection);
}
