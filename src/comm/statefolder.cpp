#include "statefolder.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <unistd.h>

namespace
{

bool present(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

bool writableDir(const QString &path)
{
    // access(2) rather than the permission bits: a read-only mount or an
    // ACL decides as well.
    return ::access(QFile::encodeName(path).constData(), W_OK | X_OK) == 0;
}

} // namespace

StateFolder::StateFolder(const QString &programDir) : m_programDir(programDir) {}

QString StateFolder::supportDir() const
{
    return QDir(m_programDir).filePath(QStringLiteral("Support"));
}

QString StateFolder::userDir()
{
    // Honours XDG_CONFIG_HOME, else ~/.config.
    QString base = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    if (base.isEmpty())
        base = QDir::home().filePath(QStringLiteral(".config"));
    return QDir(base).filePath(QStringLiteral("kestro"));
}

bool StateFolder::supportWritable() const
{
    const QString support = supportDir();
    if (QFileInfo(support).isDir())
        return writableDir(support);
    return writableDir(m_programDir);
}

QString StateFolder::writeDir() const
{
    return supportWritable() ? supportDir() : userDir();
}

QString StateFolder::readPath(const QString &name) const
{
    if (!supportWritable()) {
        const QString mine = QDir(userDir()).filePath(name);
        if (present(mine))
            return mine;
    }
    return QDir(supportDir()).filePath(name);
}

QString StateFolder::writePath(const QString &name) const
{
    return QDir(writeDir()).filePath(name);
}

QString StateFolder::portLinkName(int portNumber)
{
    return QStringLiteral("COM%1").arg(portNumber);
}
