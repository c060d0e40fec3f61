#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// A file operation of a program transfer that could not be carried out,
// numbered as the operator's "Error Number = " boxes show it.
struct ProgramFailure {
    int number;
    QString description;

    QString message() const
    {
        return QStringLiteral("Error Number = %1\r\n\r\n%2").arg(number).arg(description);
    }
};

// The files of a controller project. Texts are single-byte: an ident may hold
// any byte, NUL included, and is kept as it is.
namespace ProgramFiles
{

// The project file's first comma-separated field; empty for an empty file.
// Throws ProgramFailure when the file cannot be read.
QString projectFirstField(const QString &path);

// The first line without its line end. False when the file is missing or
// empty; throws ProgramFailure when it exists but cannot be read.
bool firstLine(const QString &path, QByteArray &line);

// Every line of a text file without line ends; empty for an empty file.
QStringList readLines(const QString &path);

// Writes a set of files so that either all of them are replaced or none:
// each goes to a temporary name beside its target first.
class FileSetWriter
{
public:
    ~FileSetWriter();
    void add(const QString &path, const QByteArray &content);
    // Throws ProgramFailure; the targets are untouched unless all were written.
    void commit();

private:
    struct Entry {
        QString path;
        QByteArray content;
    };
    QList<Entry> m_entries;
    QStringList m_temporaries;
};

} // namespace ProgramFiles
