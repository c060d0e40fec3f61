#include "machine/dataset.h"
#include "machine/shiftexport.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace
{

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

class TestShiftExport : public QObject
{
    Q_OBJECT

private slots:
    void uploadTimeHasTheGeneralDateForm();
    void linesOfAFilledRecord();
    void negativeValues();
    void fileBytes();
    void replacesExistingFile();
    void unwritableTarget();
};

void TestShiftExport::uploadTimeHasTheGeneralDateForm()
{
    // Date and time with the seconds, in the user's short date order.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    const QString text = uploadTimeText(QDateTime(QDate(2024, 3, 14), QTime(22, 7, 5)));
    QVERIFY2(text.startsWith(QStringLiteral("3/14/2024 10:07:05")), qPrintable(text));
    QVERIFY(text.endsWith(QStringLiteral("PM")));
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    QCOMPARE(uploadTimeText(QDateTime(QDate(2024, 3, 4), QTime(9, 7, 5))),
             QStringLiteral("04.03.2024 09:07:05"));
    QLocale::setDefault(QLocale::system());
}

void TestShiftExport::linesOfAFilledRecord()
{
    // Each item carries its own index plus 1000, so a line shows which item
    // it came from.
    DataSet d = buildDefaultData();
    for (int i = 0; i <= gLastIndex; ++i)
        d.Value[i] = 1000 + i;
    const QStringList lines =
        shiftExportLines(d, QStringLiteral("Line3.sdt"), QStringLiteral("3/14/2024 10:22 AM"));
    QCOMPARE(lines[0], QStringLiteral("Line3.sdt"));
    QCOMPARE(lines[1], QStringLiteral("Date: 3/14/2024 10:22 AM"));
    const auto value = [](int index) { return QStringLiteral(" %1").arg(1000 + index); };
    // File line numbers counted from 1, as a reader of the file sees them.
    const auto line = [&](int number) { return lines[number - 1]; };
    for (int i = 37; i <= 42; ++i)
        QCOMPARE(line(6 + i - 37), value(i));
    for (int i = 43; i <= 78; ++i)
        QCOMPARE(line(14 + i - 43), value(i));
    for (int i = 79; i <= 84; ++i)
        QCOMPARE(line(53 + i - 79), value(i));
    for (int i = 85; i <= 120; ++i)
        QCOMPARE(line(61 + i - 85), value(i));
    // Items not exported: trips since reset, trip offset, lifetime, set-up.
    for (int i : {0, 1, 36, 121, 122, 137})
        QVERIFY(!lines.contains(value(i)));
}

void TestShiftExport::negativeValues()
{
    DataSet d = buildDefaultData();
    d.Value[37] = -12;
    d.Value[38] = 15230;
    d.Value[120] = -2147483647 - 1;
    const QStringList lines = shiftExportLines(d, QString(), QString());
    QCOMPARE(lines[5], QStringLiteral("-12"));
    QCOMPARE(lines[6], QStringLiteral(" 15230"));
    QCOMPARE(lines[95], QStringLiteral("-2147483648"));
}

void TestShiftExport::fileBytes()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("shift.txt");
    DataSet d = buildDefaultData();
    d.Value[42] = 7;
    QCOMPARE(writeShiftExport(path, d, QStringLiteral("Ligne\u00e9.sdt"), QString()),
             MachineError::None);
    const QByteArray bytes = readAll(path);
    QVERIFY(bytes.endsWith(" 0\r\n"));
    QCOMPARE(bytes.count("\r\n"), 96);
    QCOMPARE(bytes.count('\n'), 96);
    QCOMPARE(bytes.count('\r'), 96);
    QVERIFY(bytes.startsWith("Ligne\xc3\xa9.sdt\r\nDate: \r\n \r\nCurrent Shift Data:\r\n"));
    QVERIFY(bytes.contains("\r\n 0\r\n 7\r\n \r\nCurrent Shift Trips per Spindle:\r\n"));
    QCOMPARE(bytes, shiftExportBytes(d, QStringLiteral("Ligne\u00e9.sdt"), QString()));
}

void TestShiftExport::replacesExistingFile()
{
    QTemporaryDir dir;
    const QString path = dir.filePath("shift.txt");
    {
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(QByteArray(20000, 'z'));
    }
    QCOMPARE(writeShiftExport(path, buildDefaultData(), QString(), QString()), MachineError::None);
    const QByteArray bytes = readAll(path);
    QVERIFY(!bytes.contains('z'));
    QCOMPARE(bytes.count("\r\n"), 96);
}

void TestShiftExport::unwritableTarget()
{
    QTemporaryDir dir;
    QCOMPARE(writeShiftExport(dir.filePath("missing/shift.txt"), buildDefaultData(), QString(),
                              QString()),
             MachineError::FileWriteFailed);
}

QTEST_GUILESS_MAIN(TestShiftExport)
#include "test_shiftexport.moc"
