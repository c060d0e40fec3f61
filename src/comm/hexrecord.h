#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// One line of an Intel HEX program image, read only as far as the line goes.
// A line is refused (and nothing of it may go to the board) when it does not
// begin with ":", when a field holds anything but hexadecimal digits, or when
// its data bytes would run past the end of the line.
class HexRecord
{
public:
    enum class Status { Ok, NoColon, BadDigits, Truncated };

    static HexRecord parse(const QString &line);
    // A whole image, looked at before any of it goes out: every line a
    // record whose characters end with it, of type 00 (data) or 01 (end,
    // empty, and the last line), within 64 KiB, with the right checksum.
    // The 0-based number of the first line that is not, -1 when all are;
    // why names what is wrong with it.
    static int firstUnsoundLine(const QStringList &lines, QString *why = nullptr);

    Status status() const { return m_status; }
    bool ok() const { return m_status == Status::Ok; }
    int length() const { return m_length; }
    int addressHigh() const { return m_addressHigh; }
    int addressLow() const { return m_addressLow; }
    // "4000", the address field as it stands in the line.
    QString addressText() const { return m_addressText; }
    const QByteArray &data() const { return m_data; }
    // The sum the board answers: length, address bytes and data, modulo 256.
    quint8 sum() const;

private:
    Status m_status = Status::NoColon;
    int m_length = 0;
    int m_addressHigh = 0;
    int m_addressLow = 0;
    QString m_addressText;
    QByteArray m_data;
};
