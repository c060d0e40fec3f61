#include "commsettings.h"

#include "recordfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cmath>

namespace
{

// The largest port number text that is still taken as a number to limit.
constexpr double kLargestInteger = 32767;

} // namespace

int CommSettings::limitedPort(double value)
{
    if (!std::isfinite(value) || std::fabs(value) > kLargestInteger)
        return DefaultPort;
    // Whole numbers are kept; a fraction rounds to the nearest, halves to even.
    const double whole = std::nearbyint(value);
    if (whole < PortMinimum)
        return PortMinimum;
    if (whole > PortMaximum)
        return PortMaximum;
    return int(whole);
}

std::optional<CommSettings::Failure> CommSettings::read(const QString &path, CommSettings &settings,
                                                        Found *found)
{
    settings = CommSettings{};
    if (found)
        *found = Found::NoFile;
    if (!QFileInfo::exists(path))
        return std::nullopt;
    QByteArray content;
    if (!RecordReader::readFile(path, content))
        return Failure{75, QStringLiteral("Path/File access error")};
    if (content.isEmpty()) {
        if (found)
            *found = Found::EmptyFile;
        return std::nullopt;
    }
    RecordReader reader(content);
    QString portText;
    QString speedText;
    if (!reader.next(portText) || !reader.next(speedText))
        return Failure{62, QStringLiteral("Input past end of file")};
    bool numeric = false;
    const double portValue = portText.trimmed().toDouble(&numeric);
    settings.port = numeric ? limitedPort(portValue) : DefaultPort;
    const double speedValue = speedText.trimmed().toDouble(&numeric);
    settings.baud = numeric && speedValue == 19200 ? 19200 : DefaultBaud;
    if (found)
        *found = Found::Settings;
    return std::nullopt;
}

std::optional<CommSettings::Failure>
CommSettings::write(const QString &path, const CommSettings &settings, LineStyle style)
{
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return Failure{76, QStringLiteral("Path not found")};
    const QByteArray line = QByteArray::number(limitedPort(settings.port)) +
                            (style == LineStyle::Printed ? ", " : ",") +
                            QByteArray::number(settings.baud == 19200 ? 19200 : DefaultBaud) +
                            (style == LineStyle::Printed ? " \r\n" : "\r\n");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(line) != line.size() ||
        !file.flush())
        return Failure{75, QStringLiteral("Path/File access error")};
    file.close();
    return std::nullopt;
}
