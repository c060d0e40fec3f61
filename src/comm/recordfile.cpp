#include "recordfile.h"

#include <QFile>

namespace
{
bool isBlank(char c)
{
    return c == ' ' || c == '\t';
}
bool isLineEnd(char c)
{
    return c == '\r' || c == '\n';
}
} // namespace

RecordReader::RecordReader(const QByteArray &content) : m_content(content)
{
    skipBlankLines();
}

void RecordReader::skipBlankLines()
{
    // Blank space and line ends between records are not fields.
    while (m_pos < m_content.size() && (isBlank(m_content[m_pos]) || isLineEnd(m_content[m_pos])))
        ++m_pos;
}

bool RecordReader::atEnd() const
{
    return m_pos >= m_content.size();
}

bool RecordReader::next(QString &field)
{
    if (atEnd())
        return false;
    const qsizetype n = m_content.size();
    while (m_pos < n && isBlank(m_content[m_pos]))
        ++m_pos;

    QByteArray text;
    if (m_pos < n && m_content[m_pos] == '"') {
        ++m_pos;
        while (m_pos < n && m_content[m_pos] != '"')
            text += m_content[m_pos++];
        if (m_pos < n)
            ++m_pos; // closing quote
        // Anything between the closing quote and the separator is ignored.
        while (m_pos < n && m_content[m_pos] != ',' && !isLineEnd(m_content[m_pos]))
            ++m_pos;
    } else {
        while (m_pos < n && m_content[m_pos] != ',' && !isLineEnd(m_content[m_pos]))
            text += m_content[m_pos++];
        text = text.trimmed();
    }

    bool lineEnded = true;
    if (m_pos < n && m_content[m_pos] == ',') {
        ++m_pos;
        lineEnded = false;
    }
    if (lineEnded)
        skipBlankLines();
    field = QString::fromLatin1(text);
    return true;
}

bool RecordReader::readFile(const QString &path, QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    content = file.readAll();
    return true;
}

bool RecordReader::lookUp(const QByteArray &content, const QString &key, QString &text)
{
    RecordReader reader(content);
    QString code;
    QString value;
    while (reader.next(code)) {
        if (!reader.next(value))
            value.clear();
        if (code.compare(key, Qt::CaseInsensitive) == 0) {
            text = value;
            return true;
        }
    }
    return false;
}
