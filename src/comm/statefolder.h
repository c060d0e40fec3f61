#pragma once

#include <QString>

// Where the link's own state lives: the settings file RSPort.cfg and the COMn
// links that name a port's device. In a folder the user may write, the
// program's Support/ as in a build tree, it stays there. Installed
// read-only, it goes to the user's configuration folder
// ($XDG_CONFIG_HOME/kestro, else ~/.config/kestro), which is read first; the
// program's Support/ still answers for what the user has not set.
class StateFolder
{
public:
    explicit StateFolder(const QString &programDir);

    QString supportDir() const;
    static QString userDir();
    // True when the program's Support/ (or, while it does not exist, the
    // program's folder) may be written by this user.
    bool supportWritable() const;
    // The folder new state is written to.
    QString writeDir() const;

    // Where a state file is read from: the user's copy when state lives
    // there and the user has one (a dangling link counts: it is the user's
    // choice), else the program's Support/ copy.
    QString readPath(const QString &name) const;
    QString writePath(const QString &name) const;

    QString settingsFile() const { return readPath(QStringLiteral("RSPort.cfg")); }
    QString settingsSaveFile() const { return writePath(QStringLiteral("RSPort.cfg")); }
    static QString portLinkName(int portNumber);

private:
    QString m_programDir;
};
