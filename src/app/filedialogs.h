#pragma once

#include <QString>
#include <optional>

class QWidget;

// The common file dialogs behind an interface: commands ask for a path and
// get either the path chosen or nothing when the operator cancelled. Tests
// hand in a scripted implementation so no dialog ever blocks them.
class FileDialogs
{
public:
    virtual ~FileDialogs() = default;
    // filter uses the program's own notation: "Setup Files(*.sdt)|*.sdt|".
    // initialPath is a file path, a folder, or a folder plus a pattern.
    virtual std::optional<QString> openFile(QWidget *parent, const QString &filter,
                                            const QString &initialPath) = 0;
    // Asks before overwriting an existing file.
    virtual std::optional<QString> saveFile(QWidget *parent, const QString &filter,
                                            const QString &initialPath) = 0;
    // The same under a title that says what is being saved.
    virtual std::optional<QString> saveFileTitled(QWidget *parent, const QString &title,
                                                  const QString &filter, const QString &initialPath)
    {
        Q_UNUSED(title);
        return saveFile(parent, filter, initialPath);
    }
};

class QtFileDialogs final : public FileDialogs
{
public:
    std::optional<QString> openFile(QWidget *parent, const QString &filter,
                                    const QString &initialPath) override;
    std::optional<QString> saveFile(QWidget *parent, const QString &filter,
                                    const QString &initialPath) override;
    // A name typed without a suffix gets the one the filter names.
    std::optional<QString> saveFileTitled(QWidget *parent, const QString &title,
                                          const QString &filter,
                                          const QString &initialPath) override;

    // "Setup Files(*.sdt)|*.sdt|" -> "Setup Files(*.sdt) (*.sdt)"
    static QString qtFilter(const QString &filter);
    // "sdt" for "Setup Files(*.sdt)|*.sdt|"; empty when the first pattern
    // names no single suffix.
    static QString filterSuffix(const QString &filter);
};
