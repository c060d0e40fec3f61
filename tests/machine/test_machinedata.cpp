#include "machine/machinedata.h"
#include "machine/registermap.h"
#include "machine/setupparameters.h"
#include "machine/valuetext.h"

#include <QTest>

class TestMachineData : public QObject
{
    Q_OBJECT

private slots:
    void startUpState();
    void spindleLimits_data();
    void spindleLimits();
    void unsavedChanges();
    void resetToDefaults();
    void applyShortFile();
    void applyLongFile();
    void roundedTextValue_data();
    void roundedTextValue();
    void recordsDoNotShareLists();
};

void TestMachineData::startUpState()
{
    const MachineData m;
    QCOMPARE(m.gCurrentData, m.gDefaultData);
    QCOMPARE(m.gSavedData, m.gDefaultData);
    QCOMPARE(m.gDefaultData, buildDefaultData());
    QCOMPARE(m.gSpindleCount, 0);
    QVERIFY(!m.hasUnsavedChanges());
}

void TestMachineData::spindleLimits_data()
{
    QTest::addColumn<int>("spindles");
    QTest::addColumn<int>("tripOffsetMax");
    QTest::addColumn<int>("portShiftMax");
    QTest::addColumn<int>("qcSpindleMax");
    QTest::newRow("never online") << 0 << 23 << 24 << 24;
    QTest::newRow("24") << 24 << 23 << 24 << 24;
    QTest::newRow("25") << 25 << 35 << 36 << 36;
    QTest::newRow("36") << 36 << 35 << 36 << 36;
}

void TestMachineData::spindleLimits()
{
    QFETCH(int, spindles);
    QFETCH(int, tripOffsetMax);
    QFETCH(int, portShiftMax);
    QFETCH(int, qcSpindleMax);
    MachineData m;
    m.gSpindleCount = spindles;
    const SpindleLimits l = m.limits();
    QCOMPARE(l.TripOffsetMinimum, 0);
    QCOMPARE(l.TripOffsetMaximum, tripOffsetMax);
    QCOMPARE(l.QCPortShiftMinimum, 1);
    QCOMPARE(l.QCPortShiftMaximum, portShiftMax);
    QCOMPARE(l.QCSpindleMinimum, 1);
    QCOMPARE(l.QCSpindleMaximum, qcSpindleMax);
    QCOMPARE(setupParameterForIndex(Item::QCPortShiftOffset)->maximumFor(spindles), portShiftMax);
}

void TestMachineData::unsavedChanges()
{
    MachineData m;
    QVERIFY(!m.hasUnsavedChanges());

    // Addresses are not compared.
    m.gCurrentData.Address[5] = QStringLiteral("W9999");
    QVERIFY(!m.hasUnsavedChanges());

    // The first and the last index both count.
    m.gCurrentData.Value[0] = 3;
    QVERIFY(m.hasUnsavedChanges());
    m.gCurrentData.Value[0] = 0;
    QVERIFY(!m.hasUnsavedChanges());
    m.gCurrentData.Value[137] = 90;
    QVERIFY(m.hasUnsavedChanges());
    m.gCurrentData.Value[137] = 0;

    // Equal values but another version tag: changed, in both directions of
    // the comparison (the snapshot's tag is not what is compared).
    m.gCurrentData.Version = QStringLiteral("KESTRO_R2.1.2");
    QVERIFY(m.hasUnsavedChanges());
    m.gSavedData.Version = QStringLiteral("KESTRO_R2.1.2");
    QVERIFY(m.hasUnsavedChanges());
    m.gCurrentData.Version = gProgramVersion;
    QVERIFY(!m.hasUnsavedChanges());

    // A change in the snapshot is a change too.
    m.gSavedData.Value[60] = -1;
    QVERIFY(m.hasUnsavedChanges());
}

void TestMachineData::resetToDefaults()
{
    MachineData m;
    m.gCurrentData.Value[127] = 15;
    m.gCurrentData.Address[127] = QStringLiteral("B9");
    m.gCurrentData.Version = QStringLiteral("old");
    m.resetToDefaults();
    QCOMPARE(m.gCurrentData, m.gDefaultData);
    QCOMPARE(m.gSavedData, m.gDefaultData);
    QVERIFY(!m.hasUnsavedChanges());
}

void TestMachineData::applyShortFile()
{
    MachineData m;
    DataSet file;
    file.Version = QStringLiteral("KESTRO_R2.1.3");
    for (int i = 0; i <= 100; ++i) {
        file.Address << QStringLiteral("A%1").arg(i);
        file.Value << i * 7 - 50;
    }
    m.gFileData = file;
    m.applyLoadedFile();
    QCOMPARE(m.gCurrentData.Address.size(), 138);
    QCOMPARE(m.gCurrentData.Value.size(), 138);
    for (int i = 0; i <= 100; ++i) {
        QCOMPARE(m.gCurrentData.Address[i], QStringLiteral("A%1").arg(i));
        QCOMPARE(m.gCurrentData.Value[i], i * 7 - 50);
    }
    for (int i = 101; i <= 137; ++i) {
        QVERIFY(m.gCurrentData.Address[i].isEmpty());
        QCOMPARE(m.gCurrentData.Value[i], 0);
    }
    QCOMPARE(m.gSavedData, m.gCurrentData);
    QCOMPARE(m.gFileData, m.gCurrentData);
    QVERIFY(!m.hasUnsavedChanges());
}

void TestMachineData::applyLongFile()
{
    MachineData m;
    DataSet file = buildDefaultData();
    file.Version = QStringLiteral("OTHER_1.0");
    file.Address << QStringLiteral("W2000") << QStringLiteral("W2002");
    file.Value << 11 << 12;
    // Lists of different lengths are each made to fit.
    file.Value << 13;
    m.gFileData = file;
    m.applyLoadedFile();
    QCOMPARE(m.gCurrentData.Address, buildDefaultData().Address);
    QCOMPARE(m.gCurrentData.Value, buildDefaultData().Value);
    QCOMPARE(m.gCurrentData.Version, QStringLiteral("OTHER_1.0"));
    // Data from another version asks to be saved until it is saved once.
    QVERIFY(m.hasUnsavedChanges());
}

void TestMachineData::roundedTextValue_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("value");
    QTest::newRow("plain") << "600" << 600;
    QTest::newRow("blank first") << " 600" << 600;
    QTest::newRow("negative") << "-12" << -12;
    QTest::newRow("empty") << "" << 0;
    QTest::newRow("not a number") << "abc" << 0;
    QTest::newRow("trailing text") << "42 cans" << 42;
    QTest::newRow("half down to even") << "2.5" << 2;
    QTest::newRow("half up to even") << "3.5" << 4;
    QTest::newRow("above half") << "2.51" << 3;
    QTest::newRow("negative half") << "-2.5" << -2;
    QTest::newRow("largest double register") << "655359999" << 655359999;
    QTest::newRow("beyond 32 bits") << "99999999999" << 2147483647;
    QTest::newRow("beyond 32 bits negative") << "-99999999999" << -2147483647 - 1;
}

void TestMachineData::roundedTextValue()
{
    QFETCH(QString, text);
    QFETCH(int, value);
    QCOMPARE(::roundedTextValue(text), value);
}

void TestMachineData::recordsDoNotShareLists()
{
    MachineData m;
    m.gCurrentData.Value[10] = 77;
    m.gCurrentData.Address[10] = QStringLiteral("X");
    QCOMPARE(m.gDefaultData.Value[10], 0);
    QCOMPARE(m.gSavedData.Value[10], 0);
    QCOMPARE(m.gDefaultData.Address[10], QStringLiteral("W1038"));
}

QTEST_GUILESS_MAIN(TestMachineData)
#include "test_machinedata.moc"
