#include "machine/machinedata.h"
#include "machine/sdtfile.h"
#include "machine/setupparameters.h"
#include "machine/shiftexport.h"
#include "machine/valuetext.h"

#include <QCryptographicHash>
#include <QDir>
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

bool writeAll(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

QByteArray defaultImage()
{
    QByteArray bytes;
    encodeSetupRecord(buildDefaultData(), bytes);
    return bytes;
}

// Extremes of every kind: negative and the largest values, an empty address,
// one longer than the others, a Latin-1 version, lists of unequal length.
DataSet sampleData()
{
    DataSet d = buildDefaultData();
    for (int i = 0; i <= gLastIndex; ++i)
        d.Value[i] = (i % 3 == 0 ? -1 : 1) * (i * 104729 + 17);
    d.Value[5] = std::numeric_limits<qint32>::min();
    d.Value << 655359999;
    d.Address[7] = QString();
    d.Address[8] = QStringLiteral("B1016.0");
    d.Version = QStringLiteral("Version \u00e9\u00ff");
    return d;
}

} // namespace

class TestMachineData : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QStringList files() const { return QDir(m_dir.path()).entryList(QDir::Files | QDir::Hidden); }

private slots:
    void init() { QVERIFY(QDir(m_dir.path()).removeRecursively() && QDir().mkpath(m_dir.path())); }
    void spindleLimits_data()
    {
        // The trip offset goes up to most - 1, the Q.C. port shift and spindle to most.
        QTest::addColumn<int>("spindles");
        QTest::addColumn<int>("most");
        QTest::newRow("24") << 24 << 24;
        QTest::newRow("25") << 25 << 36;
    }
    void spindleLimits()
    {
        QFETCH(int, spindles);
        QFETCH(int, most);
        MachineData m;
        m.gSpindleCount = spindles;
        const SpindleLimits l = m.limits();
        QCOMPARE(QList<int>({l.TripOffsetMinimum, l.TripOffsetMaximum, l.QCPortShiftMinimum,
                             l.QCPortShiftMaximum, l.QCSpindleMinimum, l.QCSpindleMaximum}),
                 QList<int>({0, most - 1, 1, most, 1, most}));
        QCOMPARE(setupParameterForIndex(Item::QCPortShiftOffset)->maximumFor(spindles), most);
    }
    void unsavedChanges()
    {
        MachineData m;
        QVERIFY(!m.hasUnsavedChanges());
        m.gCurrentData.Address[5] = QStringLiteral("W9999"); // addresses are not compared
        QVERIFY(!m.hasUnsavedChanges());
        // The first and the last index both count; the defaults stay apart.
        for (int i : {0, gLastIndex}) {
            m.gCurrentData.Value[i] = 3;
            QVERIFY(m.hasUnsavedChanges());
            QCOMPARE(m.gDefaultData.Value[i], buildDefaultData().Value[i]);
            m.gCurrentData.Value[i] = m.gSavedData.Value[i];
        }
        QVERIFY(!m.hasUnsavedChanges());
        // Another version tag is a change, whatever the snapshot's tag says.
        m.gCurrentData.Version = m.gSavedData.Version = QStringLiteral("KESTRO_R2.1.2");
        QVERIFY(m.hasUnsavedChanges());
        m.gCurrentData.Version = gProgramVersion;
        QVERIFY(!m.hasUnsavedChanges());
        m.resetToDefaults();
        QCOMPARE(m.gSavedData, m.gDefaultData);
        QVERIFY(!m.hasUnsavedChanges());
    }
    void applyLoadedFile_data()
    {
        QTest::addColumn<int>("items");
        QTest::addColumn<QString>("version");
        QTest::addColumn<bool>("unsaved"); // data from another version asks to be saved
        QTest::newRow("short") << 101 << gProgramVersion << false;
        QTest::newRow("long, other version") << 141 << "OTHER_1.0" << true;
    }
    void applyLoadedFile()
    {
        QFETCH(int, items);
        QFETCH(QString, version);
        QFETCH(bool, unsaved);
        MachineData m;
        m.gFileData.Version = version;
        for (int i = 0; i < items; ++i) {
            m.gFileData.Address << QStringLiteral("A%1").arg(i);
            m.gFileData.Value << i * 7 - 50;
        }
        m.gFileData.Value << 1; // the two lists are each made to fit
        m.applyLoadedFile();
        QCOMPARE(m.gCurrentData.Version, version);
        QCOMPARE(m.gCurrentData.Address.size(), gLastIndex + 1);
        QCOMPARE(m.gCurrentData.Value.size(), gLastIndex + 1);
        for (int i = 0; i <= gLastIndex; ++i) {
            QCOMPARE(m.gCurrentData.Address[i], i < items ? u'A' + QString::number(i) : QString());
            QCOMPARE(m.gCurrentData.Value[i], i < items ? i * 7 - 50 : i == items ? 1 : 0);
        }
        QCOMPARE(m.hasUnsavedChanges(), unsaved);
        for (int outside : {-1, gLastIndex + 1})
            QVERIFY(defaultAddress(outside).isEmpty() && itemName(outside).isEmpty());
    }
    // A register's text rounded to a value, and a typed entry accepted as a
    // whole number between minimum and 999 (-99: refused).
    void numberTexts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("minimum");
        QTest::addColumn<int>("rounded");
        QTest::addColumn<int>("whole");
        QTest::newRow("blanks around") << " 7 " << 0 << 7 << 7;
        QTest::newRow("minus, none allowed") << "-12" << 0 << -12 << -99;
        QTest::newRow("minus allowed") << "-3" << -10 << -3 << -3;
        QTest::newRow("empty") << "" << 0 << 0 << -99;
        QTest::newRow("trailing text") << "42 cans" << 0 << 42 << -99;
        QTest::newRow("half down to even") << "2.5" << 0 << 2 << -99;
        QTest::newRow("half up to even") << "3.5" << 0 << 4 << -99;
        QTest::newRow("exponent") << "1e1" << 0 << 1 << -99;
        QTest::newRow("largest") << "999" << 0 << 999 << 999;
        QTest::newRow("above range") << "1000" << 0 << 1000 << -99;
        QTest::newRow("beyond 32 bits negative") << "-99999999999" << -10 << -2147483647 - 1 << -99;
        QTest::newRow("20 digits") << "99999999999999999999" << 0 << 2147483647 << -99;
    }
    void numberTexts()
    {
        QFETCH(QString, text);
        QFETCH(int, minimum);
        QFETCH(int, rounded);
        QFETCH(int, whole);
        QCOMPARE(roundedTextValue(text), rounded);
        qint64 read = -99;
        QCOMPARE(wholeNumberIn(text, minimum, 999, &read), whole != -99);
        QCOMPARE(read, qint64(whole));
    }
    void uploadTimeHasTheGeneralDateForm()
    {
        // Date and time with the seconds, in the user's short date form.
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        const QString text = uploadTimeText(QDateTime(QDate(2024, 3, 14), QTime(22, 7, 5)));
        QVERIFY2(text.startsWith(QStringLiteral("3/14/2024 10:07:05")) && text.endsWith(u"PM"),
                 qPrintable(text));
        QLocale::setDefault(QLocale::system());
    }
    void shiftExportFile()
    {
        // Each item carries its own index plus 1000 (40 is negative), so a line
        // shows which item it came from; over an older, longer file.
        DataSet d = buildDefaultData();
        for (int i = 0; i <= gLastIndex; ++i)
            d.Value[i] = 1000 + i;
        d.Value[40] = -12;
        const QByteArray legend = "(Good Can, Total Blow-off, Misloads, Manual Blow-offs, QC "
                                  "Blow-offs, Restart Blow-off)\r\n";
        const auto values = [&](int first, int last) {
            QByteArray b;
            for (int i = first; i <= last; ++i)
                b += (i == 40 ? QByteArray("-12") : " " + QByteArray::number(1000 + i)) + "\r\n";
            return b;
        };
        const QByteArray expected =
            "Ligne\xc3\xa9.sdt\r\nDate: 3/14/2024\r\n \r\nCurrent Shift Data:\r\n" + legend +
            values(37, 42) + " \r\nCurrent Shift Trips per Spindle:\r\n" + values(43, 78) +
            " \r\nLast Shift Data:\r\n" + legend + values(79, 84) +
            " \r\nLast Shift Trips per Spindle\r\n" + values(85, 120);
        QVERIFY(writeAll(path("shift.txt"), QByteArray(20000, 'z')));
        QCOMPARE(writeShiftExport(path("shift.txt"), d, QStringLiteral("Ligne\u00e9.sdt"),
                                  QStringLiteral("3/14/2024")),
                 MachineError::None);
        QCOMPARE(readAll(path("shift.txt")), expected);
        QVERIFY(shiftExportLines(d, QString(), QString()).startsWith(QStringLiteral("untitled")));
        QCOMPARE(writeShiftExport(path("missing/shift.txt"), d, QString(), QString()),
                 MachineError::FileWriteFailed);
    }
    void defaultFileByteForByte()
    {
        // The file every installation writes for the defaults; another
        // installation reads it, so not a byte may move.
        const QByteArray bytes = defaultImage();
        QCOMPARE(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex(),
                 QByteArray("46e4c078d01405c7bea0c616f3367e25cb2790f0"));
    }
    void roundTrip()
    {
        const DataSet d = sampleData();
        QCOMPARE(writeSetupFile(path("s.sdt"), d), MachineError::None);
        DataSet back;
        QCOMPARE(readSetupFile(path("s.sdt"), back), MachineError::None);
        QCOMPARE(back, d);
        QCOMPARE(readAll(path("s.sdt")).mid(2, 10), QByteArray("Version \xe9\xff"));
    }
    void decoderTolerates()
    {
        // A lower bound other than 0 and bytes after the record.
        QByteArray bytes = defaultImage() + QByteArray(300, '\xAB');
        bytes[21] = 1;
        DataSet back;
        qsizetype used = 0;
        QCOMPARE(decodeSetupRecord(bytes, back, &used), MachineError::None);
        QCOMPARE(used, 1550);
        QCOMPARE(back, buildDefaultData());
        // An array without dimensions is empty.
        bytes = QByteArray::fromHex("0100") + "V" +
                QByteArray::fromHex("0000 0100 01000000 00000000 2A000000");
        QCOMPARE(decodeSetupRecord(bytes, back), MachineError::None);
        QVERIFY(back.Address.isEmpty());
        QCOMPARE(back.Value, QList<qint32>{42});
    }
    void damagedFilesChangeNothing_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<MachineError>("error");
        const QByteArray golden = defaultImage();
        const auto patched = [&](std::initializer_list<std::pair<int, char>> changes) {
            QByteArray b = golden;
            for (auto [at, value] : changes)
                b[at] = value;
            return b;
        };
        QTest::newRow("empty") << QByteArray() << MachineError::FileTooShort;
        QTest::newRow("two-dimensional addresses")
            << patched({{15, 2}}) << MachineError::FileDamaged;
        QTest::newRow("one value more than stored")
            << patched({{990, '\x8B'}}) << MachineError::FileTooShort;
        QTest::newRow("version longer than the file")
            << patched({{0, '\xFF'}, {1, '\xFF'}}) << MachineError::FileTooShort;
    }
    void damagedFilesChangeNothing()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(MachineError, error);
        MachineData m;
        m.gFileData = sampleData();
        const MachineData before = m;
        QVERIFY(writeAll(path("bad.sdt"), bytes));
        QCOMPARE(m.readFile(path("bad.sdt")), error);
        QCOMPARE(m.gFileData, before.gFileData);
        QCOMPARE(m.gCurrentData, before.gCurrentData);
        QVERIFY(!machineErrorText(error).isEmpty());
    }
    void cutOrMissingFiles()
    {
        // Every shorter cut of a good record is refused and leaves the output alone.
        const QByteArray golden = defaultImage();
        for (qsizetype length = 0; length < golden.size(); ++length) {
            DataSet out = sampleData();
            QCOMPARE(decodeSetupRecord(golden.left(length), out), MachineError::FileTooShort);
            QCOMPARE(out, sampleData());
        }
        MachineData m;
        QCOMPARE(m.readFile(path("none.sdt")), MachineError::FileNotFound);
        QVERIFY(QDir(m_dir.path()).mkdir("folder.sdt"));
        QCOMPARE(m.readFile(path("folder.sdt")), MachineError::FileOpenFailed);
    }
    // Saving retags the data and makes it the snapshot; an older, longer
    // file keeps its tail.
    void saveRetagsAndMakesTheSnapshot()
    {
        QByteArray old(2100, '\0');
        for (int i = 0; i < old.size(); ++i)
            old[i] = char(i * 31 + 7);
        QVERIFY(writeAll(path("Line3.sdt"), old));
        MachineData m;
        m.gCurrentData.Version = QStringLiteral("OLD");
        QCOMPARE(m.saveFile(path("Line3.sdt")), MachineError::None);
        QCOMPARE(m.gCurrentData.Version, gProgramVersion);
        QCOMPARE(m.gSavedData, m.gCurrentData);
        QVERIFY(!m.hasUnsavedChanges());
        QCOMPARE(files(), QStringList{"Line3.sdt"}); // nothing else left in the folder
        QCOMPARE(readAll(path("Line3.sdt")), defaultImage() + old.mid(1550));
    }
    void failedSavesChangeNothing()
    {
        MachineData m;
        m.gCurrentData.Value[122] = 700;
        m.gCurrentData.Version = QStringLiteral("OLD");
        const MachineData before = m;
        QVERIFY(writeAll(path("locked.sdt"), "old"));
        QVERIFY(QFile::setPermissions(path("locked.sdt"), QFileDevice::ReadOwner));
        QCOMPARE(m.saveFile(path("locked.sdt")), MachineError::FileReadOnly);
        QCOMPARE(readAll(path("locked.sdt")), QByteArray("old"));
        QCOMPARE(m.saveFile(path("no/such/folder/x.sdt")), MachineError::FileWriteFailed);
        QVERIFY(QDir(m_dir.path()).mkdir("folder.sdt"));
        QCOMPARE(m.saveFile(path("folder.sdt")), MachineError::FileWriteFailed);
        QCOMPARE(m.gCurrentData, before.gCurrentData);
        QCOMPARE(m.gSavedData, before.gSavedData);

        DataSet d = buildDefaultData();
        d.Address[3] = QString(70000, u'W');
        QByteArray bytes("untouched");
        QCOMPARE(encodeSetupRecord(d, bytes), MachineError::TextTooLong);
        QCOMPARE(bytes, QByteArray("untouched"));
        QCOMPARE(writeSetupFile(path("long-text.sdt"), d), MachineError::TextTooLong);
        QCOMPARE(files(), QStringList{"locked.sdt"});
    }
};

QTEST_GUILESS_MAIN(TestMachineData)
#include "test_machinedata.moc"
