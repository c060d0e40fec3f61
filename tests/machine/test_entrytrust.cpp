// What the window may write and what it may call read: a typed number is
// written only when the write stores that very number, and the data in
// memory remembers which registers an upload did not read.

#include "machine/datatransfer.h"
#include "machine/machinedata.h"
#include "machine/valuetext.h"

#include <QTest>

class TestEntryTrust : public QObject
{
    Q_OBJECT

private slots:
    void wholeNumbers_data();
    void wholeNumbers();
    void notReadMarksFollowUploads();
    void shortfallNamesCountAndRegisters();
};

void TestEntryTrust::wholeNumbers_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("minimum");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<int>("value");
    QTest::newRow("plain") << "12" << 0 << true << 12;
    QTest::newRow("blanks around") << " 7 " << 0 << true << 7;
    QTest::newRow("fraction") << "12.5" << 0 << false << 0;
    QTest::newRow("trailing point") << "12." << 0 << false << 0;
    QTest::newRow("exponent") << "1e1" << 0 << false << 0;
    QTest::newRow("minus, none allowed") << "-3" << 0 << false << 0;
    QTest::newRow("plus") << "+4" << 0 << false << 0;
    QTest::newRow("minus allowed") << "-3" << -10 << true << -3;
    QTest::newRow("blank inside") << "1 2" << 0 << false << 0;
    QTest::newRow("above range") << "256" << 0 << false << 0;
    QTest::newRow("empty") << "" << 0 << false << 0;
    QTest::newRow("huge") << "99999999999999999999" << 0 << false << 0;
}

void TestEntryTrust::wholeNumbers()
{
    QFETCH(QString, text);
    QFETCH(int, minimum);
    QFETCH(bool, accepted);
    QFETCH(int, value);
    qint64 read = -99;
    QCOMPARE(wholeNumberIn(text, minimum, 255, &read), accepted);
    if (accepted)
        QCOMPARE(read, qint64(value));
}

void TestEntryTrust::notReadMarksFollowUploads()
{
    MachineData data;
    QVERIFY(data.fullyRead());
    const QList<int> setup = dataGroupIndexes(DataGroup::SetupData);
    const QList<int> shift = dataGroupIndexes(DataGroup::ShiftData);
    data.noteUpload(setup, {123, 130});
    data.noteUpload(shift, {5});
    QCOMPARE(data.NotRead, (QList<int>{5, 123, 130}));
    // A clean upload of one group clears its marks only.
    data.noteUpload(setup, {});
    QCOMPARE(data.NotRead, (QList<int>{5}));
    data.resetToDefaults();
    QVERIFY(data.fullyRead());
}

void TestEntryTrust::shortfallNamesCountAndRegisters()
{
    MachineData data;
    const DataSet &set = data.gCurrentData;
    TransferResult clean;
    clean.Transferred = transferCount(TransferMode::UploadSetup);
    QVERIFY(shortfallText(TransferMode::UploadSetup, clean, set).isEmpty());

    // Two failed, and the transfer stopped before the last three.
    TransferResult broken;
    broken.Transferred = transferCount(TransferMode::UploadSetup) - 3;
    broken.Failed = {122, 126};
    const QList<int> left = notMoved(TransferMode::UploadSetup, broken);
    QCOMPARE(left, (QList<int>{122, 126, 135, 136, 137}));
    const QString text = shortfallText(TransferMode::UploadSetup, broken, set);
    QVERIFY2(text.startsWith(QStringLiteral("Registers Not Read: 5 of 17\r\n")), qPrintable(text));
    for (int index : left)
        QVERIFY(text.contains(set.addressAt(index)));
    QVERIFY(text.endsWith(QStringLiteral("Data in Memory Not Fully Read from T6800")));
    QVERIFY(shortfallText(TransferMode::DownloadSetup, broken, set)
                .startsWith(QStringLiteral("Registers Not Written: 5 of 17")));
}

QTEST_GUILESS_MAIN(TestEntryTrust)
#include "test_entrytrust.moc"
