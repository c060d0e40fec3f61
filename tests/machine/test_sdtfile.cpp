#include "machine/machinedata.h"
#include "machine/sdtfile.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace
{

// An independent writer of the record layout, used to check the encoder.
QByteArray referenceImage(const QString &version, const QStringList &addresses,
                          const QList<qint32> &values, quint32 lowerBound = 0)
{
    QByteArray bytes;
    QDataStream s(&bytes, QIODevice::WriteOnly);
    s.setByteOrder(QDataStream::LittleEndian);
    const auto text = [&](const QString &t) {
        const QByteArray l1 = t.toLatin1();
        s << quint16(l1.size());
        s.writeRawData(l1.constData(), int(l1.size()));
    };
    text(version);
    s << quint16(1) << quint32(addresses.size()) << lowerBound;
    for (const QString &a : addresses)
        text(a);
    s << quint16(1) << quint32(values.size()) << lowerBound;
    for (qint32 v : values)
        s << v;
    return bytes;
}

QByteArray readAll(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return QByteArray();
    return f.readAll();
}

bool writeAll(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

DataSet sampleData()
{
    DataSet d = buildDefaultData();
    for (int i = 0; i <= gLastIndex; ++i)
        d.Value[i] = (i % 3 == 0 ? -1 : 1) * (i * 104729 + 17);
    d.Value[121] = 655359999;
    d.Value[5] = std::numeric_limits<qint32>::min();
    d.Address[7] = QString();
    d.Address[8] = QStringLiteral("B1016.0");
    return d;
}

} // namespace

class TestSdtFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void goldenDefaultFile();
    void saveWritesGoldenFile();
    void roundTrip();
    void readerTakesFileDimensions();
    void readerIgnoresBytesAfterRecord();
    void readerIgnoresLowerBound();
    void readerAcceptsArrayWithoutDimensions();
    void truncatedFilesChangeNothing();
    void damagedFilesChangeNothing_data();
    void damagedFilesChangeNothing();
    void missingFile();
    void existingLongerFileKeepsTail();
    void existingShorterFileReplaced();
    void readOnlyTargetChangesNothing();
    void badPathChangesNothing();
    void tooLongTextRefused();
    void latin1Texts();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString path(const QString &name) const { return m_dir->filePath(name); }
};

void TestSdtFile::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestSdtFile::goldenDefaultFile()
{
    const DataSet defaults = buildDefaultData();
    QByteArray bytes;
    QCOMPARE(encodeSetupRecord(defaults, bytes), MachineError::None);
    QCOMPARE(bytes.size(), 1550);

    const QByteArray start = QByteArray::fromHex("0D00") + "KESTRO_R2.1.3" +
                             QByteArray::fromHex("0100 8A000000 00000000 0500") + "B1011";
    QVERIFY(bytes.startsWith(start));
    // The address array ends with "W834" just before the value descriptor at
    // 1550 - 552 - 10 = 988.
    QCOMPARE(bytes.mid(982, 6), QByteArray::fromHex("0400") + "W834");
    QCOMPARE(bytes.mid(988, 10), QByteArray::fromHex("0100 8A000000 00000000"));
    // Value 122 (600) and 123 (1000) and 136 (185).
    QCOMPARE(bytes.mid(998 + 122 * 4, 8), QByteArray::fromHex("58020000 E8030000"));
    QCOMPARE(bytes.mid(998 + 136 * 4, 8), QByteArray::fromHex("B9000000 00000000"));
    QCOMPARE(bytes, referenceImage(defaults.Version, defaults.Address, defaults.Value));
}

void TestSdtFile::saveWritesGoldenFile()
{
    MachineData m;
    const QString file = path("Line3.sdt");
    QCOMPARE(m.saveFile(file), MachineError::None);
    const QByteArray bytes = readAll(file);
    QCOMPARE(bytes.size(), 1550);
    QCOMPARE(bytes, referenceImage(gProgramVersion, m.gDefaultData.Address, m.gDefaultData.Value));
    // Nothing but the file itself is left in the folder.
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden), QStringList{"Line3.sdt"});

    // Saving retags data of another version and makes it the snapshot.
    m.gCurrentData.Version = QStringLiteral("OLD");
    m.gCurrentData.Value[40] = 5;
    QVERIFY(m.hasUnsavedChanges());
    QCOMPARE(m.saveFile(file), MachineError::None);
    QCOMPARE(m.gCurrentData.Version, gProgramVersion);
    QCOMPARE(m.gSavedData, m.gCurrentData);
    QVERIFY(!m.hasUnsavedChanges());

    // Open of the file just written applies it with nothing left to save.
    MachineData other;
    QCOMPARE(other.readFile(file), MachineError::None);
    QCOMPARE(other.gFileData.Version, gProgramVersion);
    other.applyLoadedFile();
    QCOMPARE(other.gCurrentData, m.gCurrentData);
    QVERIFY(!other.hasUnsavedChanges());
}

void TestSdtFile::roundTrip()
{
    const DataSet d = sampleData();
    const QString file = path("sample.sdt");
    QCOMPARE(writeSetupFile(file, d), MachineError::None);
    DataSet back;
    QCOMPARE(readSetupFile(file, back), MachineError::None);
    QCOMPARE(back, d);
    QCOMPARE(readAll(file), referenceImage(d.Version, d.Address, d.Value));
}

void TestSdtFile::readerTakesFileDimensions()
{
    QStringList addresses;
    QList<qint32> values;
    for (int i = 0; i <= 100; ++i) {
        addresses << QStringLiteral("W%1").arg(2 * i);
        values << -i;
    }
    const QString file = path("short.sdt");
    QVERIFY(writeAll(file, referenceImage("KESTRO_R2.1.3", addresses, values)));
    MachineData m;
    QCOMPARE(m.readFile(file), MachineError::None);
    QCOMPARE(m.gFileData.Address, addresses);
    QCOMPARE(m.gFileData.Value, values);
    m.applyLoadedFile();
    QCOMPARE(m.gCurrentData.Value.size(), 138);
    QCOMPARE(m.gCurrentData.Value[100], -100);
    QCOMPARE(m.gCurrentData.Value[101], 0);
    QVERIFY(m.gCurrentData.Address[137].isEmpty());
}

void TestSdtFile::readerIgnoresBytesAfterRecord()
{
    const DataSet d = sampleData();
    QByteArray bytes;
    QCOMPARE(encodeSetupRecord(d, bytes), MachineError::None);
    const qsizetype recordLength = bytes.size();
    bytes += QByteArray(300, '\xAB');
    DataSet back;
    qsizetype size = 0;
    QCOMPARE(decodeSetupRecord(bytes, back, &size), MachineError::None);
    QCOMPARE(size, recordLength);
    QCOMPARE(back, d);
}

void TestSdtFile::readerIgnoresLowerBound()
{
    const QByteArray bytes = referenceImage("V", {"W10", "W12"}, {7, 8}, 1);
    DataSet back;
    QCOMPARE(decodeSetupRecord(bytes, back), MachineError::None);
    QCOMPARE(back.Address, QStringList({"W10", "W12"}));
    QCOMPARE(back.Value, QList<qint32>({7, 8}));
}

void TestSdtFile::readerAcceptsArrayWithoutDimensions()
{
    QByteArray bytes = QByteArray::fromHex("0100") + "V" + QByteArray::fromHex("0000") +
                       QByteArray::fromHex("0100 01000000 00000000 2A000000");
    DataSet back;
    QCOMPARE(decodeSetupRecord(bytes, back), MachineError::None);
    QVERIFY(back.Address.isEmpty());
    QCOMPARE(back.Value, QList<qint32>{42});
}

void TestSdtFile::truncatedFilesChangeNothing()
{
    MachineData m;
    m.gCurrentData.Value[127] = 15;
    m.gFileData = sampleData();
    const MachineData before = m;

    QByteArray golden;
    QCOMPARE(encodeSetupRecord(buildDefaultData(), golden), MachineError::None);
    const QString file = path("cut.sdt");
    for (qsizetype length = 0; length < golden.size(); ++length) {
        // Every length is checked in memory; a spread of them through the file.
        DataSet out = sampleData();
        QCOMPARE(decodeSetupRecord(golden.left(length), out), MachineError::FileTooShort);
        QCOMPARE(out, sampleData());
        if (length % 97 == 0 || length > golden.size() - 5) {
            QVERIFY(writeAll(file, golden.left(length)));
            QCOMPARE(m.readFile(file), MachineError::FileTooShort);
            QCOMPARE(m.gFileData, before.gFileData);
            QCOMPARE(m.gCurrentData, before.gCurrentData);
            QCOMPARE(m.gSavedData, before.gSavedData);
        }
    }
}

void TestSdtFile::damagedFilesChangeNothing_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<MachineError>("error");
    QByteArray golden;
    encodeSetupRecord(buildDefaultData(), golden);

    QByteArray twoDims = golden;
    twoDims[15] = 2; // address descriptor: dimensions
    QTest::newRow("two-dimensional addresses") << twoDims << MachineError::FileDamaged;

    QByteArray valueDims = golden;
    valueDims[988] = 3;
    QTest::newRow("three-dimensional values") << valueDims << MachineError::FileDamaged;

    QByteArray hugeCount = golden;
    hugeCount[20] = '\xFF'; // address count's top byte
    QTest::newRow("address count beyond the file") << hugeCount << MachineError::FileTooShort;

    QByteArray valueCount = golden;
    valueCount[990] = '\x8B'; // 139 values where 138 are stored
    QTest::newRow("one value more than stored") << valueCount << MachineError::FileTooShort;

    QByteArray longVersion = golden;
    longVersion[1] = '\x7F';
    QTest::newRow("version longer than the file") << longVersion << MachineError::FileTooShort;

    QByteArray longAddress = golden;
    longAddress[982] = '\xFF'; // the last address claims 65535 characters
    longAddress[983] = '\xFF';
    QTest::newRow("address longer than the file") << longAddress << MachineError::FileTooShort;
}

void TestSdtFile::damagedFilesChangeNothing()
{
    QFETCH(QByteArray, bytes);
    QFETCH(MachineError, error);
    MachineData m;
    m.gCurrentData.Value[3] = 9;
    const MachineData before = m;
    const QString file = path("bad.sdt");
    QVERIFY(writeAll(file, bytes));
    QCOMPARE(m.readFile(file), error);
    QCOMPARE(m.gFileData, before.gFileData);
    QCOMPARE(m.gCurrentData, before.gCurrentData);
    QCOMPARE(m.gSavedData, before.gSavedData);
    QVERIFY(!machineErrorText(error).isEmpty());
}

void TestSdtFile::missingFile()
{
    MachineData m;
    const DataSet before = m.gFileData;
    QCOMPARE(m.readFile(path("none.sdt")), MachineError::FileNotFound);
    QCOMPARE(m.gFileData, before);
    QVERIFY(QDir(m_dir->path()).mkdir("folder.sdt"));
    QCOMPARE(m.readFile(path("folder.sdt")), MachineError::FileOpenFailed);
    QCOMPARE(m.gFileData, before);
    QVERIFY(writeAll(path("empty.sdt"), QByteArray()));
    QCOMPARE(m.readFile(path("empty.sdt")), MachineError::FileTooShort);
    QCOMPARE(m.gFileData, before);
}

void TestSdtFile::existingLongerFileKeepsTail()
{
    const QString file = path("long.sdt");
    QByteArray old(2100, '\0');
    for (int i = 0; i < old.size(); ++i)
        old[i] = char(i * 31 + 7);
    QVERIFY(writeAll(file, old));

    MachineData m;
    m.gCurrentData.Value[50] = 1234;
    QCOMPARE(m.saveFile(file), MachineError::None);
    const QByteArray now = readAll(file);
    QCOMPARE(now.size(), old.size());
    QByteArray record;
    encodeSetupRecord(m.gCurrentData, record);
    QCOMPARE(now.left(1550), record);
    QCOMPARE(now.mid(1550), old.mid(1550));

    DataSet back;
    QCOMPARE(readSetupFile(file, back), MachineError::None);
    QCOMPARE(back, m.gCurrentData);
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden), QStringList{"long.sdt"});
}

void TestSdtFile::existingShorterFileReplaced()
{
    const QString file = path("tiny.sdt");
    QVERIFY(writeAll(file, QByteArray(40, 'x')));
    QCOMPARE(writeSetupFile(file, buildDefaultData()), MachineError::None);
    QCOMPARE(readAll(file).size(), 1550);
}

void TestSdtFile::readOnlyTargetChangesNothing()
{
    const QString file = path("locked.sdt");
    QByteArray old;
    encodeSetupRecord(sampleData(), old);
    QVERIFY(writeAll(file, old));
    QVERIFY(QFile::setPermissions(file, QFileDevice::ReadOwner | QFileDevice::ReadGroup));

    MachineData m;
    m.gCurrentData.Value[122] = 700;
    m.gCurrentData.Version = QStringLiteral("OLD");
    const MachineData before = m;
    QCOMPARE(m.saveFile(file), MachineError::FileReadOnly);
    QCOMPARE(m.gCurrentData, before.gCurrentData);
    QCOMPARE(m.gSavedData, before.gSavedData);
    QVERIFY(m.hasUnsavedChanges());
    QCOMPARE(readAll(file), old);
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden), QStringList{"locked.sdt"});
    QFile::setPermissions(file, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

void TestSdtFile::badPathChangesNothing()
{
    MachineData m;
    m.gCurrentData.Value[1] = 1;
    const MachineData before = m;
    QCOMPARE(m.saveFile(path("no/such/folder/x.sdt")), MachineError::FileWriteFailed);
    QCOMPARE(m.gCurrentData, before.gCurrentData);
    QCOMPARE(m.gSavedData, before.gSavedData);
    // A folder where the file should be.
    QVERIFY(QDir(m_dir->path()).mkdir("folder.sdt"));
    QCOMPARE(m.saveFile(path("folder.sdt")), MachineError::FileWriteFailed);
    QCOMPARE(m.gSavedData, before.gSavedData);
}

void TestSdtFile::tooLongTextRefused()
{
    DataSet d = buildDefaultData();
    d.Address[3] = QString(70000, u'W');
    QByteArray bytes("untouched");
    QCOMPARE(encodeSetupRecord(d, bytes), MachineError::TextTooLong);
    QCOMPARE(bytes, QByteArray("untouched"));
    const QString file = path("long-text.sdt");
    QCOMPARE(writeSetupFile(file, d), MachineError::TextTooLong);
    QVERIFY(!QFile::exists(file));
}

void TestSdtFile::latin1Texts()
{
    DataSet d = buildDefaultData();
    d.Version = QStringLiteral("Version \u00e9\u00ff");
    QByteArray bytes;
    QCOMPARE(encodeSetupRecord(d, bytes), MachineError::None);
    QCOMPARE(bytes.mid(0, 2), QByteArray::fromHex("0A00"));
    QCOMPARE(bytes.mid(2, 10), QByteArray("Version \xe9\xff"));
    DataSet back;
    QCOMPARE(decodeSetupRecord(bytes, back), MachineError::None);
    QCOMPARE(back.Version, d.Version);
}

QTEST_GUILESS_MAIN(TestSdtFile)
#include "test_sdtfile.moc"
