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
        QTest::addColumn<QString>("expected"); // "=" and the values read, or part of the refusal
        const auto row = [](const char *name, const char *content, int mode, const char *expected) {
            QTest::newRow(name) << QByteArray(content) << mode << QString::fromLatin1(expected);
        };
        const char *whole = "# line 3\nline = L3\nport = 2\nspeed = 19200\nmqtt = mqtts://b:8883\n"
                            "username = u\n\npassword = p=w#1\ncafile = /ca\npoll-ms = 250\n";
        row("group may read", whole, 0640, "=L3 2 19200 p=w#1 250");
        row("others may read", whole, 0604, "other users");
        row("unknown key", "line = a\ncolour = red\n", 0600, "line 2: unknown key colour");
        row("no equals", "line a\n", 0600, "line 1: not");
        row("speed", "speed = 4800\n", 0600, "bad value for speed");
        row("poll", "poll-ms = 10\n", 0600, "bad value for poll-ms");
    }
    void configFile()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, mode);
        QFETCH(QString, expected);
        const QString path = m_dir.filePath(QStringLiteral("line.conf"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && f.write(content) >= 0);
        QVERIFY(::chmod(QFile::encodeName(path).constData(), mode_t(mode)) == 0);
        MonitorConfig c;
        QString why;
        const bool loads = expected.startsWith(u'=');
        QCOMPARE(MonitorConfig::load(path, c, &why), loads);
        if (loads)
            QCOMPARE(QStringList({c.line, QString::number(c.port), QString::number(c.speed),
                                  c.password, QString::number(c.pollMs)})
                         .join(u' '),
                     expected.mid(1));
        else
            QVERIFY2(why.startsWith(path) && why.contains(expected), qPrintable(why));
        QVERIFY(!why.contains(QStringLiteral("p=w#1"))); // the password is never repeated
    }

    // A broker URL never carries credentials; the port defaults to 1883.
    void brokerUrl_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("parsed"); // empty: refused
        QTest::newRow("mqtt") << QString("mqtt://127.0.0.1") << QString("mqtt://127.0.0.1:1883");
        QTest::newRow("mqtts") << QString("mqtts://b:18830/") << QString("mqtts://b:18830");
        for (const char *refused :
             {"mqtt://u:pw@h", "mqtts://u@h", "http://h", "mqtt://h/x", "mqtt://"})
            QTest::newRow(refused) << QString::fromLatin1(refused) << QString();
    }
    void brokerUrl()
    {
        QFETCH(QString, text);
        QFETCH(QString, parsed);
        BrokerUrl url;
        QString why;
        QCOMPARE(BrokerUrl::parse(text, url, &why) ? url.text() : QString(), parsed);
        QVERIFY(!why.contains(QStringLiteral("pw")));
    }

    // A changed state goes out a second after the last one, the same one
    // after 30 s; the first one at once, also on a new broker connection.
    void stateThrottle()
    {
        StateThrottle t;
        QVERIFY(t.due(5000, "a"));
        t.sent(5000, "a");
        QVERIFY(!t.due(5999, "b"));
        QVERIFY(t.due(6000, "b"));
        QVERIFY(!t.due(34999, "a"));
        QVERIFY(t.due(35000, "a"));
        t.forget();
        QVERIFY(t.due(5001, "a"));
    }
};

QTEST_GUILESS_MAIN(TestMonitorParts)
#include "test_monitorparts.moc"
