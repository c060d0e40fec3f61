#include "comm/commsettings.h"

#include <QTemporaryDir>
#include <QtTest>

// The settings file's one reader and writer: whatever the file holds, the
// result is a port in 1..99 and a speed of 9600 or 19200.
class TestCommSettings : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString fileWith(const QByteArray &content)
    {
        const QString path = m_dir.filePath(QStringLiteral("Support/RSPort.cfg"));
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
            return {};
        f.write(content);
        return path;
    }

private slots:
    void readsAnyContentSafely_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("port");
        QTest::addColumn<int>("baud");
        QTest::newRow("speed as text") << QByteArray("7,fast\r\n") << 7 << 9600;
        QTest::newRow("port 0") << QByteArray("0,19200\r\n") << 1 << 19200;
        QTest::newRow("port 150") << QByteArray("150,9600\r\n") << 99 << 9600;
        QTest::newRow("fraction") << QByteArray("7.6,9600\r\n") << 8 << 9600;
        QTest::newRow("text") << QByteArray("COM3,19200\r\n") << 1 << 19200;
        QTest::newRow("inf") << QByteArray("inf,19200\r\n") << 1 << 19200;
        QTest::newRow("beyond an integer") << QByteArray("40000,9600\r\n") << 1 << 9600;
        QTest::newRow("speed 1e300") << QByteArray("4,1e300\r\n") << 4 << 9600;
    }
    void readsAnyContentSafely()
    {
        QFETCH(QByteArray, content);
        CommSettings settings;
        settings.port = 42;
        CommSettings::Found found = CommSettings::Found::NoFile;
        const auto failure = CommSettings::read(fileWith(content), settings, &found);
        QVERIFY(!failure);
        QCOMPARE(found, CommSettings::Found::Settings);
        QTEST(settings.port, "port");
        QTEST(settings.baud, "baud");
    }

    // The compact style, and the files the reader refuses, are the link's
    // to write and to complain of.
    void printedStyleReadsBack()
    {
        const QString path = m_dir.filePath(QStringLiteral("new/Support/RSPort.cfg"));
        CommSettings settings;
        settings.port = 3;
        settings.baud = 19200;
        QVERIFY(!CommSettings::write(path, settings, CommSettings::LineStyle::Printed));
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll(), QByteArray("3, 19200 \r\n"));
        CommSettings back;
        QVERIFY(!CommSettings::read(path, back));
        QCOMPARE(back.port, 3);
    }
};

QTEST_GUILESS_MAIN(TestCommSettings)
#include "test_commsettings.moc"
