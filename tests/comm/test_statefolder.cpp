#include "comm/clock.h"
#include "comm/commsettings.h"
#include "comm/posixserialport.h"
#include "comm/serialdevices.h"
#include "comm/statefolder.h"

#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// Where the link's settings and port links go, for a program installed
// read-only and for one in a folder its user may write. Root may write
// anywhere, so under root the read-only case runs in a child process that
// has become an ordinary user.
class TestStateFolder : public QObject
{
    Q_OBJECT

    static constexpr uid_t kNobody = 65534;

    // Runs check as an unprivileged user; its return is the number of faults
    // it found (each printed on standard error).
    static int asOrdinaryUser(const std::function<int()> &check)
    {
        if (::geteuid() != 0)
            return check();
        const pid_t child = ::fork();
        if (child == 0) {
            if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
                ::_exit(100);
            ::_exit(check());
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 101;
    }

    static int fault(const char *what, const QString &got)
    {
        qWarning("%s: got %s", what, qPrintable(got));
        return 1;
    }

private slots:
    void buildTreeKeepsStateBesideTheProgram()
    {
        QTemporaryDir program, config;
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        QDir(program.path()).mkpath(QStringLiteral("Support"));
        const StateFolder state(program.path());
        QVERIFY(state.supportWritable());
        QCOMPARE(state.settingsFile(), program.filePath(QStringLiteral("Support/RSPort.cfg")));
        QCOMPARE(state.settingsSaveFile(), program.filePath(QStringLiteral("Support/RSPort.cfg")));
        // A copy in the user's folder does not shadow a writable program folder.
        QDir().mkpath(config.filePath(QStringLiteral("kestro")));
        QFile f(config.filePath(QStringLiteral("kestro/RSPort.cfg")));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("7,19200\r\n");
        f.close();
        QCOMPARE(state.settingsFile(), program.filePath(QStringLiteral("Support/RSPort.cfg")));

        QString error;
        const QString link =
            SerialDevices::assign(program.path(), 4, QStringLiteral("/dev/null"), error);
        QCOMPARE(link, program.filePath(QStringLiteral("Support/COM4")));
        QCOMPARE(QFileInfo(link).symLinkTarget(), QStringLiteral("/dev/null"));
        QCOMPARE(PosixSerialPort::devicePathFor(4, program.path()), link);
    }

    void readOnlyProgramKeepsStateInTheUsersFolder()
    {
        QTemporaryDir program, home;
        const QString support = program.filePath(QStringLiteral("Support"));
        QDir().mkpath(support);
        {
            // The installed defaults: port 2 at 9600.
            QFile f(support + QStringLiteral("/RSPort.cfg"));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("2,9600\r\n");
        }
        QVERIFY(QFile::link(QStringLiteral("/dev/null"), support + QStringLiteral("/COM3")));
        ::chmod(QFile::encodeName(support).constData(), 0555);
        ::chmod(QFile::encodeName(program.path()).constData(), 0555);
        ::chmod(QFile::encodeName(support + QStringLiteral("/RSPort.cfg")).constData(), 0444);
        ::chown(QFile::encodeName(home.path()).constData(), kNobody, kNobody);
        const QString config = home.filePath(QStringLiteral("config"));
        qputenv("HOME", QFile::encodeName(home.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config));
        const QString userDir = config + QStringLiteral("/kestro");

        const int faults = asOrdinaryUser([&] {
            int n = 0;
            const StateFolder state(program.path());
            if (state.supportWritable())
                n += fault("read-only Support/ taken as writable", state.supportDir());
            if (StateFolder::userDir() != userDir)
                n += fault("user folder", StateFolder::userDir());
            // Nothing of the user's yet: the installed file answers.
            if (state.settingsFile() != support + QStringLiteral("/RSPort.cfg"))
                n += fault("settings read before saving", state.settingsFile());
            CommSettings settings;
            if (CommSettings::read(state.settingsFile(), settings) || settings.port != 2)
                n += fault("installed settings", QString::number(settings.port));
            // Saving goes to the user's folder, which is created, and is read
            // from there after.
            settings.port = 5;
            settings.baud = 19200;
            if (const auto failure = CommSettings::write(state.settingsSaveFile(), settings,
                                                         CommSettings::LineStyle::Printed))
                n += fault("save", failure->description);
            if (state.settingsFile() != userDir + QStringLiteral("/RSPort.cfg"))
                n += fault("settings read after saving", state.settingsFile());
            CommSettings again;
            if (CommSettings::read(state.settingsFile(), again) || again.port != 5 ||
                again.baud != 19200)
                n += fault("saved settings", QString::number(again.port));

            // Port 3 is linked by the installation; the user's own link wins.
            if (PosixSerialPort::devicePathFor(3, program.path()) !=
                support + QStringLiteral("/COM3"))
                n += fault("installed link", PosixSerialPort::devicePathFor(3, program.path()));
            QString error;
            const QString link =
                SerialDevices::assign(program.path(), 3, QStringLiteral("/dev/zero"), error);
            if (link != userDir + QStringLiteral("/COM3"))
                n += fault("assign", link + u' ' + error);
            if (PosixSerialPort::devicePathFor(3, program.path()) != link)
                n += fault("user link", PosixSerialPort::devicePathFor(3, program.path()));
            if (!PosixSerialPort::resolvedDevice(3, program.path()).startsWith(link))
                n += fault("shown link", PosixSerialPort::resolvedDevice(3, program.path()));
            // An unlinked port still falls back to the on-board device.
            if (PosixSerialPort::devicePathFor(6, program.path()) != QStringLiteral("/dev/ttyS5"))
                n += fault("unlinked port", PosixSerialPort::devicePathFor(6, program.path()));
            // Nothing was written beside the program.
            const QStringList beside =
                QDir(support).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
            if (beside != QStringList({QStringLiteral("COM3"), QStringLiteral("RSPort.cfg")}))
                n += fault("program folder changed", beside.join(u','));
            return n;
        });
        ::chmod(QFile::encodeName(support).constData(), 0755);
        ::chmod(QFile::encodeName(program.path()).constData(), 0755);
        QCOMPARE(faults, 0);
    }

    void assignRefusesWhatCannotBeAPort()
    {
        QTemporaryDir program;
        QString error;
        QVERIFY(
            SerialDevices::assign(program.path(), 0, QStringLiteral("/dev/null"), error).isEmpty());
        QVERIFY(error.contains(QStringLiteral("between 1 and 99")));
        QVERIFY(SerialDevices::assign(program.path(), 2, program.filePath(QStringLiteral("none")),
                                      error)
                    .isEmpty());
        QVERIFY(error.contains(QStringLiteral("does not exist")));
        // A plain file or a folder is no serial line.
        for (const QString &notADevice : {QStringLiteral("/etc/passwd"), QStringLiteral("/tmp")}) {
            QVERIFY(SerialDevices::assign(program.path(), 2, notADevice, error).isEmpty());
            QVERIFY(error.contains(QStringLiteral("not a character device")));
        }
        QVERIFY(!QFileInfo::exists(program.filePath(QStringLiteral("Support/COM2"))));
    }

    void listsDevicesAndSaysWhatIsWrong()
    {
        // A made-up /dev and /sys: one USB adapter, one real on-board port and
        // one on-board node without a UART behind it.
        QTemporaryDir root;
        ::chmod(QFile::encodeName(root.path()).constData(), 0755);
        const QDir r(root.path());
        r.mkpath(QStringLiteral("dev/serial/by-id"));
        for (const char *node : {"dev/ttyS0", "dev/ttyS1", "dev/ttyUSB0", "dev/tty0"}) {
            QFile f(r.filePath(QString::fromLatin1(node)));
            QVERIFY(f.open(QIODevice::WriteOnly));
        }
        QVERIFY(QFile::link(r.filePath(QStringLiteral("dev/ttyUSB0")),
                            r.filePath(QStringLiteral("dev/serial/by-id/usb-FTDI_X-if00-port0"))));
        const auto write = [&](const QString &path, const QByteArray &text) {
            r.mkpath(QFileInfo(r.filePath(path)).path());
            QFile f(r.filePath(path));
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write(text);
        };
        write(QStringLiteral("sys/class/tty/ttyS0/type"), "4\n");
        write(QStringLiteral("sys/class/tty/ttyS1/type"), "0\n");
        write(QStringLiteral("sys/devices/usb1/1-1/idVendor"), "0403\n");
        write(QStringLiteral("sys/devices/usb1/1-1/idProduct"), "6001\n");
        write(QStringLiteral("sys/devices/usb1/1-1/manufacturer"), "FTDI\n");
        write(QStringLiteral("sys/devices/usb1/1-1/product"), "FT232R USB UART\n");
        r.mkpath(QStringLiteral("sys/devices/usb1/1-1/1-1:1.0/ttyUSB0"));
        r.mkpath(QStringLiteral("sys/class/tty/ttyUSB0"));
        QVERIFY(QFile::link(r.filePath(QStringLiteral("sys/devices/usb1/1-1/1-1:1.0/ttyUSB0")),
                            r.filePath(QStringLiteral("sys/class/tty/ttyUSB0/device"))));

        const QList<SerialDevice> found = SerialDevices::list(r.filePath(QStringLiteral("dev")),
                                                              r.filePath(QStringLiteral("sys")));
        QCOMPARE(found.size(), 2);
        QCOMPARE(found[0].path, r.filePath(QStringLiteral("dev/ttyS0")));
        QVERIFY(found[0].stableName.isEmpty());
        QCOMPARE(found[1].path, r.filePath(QStringLiteral("dev/ttyUSB0")));
        QCOMPARE(found[1].stableName,
                 r.filePath(QStringLiteral("dev/serial/by-id/usb-FTDI_X-if00-port0")));
        QCOMPARE(found[1].vendorId, QStringLiteral("0403"));
        QCOMPARE(found[1].productId, QStringLiteral("6001"));
        QCOMPARE(found[1].description, QStringLiteral("FTDI FT232R USB UART"));
        QCOMPARE(found[1].access, SerialDevice::Access::Usable);

        // A node this user may not open names the group to join.
        const QString locked = r.filePath(QStringLiteral("dev/ttyUSB0"));
        ::chmod(QFile::encodeName(locked).constData(), 0600);
        const int faults = asOrdinaryUser([&] {
            QString group;
            const SerialDevice::Access access = SerialDevices::accessOf(locked, &group);
            if (access != SerialDevice::Access::NoPermission)
                return fault("access of a locked node", QString::number(int(access)));
            const QString text = SerialDevices::accessText(access, QStringLiteral("dialout"));
            if (!text.contains(QStringLiteral("no permission")) ||
                !text.contains(QStringLiteral("usermod -aG dialout")))
                return fault("advice", text);
            return 0;
        });
        QCOMPARE(faults, 0);
        QCOMPARE(SerialDevices::accessOf(r.filePath(QStringLiteral("dev/ttyS9"))),
                 SerialDevice::Access::Missing);
    }
};

QTEST_GUILESS_MAIN(TestStateFolder)
#include "test_statefolder.moc"
