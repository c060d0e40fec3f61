#include "doctorcommand.h"

#include "clicontext.h"

#include "comm/clock.h"
#include "comm/commsettings.h"
#include "comm/linkcheck.h"
#include "comm/posixserialport.h"
#include "comm/statefolder.h"
#include "machine/linkbudget.h"

#include <QTextStream>

int runDoctorCommand(const QStringList &args, const QString &programDir, int portOverride,
                     int speedOverride, QTextStream &out, QTextStream &err)
{
    LinkCheck::Setup setup;
    if (!args.isEmpty()) {
        bool ok = false;
        const int count = args.value(1).toInt(&ok);
        if (args.size() != 2 || args.first() != u"--exchanges" || !ok || count < 2 ||
            count > 100000) {
            err << "kestro-cli: doctor takes no argument but --exchanges N (2 to 100000)\n";
            return CliExit::Usage;
        }
        setup.exchanges = count;
    }
    CommSettings settings;
    const QString file = StateFolder(programDir).settingsFile();
    if (const auto failure = CommSettings::read(file, settings))
        err << "kestro-cli: cannot read " << file << ": " << failure->description
            << "; checking port " << settings.port << " at " << settings.baud << " baud\n";
    const int port = portOverride > 0 ? portOverride : settings.port;
    const int baud = speedOverride > 0 ? speedOverride : settings.baud;

    SteadyClock clock;
    PosixSerialPort device(clock, programDir);
    device.setPortNumber(port);
    device.setBaudRate(baud);
    setup.devicePath = PosixSerialPort::devicePathFor(port, programDir);
    setup.uploadAllExchanges = uploadAllExchanges();
    const LinkCheck::Report report = LinkCheck(device, clock).run(setup);
    out << report.text;
    out.flush();
    return report.clean() ? CliExit::Ok : CliExit::CommFailure;
}
