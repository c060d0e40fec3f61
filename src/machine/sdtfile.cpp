#include "sdtfile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QtEndian>

namespace
{

constexpr quint16 ArrayDimensions = 1;

void appendU16(QByteArray &bytes, quint16 v)
{
    char b[2];
    qToLittleEndian(v, b);
    bytes.append(b, 2);
}

void appendU32(QByteArray &bytes, quint32 v)
{
    char b[4];
    qToLittleEndian(v, b);
    bytes.append(b, 4);
}

bool appendText(QByteArray &bytes, const QString &text)
{
    const QByteArray chars = text.toLatin1();
    if (chars.size() > 0xFFFF)
        return false;
    appendU16(bytes, quint16(chars.size()));
    bytes.append(chars);
    return true;
}

void appendDescriptor(QByteArray &bytes, qsizetype count)
{
    appendU16(bytes, ArrayDimensions);
    appendU32(bytes, quint32(count));
    appendU32(bytes, 0); // lower bound
}

// Sequential reader over the record bytes; every read checks the length.
class BinaryCursor
{
public:
    explicit BinaryCursor(QByteArrayView bytes) : m_bytes(bytes) {}

    qsizetype position() const { return m_pos; }
    qsizetype remaining() const { return m_bytes.size() - m_pos; }

    bool u16(quint16 &v)
    {
        if (remaining() < 2)
            return false;
        v = qFromLittleEndian<quint16>(m_bytes.data() + m_pos);
        m_pos += 2;
        return true;
    }
    bool u32(quint32 &v)
    {
        if (remaining() < 4)
            return false;
        v = qFromLittleEndian<quint32>(m_bytes.data() + m_pos);
        m_pos += 4;
        return true;
    }
    bool text(QString &s)
    {
        quint16 length = 0;
        if (!u16(length) || remaining() < length)
            return false;
        s = QString::fromLatin1(m_bytes.data() + m_pos, length);
        m_pos += length;
        return true;
    }

private:
    QByteArrayView m_bytes;
    qsizetype m_pos = 0;
};

// Reads an array descriptor: the number of elements, or an error.
MachineError readDescriptor(BinaryCursor &reader, qsizetype minimumElementSize, qsizetype &count)
{
    quint16 dims = 0;
    if (!reader.u16(dims))
        return MachineError::FileTooShort;
    if (dims == 0) {
        count = 0;
        return MachineError::None;
    }
    if (dims != ArrayDimensions)
        return MachineError::FileDamaged;
    quint32 elements = 0;
    quint32 lowerBound = 0;
    if (!reader.u32(elements) || !reader.u32(lowerBound))
        return MachineError::FileTooShort;
    // A count the rest of the bytes cannot hold means the file was cut short;
    // checking before allocating keeps a corrupt count from exhausting memory.
    if (qint64(elements) * minimumElementSize > reader.remaining())
        return MachineError::FileTooShort;
    count = qsizetype(elements);
    return MachineError::None;
}

} // namespace

MachineError encodeSetupRecord(const DataSet &data, QByteArray &bytes)
{
    QByteArray out;
    out.reserve(1600);
    if (!appendText(out, data.Version))
        return MachineError::TextTooLong;
    appendDescriptor(out, data.Address.size());
    for (const QString &address : data.Address) {
        if (!appendText(out, address))
            return MachineError::TextTooLong;
    }
    appendDescriptor(out, data.Value.size());
    for (qint32 value : data.Value)
        appendU32(out, quint32(value));
    bytes = out;
    return MachineError::None;
}

MachineError decodeSetupRecord(QByteArrayView bytes, DataSet &out, qsizetype *recordSize)
{
    BinaryCursor reader(bytes);
    DataSet data;
    if (!reader.text(data.Version))
        return MachineError::FileTooShort;

    qsizetype count = 0;
    if (MachineError e = readDescriptor(reader, 2, count); e != MachineError::None)
        return e;
    data.Address.reserve(count);
    for (qsizetype i = 0; i < count; ++i) {
        QString address;
        if (!reader.text(address))
            return MachineError::FileTooShort;
        data.Address.append(address);
    }

    if (MachineError e = readDescriptor(reader, 4, count); e != MachineError::None)
        return e;
    data.Value.reserve(count);
    for (qsizetype i = 0; i < count; ++i) {
        quint32 value = 0;
        if (!reader.u32(value))
            return MachineError::FileTooShort;
        data.Value.append(qint32(value));
    }

    out = std::move(data);
    if (recordSize)
        *recordSize = reader.position();
    return MachineError::None;
}

MachineError readSetupFile(const QString &path, DataSet &out)
{
    QFile file(path);
    if (!file.exists())
        return MachineError::FileNotFound;
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcMachine) << "cannot open set-up file" << path << file.errorString();
        return MachineError::FileOpenFailed;
    }
    // Mapping spares reading a huge file whole when only its start matters.
    const qint64 size = file.size();
    MachineError result;
    if (size == 0) {
        result = MachineError::FileTooShort;
    } else if (uchar *mapped = file.map(0, size)) {
        result = decodeSetupRecord(
            QByteArrayView(reinterpret_cast<const char *>(mapped), qsizetype(size)), out);
        file.unmap(mapped);
    } else {
        const QByteArray bytes = file.readAll();
        result = decodeSetupRecord(bytes, out);
    }
    if (result != MachineError::None)
        qCInfo(lcMachine) << "set-up file" << path << "rejected:" << machineErrorText(result);
    return result;
}

MachineError writeSetupFile(const QString &path, const DataSet &data)
{
    QByteArray bytes;
    if (MachineError e = encodeSetupRecord(data, bytes); e != MachineError::None)
        return e;

    const QFileInfo info(path);
    if (info.exists()) {
        if (!info.isFile())
            return MachineError::FileWriteFailed;
        // The read-only mark is honoured even where the user could replace
        // the file anyway (an administrator, a writable folder).
        const QFileDevice::Permissions perms = QFile::permissions(path);
        const auto anyWrite =
            QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
        if (!(perms & anyWrite) || !(perms & QFileDevice::WriteUser))
            return MachineError::FileReadOnly;
        // A shorter record overwrites the start of a longer file: the old
        // bytes beyond it stay, so the result is what an in-place write gives.
        QFile old(path);
        if (!old.open(QIODevice::ReadOnly))
            return MachineError::FileWriteFailed;
        if (old.size() > bytes.size()) {
            old.seek(bytes.size());
            const QByteArray tail = old.readAll();
            if (tail.size() != old.size() - bytes.size())
                return MachineError::FileWriteFailed;
            bytes.append(tail);
        }
    }

    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        qCWarning(lcMachine) << "cannot create set-up file" << path << file.errorString();
        return MachineError::FileWriteFailed;
    }
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        qCWarning(lcMachine) << "cannot write set-up file" << path << file.errorString();
        file.cancelWriting();
        return MachineError::FileWriteFailed;
    }
    return MachineError::None;
}
