#include "projectfile.h"

#include "recordfile.h"

#include <QDir>
#include <QFileInfo>

namespace
{

// The project file of a path: same folder and base name, extension PDX in
// any letter case (the tools write ".PDX", the dialogs offer "*.pdx").
QString projectFile(const QString &path)
{
    const QFileInfo info(path);
    const QDir folder = info.absoluteDir();
    const QString wanted = info.completeBaseName() + QStringLiteral(".PDX");
    if (folder.exists(wanted))
        return folder.filePath(wanted);
    const QStringList entries = folder.entryList(QDir::Files | QDir::Hidden);
    for (const QString &entry : entries) {
        if (entry.compare(wanted, Qt::CaseInsensitive) == 0)
            return folder.filePath(entry);
    }
    return QString();
}

} // namespace

qint16 projectBoardType(const QString &path, bool *emptyItem)
{
    if (emptyItem)
        *emptyItem = false;
    const QString file = projectFile(path);
    QByteArray content;
    if (file.isEmpty() || !RecordReader::readFile(file, content))
        return 68;
    RecordReader reader(content);
    QString first;
    if (!reader.next(first))
        return 68;
    if (first.isEmpty()) {
        if (emptyItem)
            *emptyItem = true;
        return 0;
    }
    return qint16(first.at(0).unicode());
}

QString changeExtension(const QString &path, const QString &ext)
{
    const QFileInfo info(QFileInfo(path).absoluteFilePath());
    return QDir(info.absolutePath()).filePath(info.completeBaseName() + QLatin1Char('.') + ext);
}
