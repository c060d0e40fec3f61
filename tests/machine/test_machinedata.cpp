#include "machine/machinedata.h"
#include "machine/registermap.h"
#include "machine/setupparameters.h"
#include "machine/valuetext.h"

#include <QTest>

class TestMachineData : public QObject
{
    Q_OBJECT

private slots:
    void defaultAddresses_data();
    void defaultAddresses();
    void defaultAddressListIsComplete();
    void defaultValues();
    void setupParameterTable();
    void startUpState();
    void groupOrder();
    void spindleLimits_data();
    void spindleLimits();
    void unsavedChanges();
    void resetToDefaults();
    void applyShortFile();
    void applyLongFile();
    void itemNames();
    void roundedTextValue_data();
    void roundedTextValue();
    void recordsDoNotShareLists();
};

void TestMachineData::defaultAddresses_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("address");
    QTest::newRow("0") << 0 << "B1011";
    QTest::newRow("1") << 1 << "W1020";
    QTest::newRow("36") << 36 << "W1090";
    QTest::newRow("37") << 37 << "D1100";
    QTest::newRow("39") << 39 << "D1108";
    QTest::newRow("40") << 40 << "D1116";
    QTest::newRow("42") << 42 << "D1112";
    QTest::newRow("43") << 43 << "W1124";
    QTest::newRow("78") << 78 << "W1194";
    QTest::newRow("79") << 79 << "D1200";
    QTest::newRow("84") << 84 << "D1212";
    QTest::newRow("85") << 85 << "W1224";
    QTest::newRow("120") << 120 << "W1294";
    QTest::newRow("121") << 121 << "D1304";
    QTest::newRow("122") << 122 << "W1092";
    QTest::newRow("125") << 125 << "W1004";
    QTest::newRow("130") << 130 << "B1010";
    QTest::newRow("131") << 131 << "B1006";
    QTest::newRow("134") << 134 << "B1009";
    QTest::newRow("135") << 135 << "W830";
    QTest::newRow("137") << 137 << "W834";
}

void TestMachineData::defaultAddresses()
{
    QFETCH(int, index);
    QFETCH(QString, address);
    const DataSet data = buildDefaultData();
    QCOMPARE(data.Address.at(index), address);
    QCOMPARE(defaultAddress(index), address);
}

void TestMachineData::defaultAddressListIsComplete()
{
    const DataSet data = buildDefaultData();
    QCOMPARE(data.Address.size(), 138);
    QCOMPARE(data.Value.size(), 138);
    QCOMPARE(data.Version, QStringLiteral("KESTRO_R2.1.3"));
    // Every address is distinct, and all but three are five characters long
    // (the record's file size depends on that).
    QSet<QString> seen;
    int fourCharacter = 0;
    for (const QString &a : data.Address) {
        QVERIFY2(!seen.contains(a), qPrintable(a));
        seen.insert(a);
        if (a.size() == 4)
            ++fourCharacter;
        else
            QCOMPARE(a.size(), 5);
    }
    QCOMPARE(fourCharacter, 3);
    // The per-spindle runs are consecutive even words.
    for (int s = 1; s <= 36; ++s) {
        QCOMPARE(data.Address[Item::tripsPerSpindle(s)], QString("W%1").arg(1018 + 2 * s));
        QCOMPARE(data.Address[Item::curShiftTrips(s)], QString("W%1").arg(1122 + 2 * s));
        QCOMPARE(data.Address[Item::lastShiftTrips(s)], QString("W%1").arg(1222 + 2 * s));
    }
    const QStringList counts = {"D1100", "D1104", "D1108", "D1116", "D1120", "D1112"};
    const QStringList lastCounts = {"D1200", "D1204", "D1208", "D1216", "D1220", "D1212"};
    QCOMPARE(data.Address.mid(37, 6), counts);
    QCOMPARE(data.Address.mid(79, 6), lastCounts);
    const QStringList setup = {"W1092", "W1094", "W1096", "W1004", "B1003", "B1000",
                               "B1001", "B1002", "B1010", "B1006", "B1007", "B1008",
                               "B1009", "W830",  "W832",  "W834"};
    QCOMPARE(data.Address.mid(122), setup);
    QVERIFY(defaultAddress(-1).isEmpty());
    QVERIFY(defaultAddress(138).isEmpty());
}

void TestMachineData::defaultValues()
{
    const DataSet data = buildDefaultData();
    for (int i = 0; i <= 121; ++i)
        QCOMPARE(data.Value[i], 0);
    const QList<qint32> defaults = {600, 1000, 380, 32, 1,  12,  0,   0,
                                    1,   15,   28,  15, 28, 180, 185, 0};
    QCOMPARE(data.Value.mid(122), defaults);
}

void TestMachineData::setupParameterTable()
{
    const auto params = setupParameters();
    QCOMPARE(params.size(), size_t(16));
    struct Expected {
        const char *name;
        qint32 min, max;
        const char *caption;
    };
    const Expected expected[16] = {
        {"CanfeedEnableLowSpeed", 0, 1999, "&Canfeed Enable Low Speed:"},
        {"CanfeedEnableHighSpeed", 0, 1999, "C&anfeed Enable High Speed:"},
        {"ApplRollSpeedCalibrate", 0, 500,
         "Applicator &Roll Speed Calibrate: (Roll RPM at 10VDC) "},
        {"PinChainBlowoffPins", 0, 999, "&Number of Pins to Pin Chain Blow-off Port:"},
        {"MisloadBlowoffCans", 1, 5, "N&umber of Cans to Blow-off for Each Mis-load:"},
        {"InfeedOpenBlowoffCans", 0, 255, "Numb&er of Cans to Blow-off at Infeed Open:"},
        {"Appl1RestartBlowoffCans", 0, 255,
         "Number of Cans to Blow-off from Appl. No.&1 at Restart:"},
        {"Appl2RestartBlowoffCans", 0, 255,
         "Number of Cans to Blow-off from Appl. No.&2 at Restart:"},
        {"QCPortShiftOffset", 1, 24, "Q.C. Can Blow-off Port Shift &Offset:"},
        {"BadCanSolenoidOnTime", 5, 50, "Bad &Can Blow-off Solenoid:"},
        {"BadCanSolenoidOffTime", 5, 50, "Bad &Can Blow-off Solenoid:"},
        {"QCSolenoidOnTime", 5, 50, "Q.C. Blow-off So&lenoid:"},
        {"QCSolenoidOffTime", 5, 50, "Q.C. Blow-off So&lenoid:"},
        {"BadCanBlowoffOnPosition", 0, 359, "Bad Can B&low-off \"ON\" Position (degrees):"},
        {"QCBlowoffOnPosition", 0, 359, "Q.&C. Blow-off \"ON\" Position (degrees):"},
        {"CanGateOnPosition", 0, 359, "Can &Gate Timing \"ON\" Position (degrees):"},
    };
    for (int k = 0; k < 16; ++k) {
        const SetupParameter &p = params[k];
        QCOMPARE(p.Field, k);
        QCOMPARE(p.Index, 122 + k);
        QCOMPARE(QString(p.Name), QString::fromLatin1(expected[k].name));
        QCOMPARE(p.Minimum, expected[k].min);
        QCOMPARE(p.Maximum, expected[k].max);
        QCOMPARE(QString(p.Caption), QString::fromLatin1(expected[k].caption));
        QVERIFY(p.Default >= p.Minimum && p.Default <= p.Maximum);
        QCOMPARE(setupParameterForIndex(122 + k), &p);
        QCOMPARE(p.maximumFor(0), p.Maximum);
    }
    QCOMPARE(QString(params[9].Column), QStringLiteral("ON (msec)"));
    QCOMPARE(QString(params[12].Column), QStringLiteral("OFF (msec)"));
    QVERIFY(params[0].Unit.isEmpty());
    QCOMPARE(params[8].maximumFor(24), 24);
    QCOMPARE(params[8].maximumFor(36), 36);
    QCOMPARE(params[9].maximumFor(36), 50);
    QCOMPARE(setupParameterForIndex(121), nullptr);
    QCOMPARE(setupParameterForIndex(138), nullptr);
}

void TestMachineData::startUpState()
{
    const MachineData m;
    QCOMPARE(m.gCurrentData, m.gDefaultData);
    QCOMPARE(m.gSavedData, m.gDefaultData);
    QCOMPARE(m.gDefaultData, buildDefaultData());
    QCOMPARE(m.gSpindleCount, 0);
    QVERIFY(!m.hasUnsavedChanges());
}

void TestMachineData::groupOrder()
{
    QList<int> setup = {0};
    for (int i = 122; i <= 137; ++i)
        setup << i;
    QCOMPARE(dataGroupIndexes(DataGroup::SetupData), setup);

    const QList<int> shift = dataGroupIndexes(DataGroup::ShiftData);
    QCOMPARE(shift.size(), 121);
    QCOMPARE(shift.first(), 1);
    QCOMPARE(shift.last(), 121);
    QVERIFY(std::is_sorted(shift.begin(), shift.end()));

    const QList<int> all = dataGroupIndexes(DataGroup::All);
    QCOMPARE(all.size(), 138);
    for (int i = 0; i < 138; ++i)
        QCOMPARE(all[i], i);

    QCOMPARE(dataGroupName(DataGroup::SetupData), QStringLiteral("Set-up Data"));
    QCOMPARE(dataGroupName(DataGroup::ShiftData), QStringLiteral("Shift Data"));
    QCOMPARE(dataGroupOf(0), DataGroup::SetupData);
    QCOMPARE(dataGroupOf(1), DataGroup::ShiftData);
    QCOMPARE(dataGroupOf(121), DataGroup::ShiftData);
    QCOMPARE(dataGroupOf(122), DataGroup::SetupData);
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

void TestMachineData::itemNames()
{
    QCOMPARE(itemName(0), QStringLiteral("SpindleTripOffset"));
    QCOMPARE(itemName(1), QStringLiteral("TripsPerSpindle(1)"));
    QCOMPARE(itemName(36), QStringLiteral("TripsPerSpindle(36)"));
    QCOMPARE(itemName(42), QStringLiteral("CurShiftRestartBlowoffs"));
    QCOMPARE(itemName(43), QStringLiteral("CurShiftTrips(1)"));
    QCOMPARE(itemName(81), QStringLiteral("LastShiftBadCanBlowoffs"));
    QCOMPARE(itemName(120), QStringLiteral("LastShiftTrips(36)"));
    QCOMPARE(itemName(121), QStringLiteral("LifetimeCanCount"));
    QCOMPARE(itemName(130), QStringLiteral("QCPortShiftOffset"));
    QCOMPARE(itemName(137), QStringLiteral("CanGateOnPosition"));
    QVERIFY(itemName(138).isEmpty());
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
