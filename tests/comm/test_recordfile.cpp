#include "comm/recordfile.h"

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
        const QByteArray content = "00,\"No fault\"\r\n0a , \"Resolver, signal lost\"\r\n"
                                   "21,Unquoted, comma\r\nA,short code\r\n";
        QString text;
        QVERIFY(RecordReader::lookUp(content, QStringLiteral("0A"), text));
        QCOMPARE(text, QStringLiteral("Resolver, signal lost"));
        // The part after an unquoted comma is read as the next record's code.
        QVERIFY(RecordReader::lookUp(content, QStringLiteral("21"), text));
        QCOMPARE(text, QStringLiteral("Unquoted"));
        QVERIFY(RecordReader::lookUp(content, QStringLiteral("comma"), text));
        QCOMPARE(text, QStringLiteral("A"));
        QVERIFY(!RecordReader::lookUp(content, QStringLiteral("A"), text));
        QVERIFY(!RecordReader::lookUp(content, QStringLiteral("0B"), text));
        QVERIFY(!RecordReader::lookUp({}, QStringLiteral("00"), text));
    }
};

QTEST_APPLESS_MAIN(TestRecordFile)
#include "test_recordfile.moc"
