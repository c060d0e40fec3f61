#pragma once

#include "serialport.h"

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
    QString driver;          // the kernel driver: ftdi_sio, ch341, serial8250...
    QString serialNumber;    // the USB adapter's own serial number
    int latencyTimerMs = -1; // an adapter's receive timer; -1 when it has none
    Access access = Access::Missing;
    QString group; // the group that owns the node
};

// What a board exchange costs on a link: the numbers behind the warnings.
struct LinkCost {
    // Ten bits a byte (start, eight, stop), one byte each way.
    static double wireMsPerExchange(int baud) { return 2 * 10 * 1000.0 / baud; }
    // Upload All at a speed when each reply may wait extraMs more, in seconds.
    static double uploadAllSeconds(int exchanges, int baud, double extraMs)
    {
        return exchanges * (wireMsPerExchange(baud) + extraMs) / 1000.0;
    }
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

// The device as sysfs and /dev/serial/by-id know it; path may be a link.
// Nothing but the path is filled in when the node does not exist.
SerialDevice describe(const QString &path, const QString &devRoot = QStringLiteral("/dev"),
                      const QString &sysRoot = QStringLiteral("/sys"));

// The by-id name of the same device when it has one (it survives
// replugging, ttyUSB0 may not), else an empty string.
QString stableNameFor(const QString &path, const QString &devRoot = QStringLiteral("/dev"));

// When the adapter's timer holds each reply above 2 ms and low-latency mode
// is not known to be on: what that costs Upload All at the speed and how to
// fix it, in a technician's words. Empty when there is nothing to say.
QString latencyWarning(const SerialDevice &device, int baud, LowLatency lowLatency,
                       int uploadAllExchanges);

// The programs that hold the device open, "name (pid N)", as far as /proc
// lets this user see; this process left out.
QStringList holders(const QString &path, const QString &procRoot = QStringLiteral("/proc"));

// Makes port N lead to DEVICE: the COMn link in the folder the link's state
// is written to (see StateFolder). Returns the link's path, or an empty
// string and the reason in error.
QString assign(const QString &programDir, int portNumber, const QString &device, QString &error);

} // namespace SerialDevices
