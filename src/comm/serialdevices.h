#pragma once

#include <QList>
#include <QString>

// The serial devices of this machine, found without a serial library: the
// /dev nodes of on-board and USB ports and what sysfs says about them. Used by
// the command-line tool and, for access, by the settings window.
struct SerialDevice {
    enum class Access { Usable, NoPermission, Missing, Other };

    QString path;        // /dev/ttyUSB0
    QString stableName;  // /dev/serial/by-id/... when the device has one
    QString description; // "FTDI FT232R USB UART", or the driver
    QString vendorId;    // USB vendor and product, 4 hex digits, when USB
    QString productId;
    Access access = Access::Missing;
    QString group; // the group that owns the node
};

namespace SerialDevices
{

// Every serial device present, on-board ports without hardware left out.
// The roots are for tests; the machine's are the default.
QList<SerialDevice> list(const QString &devRoot = QStringLiteral("/dev"),
                         const QString &sysRoot = QStringLiteral("/sys"));

// Whether this user may open the device for reading and writing, and the
// group owning it.
SerialDevice::Access accessOf(const QString &path, QString *group = nullptr);

// One line for a user: "usable", or what is wrong and the fix.
QString accessText(SerialDevice::Access access, const QString &group);

// Makes port N lead to DEVICE: the COMn link in the folder the link's state
// is written to (see StateFolder). Returns the link's path, or an empty
// string and the reason in error.
QString assign(const QString &programDir, int portNumber, const QString &device, QString &error);

} // namespace SerialDevices
