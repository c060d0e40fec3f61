// The shell's small procedures: the project's board type, the extension
// change, the shipped fault texts and message text rendering.

#include "app/messageboxprompt.h"
#include "app/modutility.h"
#include "appharness.h"
#include "comm/recordfile.h"

#include <QRegularExpression>
#include <QSet>

class TestShellHelpers : public QObject
{
    Q_OBJECT

private slots:
    void projectBoardType_data()
    {
        QTest::addColumn<QString>("file"); // as written; asked for as .pdx in lower case
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("emptyItem");
        QTest::newRow("upper-case name")
            << "LINE3.pdx" << QByteArray("D,\"T6800\",1\r\n") << 68 << false;
        QTest::newRow("upper-case suffix")
            << "line3.PDX" << QByteArray("  =PLC,x\r\n") << 61 << false;
        QTest::newRow("missing") << "" << QByteArray() << 68 << false;
        QTest::newRow("empty") << "line3.pdx" << QByteArray() << 68 << false;
        QTest::newRow("blank first item") << "line3.pdx" << QByteArray("\"\",1\r\n") << 0 << true;
    }
    void projectBoardType()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, content);
        QFETCH(int, type);
        QFETCH(bool, emptyItem);
        QTemporaryDir dir;
        if (!file.isEmpty()) {
            QFile f(dir.filePath(file));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(content);
        }
        bool empty = !emptyItem;
        // The dialogs may hand in any of the project's files.
        QCOMPARE(ModUtility::ProjectBoardType(dir.filePath(QStringLiteral("line3.rev")), &empty),
                 qint16(type));
        QCOMPARE(empty, emptyItem);
    }

    void changeExtensionKeepsFolderAndBase()
    {
        QCOMPARE(
            ModUtility::ChangeExtension(QStringLiteral("/a/b/prog.v2.pdx"), QStringLiteral("rev")),
            QStringLiteral("/a/b/prog.v2.rev"));
        QCOMPARE(ModUtility::ChangeExtension(QStringLiteral("prog.pdx"), QStringLiteral("hex")),
                 QDir::current().absoluteFilePath(QStringLiteral("prog.hex")));
        QCOMPARE(MessageBoxPrompt::displayText(QStringLiteral("a\r\n\r\nb\rc")),
                 QStringLiteral("a\n\nb\nc"));
    }

    // The board reports processor faults 01..7A; every one has a text.
    void shippedFaultFileCoversEveryReportedCode()
    {
        QByteArray content;
        QVERIFY(RecordReader::readFile(
            QDir(binDir()).filePath(QStringLiteral("Support/FaultErrCodes.txt")), content));
        RecordReader reader(content);
        QSet<int> codes;
        QString code;
        QString text;
        static const QRegularExpression hex2(QStringLiteral("^[0-9A-F]{2}$"));
        while (reader.next(code)) {
            QVERIFY2(reader.next(text) && !text.trimmed().isEmpty(), qPrintable(code));
            QVERIFY2(hex2.match(code).hasMatch(), qPrintable(code));
            codes.insert(code.toInt(nullptr, 16));
        }
        for (int c = 1; c <= 122; ++c)
            QVERIFY2(codes.contains(c), qPrintable(QString::number(c, 16)));
    }
};

QTEST_MAIN(TestShellHelpers)
#include "test_shellhelpers.moc"
