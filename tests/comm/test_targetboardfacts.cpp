#include "comm/projectfile.h"
#include "comm/targetboardfacts.h"

#include <QTemporaryDir>
#include <QtTest>

namespace TB = TargetBoardFacts;

// What the target board window and kestro-cli board share, without a board.
class TestTargetBoardFacts : public QObject
{
    Q_OBJECT

    static QString write(const QTemporaryDir &dir, const QString &name, const QByteArray &text)
    {
        const QString path = dir.filePath(name);
        QFile f(path);
        f.open(QIODevice::WriteOnly);
        f.write(text);
        return path;
    }

private slots:
    void correctiveActionAfterACommError()
    {
        // A pass that met a comm error records 42, which asks for the cable.
        QVERIFY(TB::correctiveAction(TB::commErrorCodeText())
                    .startsWith(QStringLiteral("Verify connection of cable")));
        QCOMPARE(TB::correctiveAction(QStringLiteral("7A")),
                 QStringLiteral(
                     "Reset fault and try again.  If fault persists, replace target board and try "
                     "again.  See Pradex Manual for more details."));
        QCOMPARE(TB::correctiveAction(QStringLiteral("7B")), QStringLiteral("None"));
    }

    void lookUpTakesTheLastMatchAndIgnoresCase()
    {
        const QByteArray content = "0a,first\r\n0A,\"second, with a comma\"\r\nA,short\r\n"
                                   "12,  padded  \r\n";
        QString text = QStringLiteral("kept");
        QVERIFY(TB::lookUpCode(content, QStringLiteral("0A"), text));
        QCOMPARE(text, QStringLiteral("second, with a comma"));
        QVERIFY(TB::lookUpCode(content, QStringLiteral("12"), text));
        QCOMPARE(text, QStringLiteral("padded"));
        text = QStringLiteral("kept");
        QVERIFY(!TB::lookUpCode(content, QStringLiteral("0B"), text));
        QCOMPARE(text, QStringLiteral("kept"));
        QVERIFY(!TB::lookUpCodeFile(QStringLiteral("/nonexistent/CommErrCodes.txt"),
                                    QStringLiteral("0A"), text));
    }


    void diskIdentity()
    {
        QTemporaryDir dir;
        TB::DiskIdentity id;
        QVERIFY(TB::readDiskIdentity(write(dir, "A.rev", "PUMPCTRL<=05\r\n"), id));
        QCOMPARE(id.name, QStringLiteral("PUMPCTRL"));
        QCOMPARE(int(id.checksum), 205);
        QCOMPARE(int(id.revision), 5);
        QVERIFY(TB::readDiskIdentity(write(dir, "B.rev", "NAME0?1:\r\n"), id));
        QCOMPARE(id.name, QStringLiteral("NAME"));
        QCOMPARE(int(id.checksum), 15);
        QCOMPARE(int(id.revision), 26);
        // Missing or empty: "-", 0, 0.
        QVERIFY(TB::readDiskIdentity(dir.filePath("none.rev"), id));
        QCOMPARE(id.name, QStringLiteral("-"));
        QVERIFY(TB::readDiskIdentity(write(dir, "E.rev", ""), id));
        QCOMPARE(id.name, QStringLiteral("-"));
        QCOMPARE(int(id.revision), 0);
        int number = 0;
        QString why;
        QVERIFY(!TB::readDiskIdentity(write(dir, "S.rev", "<=0\r\n"), id, &number, &why));
        QCOMPARE(number, 5);
        QVERIFY(!TB::readDiskIdentity(write(dir, "X.rev", "NAMEzz05\r\n"), id, &number, &why));
        QCOMPARE(number, 13);
    }

    void projectFiles()
    {
        QTemporaryDir dir;
        write(dir, "LINE.PDX", "6LINE,1\r\n");
        QCOMPARE(int(projectBoardType(dir.filePath("LINE.pdx"))), 54);
        QCOMPARE(int(projectBoardType(dir.filePath("OTHER.pdx"))), 68);
        write(dir, "EMPTY.pdx", ",1\r\n");
        bool empty = false;
        QCOMPARE(int(projectBoardType(dir.filePath("EMPTY.pdx"), &empty)), 0);
        QVERIFY(empty);
        QCOMPARE(changeExtension(dir.filePath("LINE.pdx"), QStringLiteral("rev")),
                 dir.filePath("LINE.rev"));
    }

};

QTEST_MAIN(TestTargetBoardFacts)
#include "test_targetboardfacts.moc"
