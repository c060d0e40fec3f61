#include "comm/rscomm.h"

#include <QtTest>

class TestAddressCodec : public QObject
{
    Q_OBJECT

private slots:
    void decode_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<int>("byteAddress");
        QTest::addColumn<QString>("type");
        QTest::addColumn<int>("mask");
        QTest::addColumn<bool>("isBit");
        QTest::newRow("F0") << "F0" << 32 << "B" << 1 << true;
        QTest::newRow("F119") << "F119" << 46 << "B" << 128 << true;
        QTest::newRow("B1016.0") << "B1016.0" << 1016 << "B" << 1 << true;
        QTest::newRow("W98.1 letter ignored") << "W98.1" << 98 << "B" << 2 << true;
        QTest::newRow("EFF0H") << "EFF0H" << 61424 << "B" << 0 << false;
        QTest::newRow("FFFFH stays positive") << "FFFFH" << 65535 << "B" << 0 << false;
        QTest::newRow("lower h") << "1fh" << 31 << "B" << 0 << false;
        QTest::newRow("W98") << "W98" << 98 << "W" << 0 << false;
        QTest::newRow("d1304") << "d1304" << 1304 << "D" << 0 << false;
        QTest::newRow("Bx is byte 0") << "Bx" << 0 << "B" << 0 << false;
        QTest::newRow("unknown letter") << "Q77" << 32 << "B" << 0 << false;
    }
    void decode()
    {
        QFETCH(QString, address);
        const DecodedAddress d = RSComm::DecodeAddress(address);
        QTEST(int(d.ByteAddress), "byteAddress");
        QTEST(d.ValueType, "type");
        QTEST(d.IsBitAddress, "isBit");
        if (d.IsBitAddress)
            QTEST(int(d.BitMask), "mask");
    }

    void valueImages()
    {
        const DecodedAddress d = RSComm::DecodeAddress(QStringLiteral("D1304"));
        QCOMPARE(RSComm::AssembleValue(d, QByteArray::fromHex("0f270100")), 19999u);
        QCOMPARE(RSComm::ByteImage(d, 19999), QByteArray::fromHex("0f270100"));
        // A low word above 9999 stored by the board is passed on unchanged.
        QCOMPARE(RSComm::AssembleValue(d, QByteArray::fromHex("10270000")), 10000u);
        const DecodedAddress bit = RSComm::DecodeAddress(QStringLiteral("F119"));
        QCOMPARE(RSComm::AssembleValue(bit, QByteArray::fromHex("80")), 1u);
        QCOMPARE(RSComm::AssembleValue(bit, QByteArray::fromHex("7f")), 0u);
    }

    // What the refusals say is checked where the operator meets them, on a write.
    void preparesAcceptedValues_data()
    {
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("text");
        QTest::addColumn<uint>("value");
        const std::tuple<const char *, const char *, QString, uint> rows[] = {
            {"thousands separator", "W98", "1,234", 1234},
            {"empty is 0", "W98", "", 0},
            {"decimal point dropped", "W98", "12.5", 125},
            {"units dropped", "B10", QString(" 45%") + QChar(176), 45},
            {"flag 1", "F119", "1", 1},
            {"double max", "D1304", "655359999", 655359999}};
        for (const auto &[name, address, text, value] : rows)
            QTest::newRow(name) << QString(address) << text << value;
    }
    void preparesAcceptedValues()
    {
        QFETCH(QString, address);
        QFETCH(QString, text);
        DecodedAddress d;
        quint32 v = 0;
        QCOMPARE(RSComm::PrepareValue(address, text, d, v), ValueCheck::Accepted);
        QTEST(uint(v), "value");
    }

    void equateAdd_data()
    {
        QTest::addColumn<QString>("var");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("result");
        QTest::newRow("X30.5 K7110") << "X30.5" << 49 << "B49.5";
        QTest::newRow("bit above 7") << "X30.9" << 49 << "B49.7";
        QTest::newRow("Y81") << "Y81" << 49 << "B58";
        QTest::newRow("X40 unknown point") << "X40" << 49 << "X40";
        QTest::newRow("W98 on T6800") << "W98" << 68 << "W98";
        QTest::newRow("F119 passes") << "F119" << 49 << "F119";
        QTest::newRow("K7112 X151") << "X151" << 50 << "B191";
        QTest::newRow("K7112 Y10") << "Y10" << 50 << "B162";
        QTest::newRow("K7112 I0") << "I0" << 50 << "B192";
        QTest::newRow("K7112 I151.3") << "I151.3" << 50 << "B223.3";
        QTest::newRow("K7112 X12 not a point") << "X12" << 50 << "X12";
        QTest::newRow("T6210 Y1") << "Y1" << 58 << "B50";
        QTest::newRow("T6212 Y21") << "Y21" << 60 << "B54";
        QTest::newRow("R5110 X20") << "X20" << 65 << "B53";
        QTest::newRow("T6221 X21") << "X21" << 66 << "B54";
        QTest::newRow("T6800 X10") << "X10" << 68 << "X10";
    }
    void equateAdd()
    {
        QFETCH(QString, var);
        QFETCH(int, code);
        QTEST(RSComm::EquateAdd(var, qint16(code)), "result");
    }

    void validAdd_data()
    {
        QTest::addColumn<QString>("var");
        QTest::addColumn<int>("code");
        QTest::addColumn<bool>("valid");
        QTest::newRow("W99 odd") << "W99" << 68 << false;
        QTest::newRow("B8275") << "B8275" << 68 << true;
        QTest::newRow("B8276") << "B8276" << 68 << false;
        QTest::newRow("B31 below") << "B31" << 68 << false;
        QTest::newRow("X10 on T6800") << "X10" << 68 << false;
        QTest::newRow("C0") << "C0" << 68 << true;
        QTest::newRow("C1") << "C1" << 68 << false;
        QTest::newRow("X12 last digit") << "X12" << 49 << false;
        QTest::newRow("X151") << "X151" << 49 << true;
        QTest::newRow("X161 above") << "X161" << 49 << false;
        QTest::newRow("B255 group A") << "B255" << 49 << true;
        QTest::newRow("B256 group A") << "B256" << 49 << false;
        QTest::newRow("W256 group A") << "W256" << 58 << false;
        QTest::newRow("F120 group A") << "F120" << 66 << true;
        QTest::newRow("F121 group A") << "F121" << 66 << false;
        QTest::newRow("F992") << "F992" << 68 << false;
        QTest::newRow("D65534 other") << "D65534" << 55 << true;
        QTest::newRow("bit number unchecked") << "B1016.9" << 68 << true;
        QTest::newRow("I21 code 51") << "I21" << 51 << true;
        QTest::newRow("I on T6800") << "I1" << 68 << false;
        QTest::newRow("X21 code 58") << "X21" << 58 << true;
        QTest::newRow("X30 code 58") << "X30" << 58 << false;
        QTest::newRow("X on code 0") << "X1" << 0 << false;
    }
    void validAdd()
    {
        QFETCH(QString, var);
        QFETCH(int, code);
        QTEST(RSComm::ValidAdd(var, qint16(code)), "valid");
    }

    void octal()
    {
        qint16 r = 0;
        for (const auto &[decimal, octal] : {std::pair{9, 11}, {63, 77}, {64, 80}}) {
            QVERIFY(RSComm::Dec2Octal(decimal, r));
            QCOMPARE(r, qint16(octal));
        }
        QVERIFY(RSComm::Octal2Dec(17, r));
        QCOMPARE(r, qint16(15));
        // 32767 in group/point notation does not fit a 16-bit integer.
        QVERIFY(!RSComm::Dec2Octal(32767, r));
        QCOMPARE(r, qint16(15));
    }
};

QTEST_APPLESS_MAIN(TestAddressCodec)
#include "test_addresscodec.moc"
