#pragma once

#include <QString>

#include <optional>

// The link's settings file, Support/RSPort.cfg: one line, the port number, a
// comma and the speed. The one reader and writer of it, for the link and for
// the settings window alike.
class CommSettings
{
public:
    // The port spinner's range; the link applies the same limits.
    static constexpr int PortMinimum = 1;
    static constexpr int PortMaximum = 99;
    static constexpr int DefaultPort = 1;
    static constexpr int DefaultBaud = 9600;

    // How the line is written: the link writes 1,9600; the settings window
    // prints the speed as a number, with a blank before and after it.
    enum class LineStyle { Compact, Printed };
    // What read() found.
    enum class Found { Settings, NoFile, EmptyFile };
    // A failure as the operator's "Error Number = " messages show it.
    struct Failure {
        int number;
        QString description;
    };

    int port = DefaultPort;
    int baud = DefaultBaud;

    // Reads the file into settings. A missing or empty file leaves the
    // defaults. A port that is not a number, or absurd (infinite, beyond a
    // 16-bit integer), gives the default port; any other is limited to the
    // range. A speed other than 19200 is 9600.
    static std::optional<Failure> read(const QString &path, CommSettings &settings,
                                       Found *found = nullptr);
    // Replaces the file, creating its folder when missing.
    static std::optional<Failure> write(const QString &path, const CommSettings &settings,
                                        LineStyle style);

    // The port a number stands for, on the rules read() applies.
    static int limitedPort(double value);
};
