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
        QTest::addColumn<bool>("loads");
        QTest::addColumn<QString>("problem"); // part of the refusal, or a checked value

        QTest::newRow("whole") << QByteArray("# line 3\nline = L3\nport = 2\nspeed = 19200\n"
                                             "mqtt = mqtts://b:8883\nusername = u\n"
                                             "password = p=w#1\ncafile = /ca\npoll-ms = 250\n")
                               << true << QStringLiteral("L3 2 19200 p=w#1 250");
        QTest::newRow("empty") << QByteArray("\n# nothing\n") << true
                               << QStringLiteral(" 0 0  1000");
        QTest::newRow("unknown key") << QByteArray("line = a\ncolour = red\n") << false
                                     << QStringLiteral("line 2: unknown key colour");
        QTest::newRow("no equals") << QByteArray("line a\n") << false
                                   << QStringLiteral("line 1: not");
        QTest::newRow("speed") << QByteArray("speed = 4800\n") << false
                               << QStringLiteral("bad value for speed");
        QTest::newRow("port") << QByteArray("port = 0\n") << false
                              << QStringLiteral("bad value for port");
        QTest::newRow("poll") << QByteArray("poll-ms = 10\n") << false
                              << QStringLiteral("bad value for poll-ms");
    }
    void configFile()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, loads);
        QFETCH(QString, problem);
        const QString path = m_dir.filePath(QStringLiteral("line.conf"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(content);
        f.close();
        f.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup);
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
                     problem);
        else
            QVERIFY2(why.startsWith(path) && why.contains(problem), qPrintable(why));
    }

    void configOthersMayReadOrWrite_data()
    {
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("loads");
        QTest::newRow("0600") << 0600 << true;
        QTest::newRow("0640") << 0640 << true;
        QTest::newRow("0604") << 0604 << false;
        QTest::newRow("0602") << 0602 << false;
    }
    void configOthersMayReadOrWrite()
    {
        QFETCH(int, mode);
        QFETCH(bool, loads);
        const QString path = m_dir.filePath(QStringLiteral("mode.conf"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write("password = hunter2\n");
        f.close();
        QVERIFY(::chmod(QFile::encodeName(path).constData(), mode_t(mode)) == 0);
        MonitorConfig c;
        QString why;
        QCOMPARE(MonitorConfig::load(path, c, &why), loads);
        QVERIFY(!why.contains(QStringLiteral("hunter2")));
        QCOMPARE(c.password.isEmpty(), !loads); // refused before a byte is read
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
