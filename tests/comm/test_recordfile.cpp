#include "comm/recordfile.h"

#include <QTemporaryDir>
#include <QtTest>

class TestRecordFile : public QObject
{
    Q_OBJECT

    static QStringList fields(const QByteArray &content)
    {
        RecordReader reader(content);
        QStringList out;
        QString f;
        while (reader.next(f))
            out << f;
        return out;
    }

private slots:
    void fieldSyntax()
    {
        QCOMPARE(fields("1,9600\r\n"), (QStringList{"1", "9600"}));
        QCOMPARE(fields("  3 ,  19200  \n"), (QStringList{"3", "19200"}));
        QCOMPARE(fields("0A,\"Jam at infeed, check guide\"\r\n5C, Low air\r\n"),
                 (QStringList{"0A", "Jam at infeed, check guide", "5C", "Low air"}));
        QCOMPARE(fields("a,,b\n"), (QStringList{"a", "", "b"}));
        QCOMPARE(fields("\r\n\r\nx\r\n\r\n"), (QStringList{"x"}));
        // Text after a closing quote is dropped up to the separator.
        QCOMPARE(fields("\"q\" junk,next"), (QStringList{"q", "next"}));
        QCOMPARE(fields("\"unterminated"), (QStringList{"unterminated"}));
        QVERIFY(fields("").isEmpty());
    }

    void lookUp()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("codes.txt"));
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("00,\"No fault\"\r\n0A , \"Resolver, signal lost\"\r\nA,short code\r\n");
        f.close();
        QString text;
        QVERIFY(RecordReader::lookUp(path, QStringLiteral("0A"), text));
        QCOMPARE(text, QStringLiteral("Resolver, signal lost"));
        QVERIFY(RecordReader::lookUp(path, QStringLiteral("A"), text));
        QCOMPARE(text, QStringLiteral("short code"));
        QVERIFY(!RecordReader::lookUp(path, QStringLiteral("0B"), text));
        QVERIFY(!RecordReader::lookUp(dir.filePath(QStringLiteral("missing.txt")),
                                      QStringLiteral("00"), text));
    }
};

QTEST_APPLESS_MAIN(TestRecordFile)
#include "test_recordfile.moc"
