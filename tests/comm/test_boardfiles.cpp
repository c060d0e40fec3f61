// The support files the link and the target board window read: code lists,
// revision files, project files, and the fault registers they explain.
#include "comm/recordfile.h"
#include "comm/targetboardfacts.h"
#include "fakes/fakelink.h"

#include <QtTest>

namespace TB = TargetBoardFacts;

class TestBoardFiles : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString write(const QString &name, const QByteArray &text)
    {
        const QString path = m_dir.filePath(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile f(path);
        if (f.open(QIODevice::WriteOnly))
            f.write(text);
        return path;
    }

private slots:
    void recordFields_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QStringList>("fields");
        QTest::newRow("plain") << QByteArray("1,9600\r\n") << QStringList{"1", "9600"};
        QTest::newRow("padded") << QByteArray("  3 ,  19200  \n") << QStringList{"3", "19200"};
        QTest::newRow("quoted comma") << QByteArray("0A,\"Jam, check guide\"\r\n5C, Low air\r\n")
                                      << QStringList{"0A", "Jam, check guide", "5C", "Low air"};
        QTest::newRow("empty field") << QByteArray("a,,b\n") << QStringList{"a", "", "b"};
        QTest::newRow("blank lines") << QByteArray("\r\n\r\nx\r\n\r\n") << QStringList{"x"};
        // Text after a closing quote is dropped up to the separator.
        QTest::newRow("after the quote")
            << QByteArray("\"q\" junk,next") << QStringList{"q", "next"};
        QTest::newRow("unterminated")
            << QByteArray("\"unterminated") << QStringList{"unterminated"};
        QTest::newRow("nothing") << QByteArray("") << QStringList{};
    }
    void recordFields()
    {
        QFETCH(QByteArray, content);
        RecordReader reader(content);
        QStringList out;
        QString f;
        while (reader.next(f))
            out << f;
        QTEST(out, "fields");
    }

    // The same list read three ways: the first match, the last match (the
    // target board window), and the fault text the link shows.
    void codeLookUps()
    {
        const QByteArray content = "5C,Program checksum fault\r\n0a , \"Resolver, signal lost\"\r\n"
                                   "0A,again\r\n21,Unquoted, comma\r\nA,short\r\n";
        QString text;
        QVERIFY(RecordReader::lookUp(content, QStringLiteral("0A"), text));
        QCOMPARE(text, QStringLiteral("Resolver, signal lost"));
        // The part after an unquoted comma is read as the next record's code.
        QVERIFY(RecordReader::lookUp(content, QStringLiteral("comma"), text));
        QCOMPARE(text, QStringLiteral("A"));
        QVERIFY(!RecordReader::lookUp(content, QStringLiteral("0B"), text));
        QVERIFY(!RecordReader::lookUp({}, QStringLiteral("5C"), text));

        QVERIFY(TB::lookUpCode(content, QStringLiteral("0a"), text));
        QCOMPARE(text, QStringLiteral("again"));
        text = QStringLiteral("kept");
        QVERIFY(!TB::lookUpCode(content, QStringLiteral("0B"), text));
        QVERIFY(!TB::lookUpCodeFile(m_dir.filePath("none.txt"), QStringLiteral("0A"), text));
        QCOMPARE(text, QStringLiteral("kept"));
        // A pass that met a comm error records a code that asks for the cable.
        QVERIFY(TB::correctiveAction(TB::commErrorCodeText()).startsWith(u"Verify connection"));

        FakeLink link;
        QCOMPARE(link.comm.FaultDescription(92),
                 QStringLiteral("Fault Code (5CH): --- Fault File Not Found ---"));
        link.write(QStringLiteral("Support/FaultErrCodes.txt"), content);
        QCOMPARE(link.comm.FaultDescription(92),
                 QStringLiteral("Fault Code (5CH): Program checksum fault"));
        QCOMPARE(link.comm.FaultDescription(10),
                 QStringLiteral("Fault Code (0AH): Resolver, signal lost"));
        QCOMPARE(link.comm.FaultDescription(0x21), QStringLiteral("Fault Code (21H): Unquoted"));
        QCOMPARE(link.comm.FaultDescription(5), QStringLiteral("Fault Code (05H): "));
        QVERIFY(link.prompt.asked.isEmpty());
        // Unreadable: the line so far, and the error for the operator.
        const QString path = link.dir.filePath(QStringLiteral("Support/FaultErrCodes.txt"));
        QVERIFY(QFile::remove(path) && QDir().mkpath(path));
        QCOMPARE(link.comm.FaultDescription(92), QStringLiteral("Fault Code (5CH): "));
        QCOMPARE(link.prompt.asked.size(), 1);
        QCOMPARE(link.prompt.asked[0].title, QStringLiteral("RSComm FaultDescription"));
        QVERIFY(link.prompt.asked[0].text.startsWith(QStringLiteral("Error Number = 75\r\n\r\n")));
    }

    void diskIdentity_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: no file
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("checksum");
        QTest::addColumn<int>("revision");
        QTest::addColumn<int>("error");
        QTest::newRow("plain") << QByteArray("PUMPCTRL<=05\r\n") << "PUMPCTRL" << 205 << 5 << 0;
        QTest::newRow("mark hex") << QByteArray("NAME0?1:\r\n") << "NAME" << 15 << 26 << 0;
        QTest::newRow("missing") << QByteArray() << "-" << 0 << 0 << 0;
        QTest::newRow("empty") << QByteArray("") << "-" << 0 << 0 << 0;
        QTest::newRow("short") << QByteArray("<=0\r\n") << "" << 0 << 0 << 5;
        QTest::newRow("not hex") << QByteArray("NAMEzz05\r\n") << "" << 0 << 0 << 13;
    }
    void diskIdentity()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, name);
        QFETCH(int, error);
        const QString path =
            content.isNull() ? m_dir.filePath("none.rev") : write("id.rev", content);
        TB::DiskIdentity id;
        int number = 0;
        QString why;
        QCOMPARE(TB::readDiskIdentity(path, id, &number, &why), error == 0);
        QCOMPARE(number, error);
        if (error == 0) {
            QCOMPARE(id.name, name);
            QTEST(int(id.checksum), "checksum");
            QTEST(int(id.revision), "revision");
        }
    }
};

QTEST_GUILESS_MAIN(TestBoardFiles)
#include "test_boardfiles.moc"
