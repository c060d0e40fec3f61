#include "programfiles.h"

#include "recordfile.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace ProgramFiles
{

namespace
{
const QString kAccessError = QStringLiteral("Path/File access error");
}

QString projectFirstField(const QString &path)
{
    QByteArray content;
    if (!RecordReader::readFile(path, content))
        throw ProgramFailure{75, kAccessError};
    RecordReader reader(content);
    QString field;
    reader.next(field);
    return field;
}

bool firstLine(const QString &path, QByteArray &line)
{
    const QFileInfo info(path);
    if (!info.isFile() || info.size() == 0)
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw ProgramFailure{75, kAccessError};
    const QByteArray content = file.readAll();
    qsizetype end = 0;
    while (end < content.size() && content.at(end) != '\r' && content.at(end) != '\n')
        ++end;
    line = content.left(end);
    return true;
}

QStringList readLines(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw ProgramFailure{75, kAccessError};
    const QByteArray content = file.readAll();
    QStringList lines;
    qsizetype start = 0;
    while (start < content.size()) {
        qsizetype end = content.indexOf('\n', start);
        if (end < 0)
            end = content.size();
        QByteArray line = content.mid(start, end - start);
        if (line.endsWith('\r'))
            line.chop(1);
        lines.append(QString::fromLatin1(line));
        start = end + 1;
    }
    return lines;
}

FileSetWriter::~FileSetWriter()
{
    for (const QString &t : std::as_const(m_temporaries))
        QFile::remove(t);
}

void FileSetWriter::add(const QString &path, const QByteArray &content)
{
    m_entries.append({path, content});
}

void FileSetWriter::commit()
{
    for (const Entry &e : std::as_const(m_entries)) {
        const QString temporary = e.path + QStringLiteral(".part");
        m_temporaries.append(temporary);
        QFile file(temporary);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(e.content) != e.content.size() || !file.flush())
            throw ProgramFailure{75, kAccessError};
        file.close();
    }
    // Every file is on disk under its temporary name: only renames are left.
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        const QByteArray from = QFile::encodeName(m_temporaries.at(i));
        const QByteArray to = QFile::encodeName(m_entries.at(i).path);
        if (std::rename(from.constData(), to.constData()) != 0)
            throw ProgramFailure{75, kAccessError};
    }
    m_temporaries.clear();
}

} // namespace ProgramFiles
