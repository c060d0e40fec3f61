#include "shiftexport.h"

#include "registermap.h"
#include "valuetext.h"

#include <QLocale>
#include <QSaveFile>

namespace
{

const QString CountsLegend = QStringLiteral(
    "(Good Can, Total Blow-off, Misloads, Manual Blow-offs, QC Blow-offs, Restart Blow-off)");

} // namespace

QStringList shiftExportLines(const DataSet &data, const QString &fileTitle,
                             const QString &uploadTime)
{
    QStringList lines;
    lines.reserve(ShiftExportLineCount);
    lines << (fileTitle.isEmpty() ? QStringLiteral("untitled") : fileTitle)
          << QStringLiteral("Date: ") + uploadTime;
    for (int i = Item::CurShiftGoodCans; i <= Item::LastShiftTripsFirst + Item::MaxSpindles - 1;
         ++i) {
        switch (i) {
        case Item::CurShiftGoodCans:
            lines << QStringLiteral(" ") << QStringLiteral("Current Shift Data:") << CountsLegend;
            break;
        case Item::CurShiftTripsFirst:
            lines << QStringLiteral(" ") << QStringLiteral("Current Shift Trips per Spindle:");
            break;
        case Item::LastShiftGoodCans:
            lines << QStringLiteral(" ") << QStringLiteral("Last Shift Data:") << CountsLegend;
            break;
        case Item::LastShiftTripsFirst:
            lines << QStringLiteral(" ") << QStringLiteral("Last Shift Trips per Spindle");
            break;
        default:
            break;
        }
        lines << plainNumberText(data.valueAt(i));
    }
    return lines;
}

QByteArray shiftExportBytes(const DataSet &data, const QString &fileTitle,
                            const QString &uploadTime)
{
    QByteArray bytes;
    for (const QString &line : shiftExportLines(data, fileTitle, uploadTime)) {
        bytes.append(line.toUtf8());
        bytes.append("\r\n");
    }
    return bytes;
}

MachineError writeShiftExport(const QString &path, const DataSet &data, const QString &fileTitle,
                              const QString &uploadTime)
{
    const QByteArray bytes = shiftExportBytes(data, fileTitle, uploadTime);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        qCWarning(lcMachine) << "cannot write shift data export" << path << file.errorString();
        return MachineError::FileWriteFailed;
    }
    return MachineError::None;
}

QString uploadTimeText(const QDateTime &when)
{
    // The general date form: the user's short date with a four-digit year,
    // and the time with its seconds.
    const QLocale locale;
    QString date = locale.dateFormat(QLocale::ShortFormat);
    if (!date.contains(QStringLiteral("yyyy")))
        date.replace(QStringLiteral("yy"), QStringLiteral("yyyy"));
    QString time = locale.timeFormat(QLocale::ShortFormat);
    if (!time.contains(QLatin1Char('s')))
        time.replace(QStringLiteral("mm"), QStringLiteral("mm:ss"));
    return locale.toString(when, date + QLatin1Char(' ') + time);
}
