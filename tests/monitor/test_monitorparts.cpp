#include "monitor/monitorconfig.h"
#include "monitor/statethrottle.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

// The monitor's parts that decide without a board or a broker: what a
// config file and a broker URL may say, and when the state goes out.
class TestMonitorParts : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void configFile_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("loads");
        QTest::addColumn<QString>("expected"); // the values read, or part of the refusal

        const QByteArray whole("# line 3\nline = L3\nport = 2\nspeed = 19200\n"
                               "mqtt = mqtts://b:8883\nusername = u\npassword = p=w#1\n"
                               "cafile = /ca\npoll-ms = 250\n");
        QTest::newRow("group may read") << whole << 0640 << true
                                        << QStringLiteral("L3 2 19200 p=w#1 250");
        QTest::newRow("others may read") << whole << 0604 << false
                                         << QStringLiteral("other users");
        QTest::newRow("others may write") << whole << 0602 << false
                                          << QStringLiteral("other users");
        QTest::newRow("empty") << QByteArray("\n# nothing\n") << 0600 << true
                               << QStringLiteral(" 0 0  1000");
        QTest::newRow("unknown key") << QByteArray("line = a\ncolour = red\n") << 0600 << false
                                     << QStringLiteral("line 2: unknown key colour");
        QTest::newRow("no equals") << QByteArray("line a\n") << 0600 << false
                                   << QStringLiteral("line 1: not");
        QTest::newRow("speed") << QByteArray("speed = 4800\n") << 0600 << false
                               << QStringLiteral("bad value for speed");
        QTest::newRow("port") << QByteArray("port = 0\n") << 0600 << false
                              << QStringLiteral("bad value for port");
        QTest::newRow("poll") << QByteArray("poll-ms = 10\n") << 0600 << false
                              << QStringLiteral("bad value for poll-ms");
    }
    void configFile()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, mode);
        QFETCH(bool, loads);
        QFETCH(QString, expected);
        const QString path = m_dir.filePath(QStringLiteral("line.conf"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(content);
        f.close();
        QVERIFY(::chmod(QFile::encodeName(path).constData(), mode_t(mode)) == 0);
        MonitorConfig c;
        QString why;
        QCOMPARE(MonitorConfig::load(path, c, &why), loads);
        if (loads)
            QCOMPARE(QStringLiteral("%1 %2 %3 %4 %5")
                         .arg(c.line)
                         .arg(c.port)
                         .arg(c.speed)
                         .arg(c.password)
                         .arg(c.pollMs),
                     expected);
        else
            QVERIFY2(why.startsWith(path) && why.contains(expected), qPrintable(why));
        QVERIFY(!why.contains(QStringLiteral("p=w#1"))); // the password is never repeated
    }

    void brokerUrl_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("parsed"); // empty: refused
        QTest::newRow("plain") << QStringLiteral("mqtt://127.0.0.1") << QStringLiteral("mqtt://127.0.0.1:1883");
        QTest::newRow("tls") << QStringLiteral("mqtts://broker.plant") << QStringLiteral("mqtts://broker.plant:8883");
        QTest::newRow("port") << QStringLiteral("mqtt://h:18830/") << QStringLiteral("mqtt://h:18830");
        QTest::newRow("credentials") << QStringLiteral("mqtt://u:pw@h") << QStringLiteral("");
        QTest::newRow("user") << QStringLiteral("mqtts://u@h") << QStringLiteral("");
        QTest::newRow("scheme") << QStringLiteral("http://h") << QStringLiteral("");
        QTest::newRow("path") << QStringLiteral("mqtt://h/x") << QStringLiteral("");
        QTest::newRow("no host") << QStringLiteral("mqtt://") << QStringLiteral("");
    }
    void brokerUrl()
    {
        QFETCH(QString, text);
        QFETCH(QString, parsed);
        BrokerUrl url;
        QString why;
        QCOMPARE(BrokerUrl::parse(text, url, &why), !parsed.isEmpty());
        if (!parsed.isEmpty())
            QCOMPARE(url.text(), parsed);
        QVERIFY(!why.contains(QStringLiteral("pw")));
    }

    // (ms since the last state, same content?) -> sent?
    void stateThrottle_data()
    {
        QTest::addColumn<qint64>("age");
        QTest::addColumn<bool>("changed");
        QTest::addColumn<bool>("due");
        QTest::newRow("change within a second") << qint64(999) << true << false;
        QTest::newRow("change after a second") << qint64(1000) << true << true;
        QTest::newRow("same at 29 s") << qint64(29999) << false << false;
        QTest::newRow("same at 30 s") << qint64(30000) << false << true;
    }
    void stateThrottle()
    {
        QFETCH(qint64, age);
        QFETCH(bool, changed);
        QFETCH(bool, due);
        StateThrottle t;
        QVERIFY(t.due(5000, "a")); // the first one always
        t.sent(5000, "a");
        QCOMPARE(t.due(5000 + age, changed ? "b" : "a"), due);
        t.forget(); // a new broker connection
        QVERIFY(t.due(5000 + age, "a"));
    }
};

QTEST_GUILESS_MAIN(TestMonitorParts)
#include "test_monitorparts.moc"
