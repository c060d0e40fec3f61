#include "filedialogs.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QStringList>

QString QtFileDialogs::qtFilter(const QString &filter)
{
    // Pairs of description and pattern separated by bars; a trailing bar ends the list.
    const QStringList parts = filter.split(QLatin1Char('|'));
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        if (parts.at(i).isEmpty())
            continue;
        const QString patterns =
            QString(parts.at(i + 1)).replace(QLatin1Char(';'), QLatin1Char(' '));
        // "Setup Files(*.sdt)" shows its pattern already; Qt reads it from there.
        const QString shown = QLatin1Char('(') + patterns + QLatin1Char(')');
        filters << (parts.at(i).contains(shown) ? parts.at(i)
                                                : parts.at(i) + QLatin1Char(' ') + shown);
    }
    return filters.join(QStringLiteral(";;"));
}

namespace
{

// A pattern in the initial path only chooses the folder the dialog opens in:
// the filter already shows the matching files.
QString startPath(const QString &initialPath)
{
    if (initialPath.contains(QLatin1Char('*')) || initialPath.contains(QLatin1Char('?')))
        return QFileInfo(initialPath).absolutePath();
    return initialPath;
}

std::optional<QString> chosen(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
    return path;
}

} // namespace

std::optional<QString> QtFileDialogs::openFile(QWidget *parent, const QString &filter,
                                               const QString &initialPath)
{
    return chosen(
        QFileDialog::getOpenFileName(parent, QString(), startPath(initialPath), qtFilter(filter)));
}

QString QtFileDialogs::filterSuffix(const QString &filter)
{
    const QStringList parts = filter.split(QLatin1Char('|'));
    if (parts.size() < 2)
        return {};
    const QString pattern = parts.at(1).section(QLatin1Char(';'), 0, 0).trimmed();
    if (!pattern.startsWith(QLatin1String("*.")))
        return {};
    const QString suffix = pattern.mid(2);
    return suffix.contains(QLatin1Char('*')) || suffix.contains(QLatin1Char('?')) ? QString()
                                                                                  : suffix;
}

std::optional<QString> QtFileDialogs::saveFile(QWidget *parent, const QString &filter,
                                               const QString &initialPath)
{
    return saveFileTitled(parent, QString(), filter, initialPath);
}

std::optional<QString> QtFileDialogs::saveFileTitled(QWidget *parent, const QString &title,
                                                     const QString &filter,
                                                     const QString &initialPath)
{
    // The dialog adds the suffix before it asks about overwriting, so the
    // file it asks about is the one that is written.
    QFileDialog dialog(parent, title, startPath(initialPath), qtFilter(filter));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setFileMode(QFileDialog::AnyFile);
    dialog.setDefaultSuffix(filterSuffix(filter));
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return std::nullopt;
    return chosen(dialog.selectedFiles().constFirst());
}
