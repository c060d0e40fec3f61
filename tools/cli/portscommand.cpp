#include "portscommand.h"

#include "clicontext.h"

#include "comm/commsettings.h"
#include "comm/posixserialport.h"
#include "comm/serialdevices.h"
#include "comm/statefolder.h"
#include "machine/linkbudget.h"

#include <QFileInfo>
#include <QTextStream>

namespace
{

void showPort(int port, const QString &programDir, QTextStream &out)
{
    const QString path = PosixSerialPort::devicePathFor(port, programDir);
    QString group;
    const SerialDevice::Access access = SerialDevices::accessOf(path, &group);
    out << "Port " << port << " is " << PosixSerialPort::resolvedDevice(port, programDir) << ": "
        << SerialDevices::accessText(access, group) << "\n";
}

} // namespace

int runPortsCommand(const QStringList &args, const QString &programDir, int portOverride,
                    QTextStream &out, QTextStream &err)
{
    if (!args.isEmpty() && args.first() == u"--assign") {
        bool ok = false;
        const int port = args.value(1).toInt(&ok);
        if (args.size() != 3 || !ok || port < CommSettings::PortMinimum ||
            port > CommSettings::PortMaximum) {
            err << "kestro-cli: ports --assign needs a port number from 1 to 99 and a device\n";
            return CliExit::Usage;
        }
        const QString device = args[2];
        if (!QFileInfo::exists(device)) {
            err << "kestro-cli: " << device << " does not exist (see kestro-cli ports)\n";
            return CliExit::Usage;
        }
        QString error;
        const QString link = SerialDevices::assign(programDir, port, device, error);
        if (link.isEmpty()) {
            err << "kestro-cli: " << error << "\n";
            return CliExit::FileError;
        }
        out << "Port " << port << " now leads to " << device << " (" << link << ")\n";
        showPort(port, programDir, out);
        const QString stable = SerialDevices::stableNameFor(device);
        if (!stable.isEmpty() && QFileInfo(device).absoluteFilePath() != stable)
            out << "Better: " << stable << " names the same adapter and survives plugging it "
                << "in again (" << device << " may not):\n  kestro-cli ports --assign " << port
                << ' ' << stable << "\n";
        out.flush();
        return CliExit::Ok;
    }
    if (!args.isEmpty()) {
        err << "kestro-cli: ports takes no argument but --assign N DEVICE\n";
        return CliExit::Usage;
    }

    const StateFolder state(programDir);
    CommSettings settings;
    const QString file = state.settingsFile();
    const auto failure = CommSettings::read(file, settings);
    if (failure)
        err << "kestro-cli: cannot read " << file << ": " << failure->description << "\n";
    out << "Settings: port " << settings.port << " at " << settings.baud << " baud";
    out << (QFileInfo::exists(file) ? " (" + file + ")" : QStringLiteral(" (defaults)")) << "\n";
    out << "Saved to: " << state.writeDir() << "\n";
    const int port = portOverride > 0 ? portOverride : settings.port;
    showPort(port, programDir, out);

    out << "Serial devices:\n";
    const QList<SerialDevice> devices = SerialDevices::list();
    if (devices.isEmpty())
        out << "  none found (a USB adapter appears as /dev/ttyUSB0 or /dev/ttyACM0 once "
               "plugged in)\n";
    const int exchanges = uploadAllExchanges();
    for (const SerialDevice &d : devices) {
        QString what = d.description;
        if (!d.vendorId.isEmpty())
            what += QStringLiteral(" [%1:%2]").arg(d.vendorId, d.productId);
        out << "  " << d.path.leftJustified(14) << ' ' << what.trimmed().leftJustified(34) << ' '
            << SerialDevices::accessText(d.access, d.group) << "\n";
        const QString indent = QStringLiteral("  ") + QString(14, u' ') + u' ';
        QStringList facts;
        if (!d.driver.isEmpty())
            facts << QStringLiteral("driver ") + d.driver;
        if (!d.serialNumber.isEmpty())
            facts << QStringLiteral("serial ") + d.serialNumber;
        if (d.latencyTimerMs >= 0)
            facts << QStringLiteral("latency timer %1 ms").arg(d.latencyTimerMs);
        if (!facts.isEmpty())
            out << indent << facts.join(QStringLiteral(", ")) << "\n";
        if (!d.stableName.isEmpty())
            out << indent << "stable name " << d.stableName << " (use this one)\n";
        const QString warning =
            SerialDevices::latencyWarning(d, settings.baud, LowLatency::NotOpen, exchanges);
        if (!warning.isEmpty())
            out << indent << "warning: " << warning << "\n";
    }
    out << "Assign one to a port with: kestro-cli ports --assign N DEVICE\n";
    out.flush();
    return CliExit::Ok;
}
