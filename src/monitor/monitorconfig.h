#pragma once

#include <QString>

// Where the monitor publishes: mqtt://host[:port] or mqtts://host[:port].
struct BrokerUrl {
    bool tls = false;
    QString host;
    int port = 0;

    // False with *why for anything else, and for a URL carrying a user name
    // or password: those belong in the config file, not on a command line
    // that every user of the machine can list.
    static bool parse(const QString &text, BrokerUrl &url, QString *why);
    QString text() const;
};

// One line's monitor settings, from a file of "key = value" lines ("#"
// starts a comment). The file may hold the broker's password, so one that
// other users may read is refused.
struct MonitorConfig {
    QString line;
    int port = 0;  // 0: the port of the settings file
    int speed = 0; // 0: the speed of the settings file
    QString device; // the serial device itself, instead of a port number
    QString mqtt;  // broker URL; empty: no broker
    QString username;
    QString password;
    QString caFile;
    QString certFile;
    QString keyFile;
    QString database; // the history store; empty: the user's default
    int pollMs = 1000;

    // False with *why (naming the file and, for a bad line, its number).
    static bool load(const QString &path, MonitorConfig &config, QString *why);
};
