#pragma once

#include <QByteArray>
#include <QString>

// Reader for the comma-separated text records of the board's data files
// (settings, fault texts, comm error texts, project files). Fields end at a
// comma or a line end; a field starting with a double quote runs to the next
// double quote, which is dropped, so quoted text may contain commas; blanks
// around an unquoted field are dropped. Blank lines carry no fields.
class RecordReader
{
public:
    explicit RecordReader(const QByteArray &content);

    bool atEnd() const;
    // The next field; false (and field untouched) when the text has no more.
    bool next(QString &field);

    // Reads a whole file; false when it cannot be opened.
    static bool readFile(const QString &path, QByteArray &content);
    // The text of the first two-field record whose first field matches key,
    // letter case ignored (codes are hexadecimal: "0a" is "0A").
    static bool lookUp(const QByteArray &content, const QString &key, QString &text);

private:
    void skipBlankLines();

    QByteArray m_content;
    qsizetype m_pos = 0;
};
