#include "comm/clock.h"
#include "comm/commsettings.h"
#include "comm/posixserialport.h"
#include "comm/serialdevices.h"
#include "comm/statefolder.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

static int fault(const char *what, const QString &got)
{
    qWarning("%s: got %s", what, qPrintable(got));
    return 1;
}

// Runs check as an ordinary user (root may open anything) and returns its result.
static int asOrdinaryUser(const std::function<int()> &check)
{
    if (::geteuid() != 0)
        return check();
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(::setgid(65534) == 0 && ::setuid(65534) == 0 ? check() : 100);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 101;
}

// What the machine says about its serial devices, read from a fake /dev and
// /sys laid out as the kernel does for a USB adapter and a built-in port; and
// where the settings and port links go, for a program installed read-only and
// for one in a folder its user may write.
class TestSerialDevices : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;
    QString dev() const { return m_root.filePath(QStringLiteral("dev")); }
    QString sys() const { return m_root.filePath(QStringLiteral("sys")); }

    void write(const QString &path, const QByteArray &text)
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(text + '\n');
    }
    void link(const QString &target, const QString &path)
    {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QVERIFY(QFile::link(target, path));
    }
    // A USB adapter on port 1-N: the USB device, its interface, the tty.
    void usbAdapter(const QString &tty, int n, const QByteArray &vendor, const QByteArray &product,
                    const QByteArray &serial, const QString &driver, int latencyTimer,
                    const QString &byId)
    {
        const QString usb = sys() + QStringLiteral("/devices/pci0000:00/usb1/1-%1").arg(n);
        write(usb + QStringLiteral("/idVendor"), vendor);
        write(usb + QStringLiteral("/idProduct"), product);
        if (!serial.isEmpty())
            write(usb + QStringLiteral("/serial"), serial);
        const QString port = usb + QStringLiteral("/1-%1:1.0/").arg(n) + tty;
        QDir().mkpath(port);
        if (!driver.isEmpty())
            link(sys() + QStringLiteral("/bus/usb-serial/drivers/") + driver,
                 port + QStringLiteral("/driver"));
        if (latencyTimer >= 0)
            write(port + QStringLiteral("/latency_timer"), QByteArray::number(latencyTimer));
        link(port, sys() + QStringLiteral("/class/tty/") + tty + QStringLiteral("/device"));
        write(dev() + u'/' + tty, {});
        link(dev() + u'/' + tty, dev() + QStringLiteral("/serial/by-id/") + byId);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_root.isValid());
        ::chmod(QFile::encodeName(m_root.path()).constData(), 0755);
        usbAdapter(QStringLiteral("ttyUSB0"), 1, "0403", "6001", "A1B2C3",
                   QStringLiteral("ftdi_sio"), 16,
                   QStringLiteral("usb-FTDI_FT232R_USB_UART_A1B2C3-if00-port0"));
        usbAdapter(QStringLiteral("ttyUSB1"), 2, "1a86", "7523", {}, {}, -1,
                   QStringLiteral("usb-1a86_USB_Serial-if00-port0"));
        write(sys() + QStringLiteral("/devices/pci0000:00/usb1/1-2/manufacturer"), "QinHeng");
        write(sys() + QStringLiteral("/devices/pci0000:00/usb1/1-2/product"), "CH340");
        // The built-in port: the serial core's port device under the UART's
        // own, as the kernel lays out a PC's COM1.
        const QString uart = sys() + QStringLiteral("/devices/pnp0/00:00");
        const QString port = uart + QStringLiteral("/00:00:0/00:00:0.0");
        QDir().mkpath(port);
        write(sys() + QStringLiteral("/class/tty/ttyS0/type"), "4");
        link(sys() + QStringLiteral("/bus/serial-base/drivers/port"),
             port + QStringLiteral("/driver"));
        link(sys() + QStringLiteral("/bus/serial-base/drivers/ctrl"),
             uart + QStringLiteral("/00:00:0/driver"));
        link(sys() + QStringLiteral("/bus/pnp/drivers/serial"), uart + QStringLiteral("/driver"));
        link(port, sys() + QStringLiteral("/class/tty/ttyS0/device"));
        write(dev() + QStringLiteral("/ttyS0"), {});
        write(sys() + QStringLiteral("/class/tty/ttyS2/type"), "4");
        write(dev() + QStringLiteral("/ttyS2"), {});
        // A reserved node without a UART is no device.
        write(sys() + QStringLiteral("/class/tty/ttyS1/type"), "0");
        write(dev() + QStringLiteral("/ttyS1"), {});
    }

    void describesEachDevice_data()
    {
        QTest::addColumn<QString>("tty");
        QTest::addColumn<QString>("driver");
        QTest::addColumn<QString>("usbId");
        QTest::addColumn<QString>("serial");
        QTest::addColumn<int>("latencyTimer");
        QTest::addColumn<QString>("byId");
        QTest::addColumn<QString>("description");
        const char *const rows[][7] = {
            {"ttyUSB0", "ftdi_sio", "0403:6001", "A1B2C3", "16",
             "usb-FTDI_FT232R_USB_UART_A1B2C3-if00-port0", "ftdi_sio"},
            // No driver link: the names the adapter gives describe it.
            {"ttyUSB1", "", "1a86:7523", "", "-1", "usb-1a86_USB_Serial-if00-port0",
             "QinHeng CH340"},
            {"ttyS0", "serial", ":", "", "-1", "", "on-board serial port"},
            // Nothing behind the node but its type.
            {"ttyS2", "", ":", "", "-1", "", ""}};
        for (const auto &r : rows)
            QTest::newRow(r[0]) << QString(r[0]) << QString(r[1]) << QString(r[2]) << QString(r[3])
                                << QByteArray(r[4]).toInt() << QString(r[5]) << QString(r[6]);
    }
    void describesEachDevice()
    {
        QFETCH(QString, tty);
        const QList<SerialDevice> all = SerialDevices::list(dev(), sys());
        QStringList paths;
        for (const SerialDevice &d : all)
            paths << QFileInfo(d.path).fileName();
        QCOMPARE(paths, QStringList({"ttyS0", "ttyS2", "ttyUSB0", "ttyUSB1"}));

        const SerialDevice d = all.value(paths.indexOf(tty));
        QTEST(d.driver, "driver");
        QTEST(d.vendorId + u':' + d.productId, "usbId");
        QTEST(d.serialNumber, "serial");
        QTEST(d.latencyTimerMs, "latencyTimer");
        QTEST(d.description, "description");
        QFETCH(QString, byId);
        const QString stable =
            byId.isEmpty() ? QString() : dev() + QStringLiteral("/serial/by-id/") + byId;
        QCOMPARE(d.stableName, stable);
        // The by-id name suggested for the kernel's, and the same facts for
        // a device named by it.
        QCOMPARE(SerialDevices::stableNameFor(d.path, dev()), stable);
        if (!stable.isEmpty())
            QCOMPARE(SerialDevices::describe(stable, dev(), sys()).driver, d.driver);
    }

    void warnsOfASlowTimerWithItsCost()
    {
        const SerialDevice ftdi =
            SerialDevices::describe(dev() + QStringLiteral("/ttyUSB0"), dev(), sys());
        // 586 exchanges of 2.08 ms on the wire, each held up to 16 ms more.
        const QString warning = SerialDevices::latencyWarning(ftdi, 9600, LowLatency::Refused, 586);
        for (const char *part : {"up to 16 ms", "low-latency mode could not be set",
                                 "Upload All at 9600 baud takes up to 10.6 s instead of 1.2 s",
                                 "/sys/bus/usb-serial/devices/ttyUSB0/latency_timer"})
            QVERIFY2(warning.contains(QLatin1String(part)), qPrintable(warning));
        // Nothing to say once low latency is on, or for a fast timer.
        QVERIFY(SerialDevices::latencyWarning(ftdi, 9600, LowLatency::On, 586).isEmpty());
        SerialDevice fast = ftdi;
        fast.latencyTimerMs = 1;
        QVERIFY(SerialDevices::latencyWarning(fast, 9600, LowLatency::Refused, 586).isEmpty());
    }

    // A node this user may not open names the group to join.
    void lockedNodeNamesTheGroup()
    {
        const QString locked = dev() + QStringLiteral("/ttyUSB1");
        ::chmod(QFile::encodeName(locked).constData(), 0600);
        const int faults = asOrdinaryUser([&] {
            QString group;
            const SerialDevice::Access access = SerialDevices::accessOf(locked, &group);
            const QString text = SerialDevices::accessText(access, QStringLiteral("dialout"));
            return access == SerialDevice::Access::NoPermission &&
                           text.contains(QStringLiteral("no permission")) &&
                           text.contains(QStringLiteral("usermod -aG dialout"))
                       ? 0
                       : 1;
        });
        QCOMPARE(faults, 0);
        QCOMPARE(SerialDevices::accessOf(dev() + QStringLiteral("/ttyUSB0")),
                 SerialDevice::Access::Usable);
        QCOMPARE(SerialDevices::accessOf(dev() + QStringLiteral("/ttyS9")),
                 SerialDevice::Access::Missing);
    }

    void buildTreeKeepsStateBesideTheProgram()
    {
        QTemporaryDir program, config;
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config.path()));
        QDir(program.path()).mkpath(QStringLiteral("Support"));
        const StateFolder state(program.path());
        QVERIFY(state.supportWritable());
        QCOMPARE(state.settingsFile(), program.filePath(QStringLiteral("Support/RSPort.cfg")));
        QCOMPARE(state.settingsSaveFile(), program.filePath(QStringLiteral("Support/RSPort.cfg")));

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
        ::chown(QFile::encodeName(home.path()).constData(), 65534, 65534);
        const QString config = home.filePath(QStringLiteral("config"));
        qputenv("HOME", QFile::encodeName(home.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config));
        const QString userDir = config + QStringLiteral("/kestro");

        const int faults = asOrdinaryUser([&] {
            int n = 0;
            const auto check = [&n](const QString &got, const QString &expected, const char *what) {
                if (got != expected)
                    n += fault(what, got);
            };
            const StateFolder state(program.path());
            check(state.supportWritable() ? "yes" : "no", "no", "Support/ writable");
            // Nothing of the user's yet: the installed file answers; saving
            // goes to the user's folder, which is made, and is read from there.
            const QString installed = support + QStringLiteral("/RSPort.cfg");
            check(state.settingsFile(), installed, "settings read before saving");
            CommSettings settings;
            settings.port = 5;
            if (const auto failure = CommSettings::write(state.settingsSaveFile(), settings,
                                                         CommSettings::LineStyle::Printed))
                n += fault("save", failure->description);
            check(state.settingsFile(), userDir + QStringLiteral("/RSPort.cfg"), "settings after");
            // Port 3 is linked by the installation; the user's own link wins.
            check(PosixSerialPort::devicePathFor(3, program.path()),
                  support + QStringLiteral("/COM3"), "installed link");
            QString error;
            const QString link =
                SerialDevices::assign(program.path(), 3, QStringLiteral("/dev/zero"), error);
            check(link, userDir + QStringLiteral("/COM3"), "assign");
            check(PosixSerialPort::devicePathFor(3, program.path()), link, "user link");
            return n;
        });
        ::chmod(QFile::encodeName(support).constData(), 0755);
        ::chmod(QFile::encodeName(program.path()).constData(), 0755);
        QCOMPARE(faults, 0);
    }

    void assignRefusesWhatCannotBeAPort_data()
    {
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("why");
        QTest::newRow("port 0") << 0 << "/dev/null" << "between 1 and 99";
        QTest::newRow("no such device") << 2 << "/nonexistent" << "does not exist";
        QTest::newRow("plain file") << 2 << "/etc/passwd" << "not a character device";
    }
    void assignRefusesWhatCannotBeAPort()
    {
        QFETCH(int, port);
        QFETCH(QString, device);
        QFETCH(QString, why);
        QTemporaryDir program;
        QString error;
        QVERIFY(SerialDevices::assign(program.path(), port, device, error).isEmpty());
        QVERIFY2(error.contains(why), qPrintable(error));
        QVERIFY(QDir(program.filePath(QStringLiteral("Support"))).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestSerialDevices)
#include "test_serialdevices.moc"
