#pragma once

#include "monitorconfig.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <atomic>

struct mosquitto;

// A connection to an MQTT broker through libmosquitto, with its network loop
// on a thread of its own: it reconnects with back-off (1 s doubling to 60 s)
// whatever the rest of the program is doing. The signals arrive on the
// thread that owns the client.
class MqttClient final : public QObject
{
    Q_OBJECT
public:
    struct Settings {
        BrokerUrl url;
        QString clientId;
        QString username;
        QString password;
        QString caFile;
        QString certFile;
        QString keyFile;
        // Published (retained) by the broker when the connection is lost
        // without a goodbye, and by stop() on the way out.
        QString willTopic;
        QByteArray willPayload;
    };

    explicit MqttClient(QObject *parent = nullptr);
    ~MqttClient() override;

    // Starts connecting; false with *why when the settings cannot be used
    // (a missing CA file, for instance). A broker that is not there is not
    // a failure: the client keeps trying.
    bool start(const Settings &settings, QString *why);
    // Publishes the will's payload, disconnects and stops the loop.
    void stop();

    bool isConnected() const { return m_connected.load(); }
    // QoS 1. Returns the message id, or -1 when libmosquitto refused it.
    // Handed over while disconnected, a message waits in libmosquitto and
    // goes out after the next connection.
    int publish(const QString &topic, const QByteArray &payload, bool retain);

signals:
    void connectionChanged(bool connected, const QString &reason);
    // The broker acknowledged message mid.
    void delivered(int mid);

private:
    bool firstConnect(QString *why);
    static void onConnect(mosquitto *, void *self, int rc);
    static void onDisconnect(mosquitto *, void *self, int rc);
    static void onPublish(mosquitto *, void *self, int mid);

    mosquitto *m_mosq = nullptr;
    Settings m_settings;
    std::atomic<bool> m_connected{false};
    bool m_started = false;
    bool m_loopRunning = false;
    qint64 m_retryMs = 1000;
};
