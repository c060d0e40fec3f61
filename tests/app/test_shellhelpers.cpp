// The board type of the project the dialogs hand in, from its .PDX file.

#include "app/modutility.h"
#include "appharness.h"

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
};

QTEST_MAIN(TestShellHelpers)
#include "test_shellhelpers.moc"
