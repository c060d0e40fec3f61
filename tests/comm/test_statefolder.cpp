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

    void assignRefusesWhatCannotBeAPort_data()
    {
        QTest::addColumn<int>("port");
        QTest::addColumn<QString>("device");
        QTest::addColumn<QString>("why");
        QTest::newRow("port 0") << 0 << "/dev/null"
                                << "between 1 and 99";
        QTest::newRow("no such device") << 2 << "/nonexistent"
                                        << "does not exist";
        QTest::newRow("plain file") << 2 << "/etc/passwd"
                                    << "not a character device";
        QTest::newRow("folder") << 2 << "/tmp"
                                << "not a character device";
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

QTEST_GUILESS_MAIN(TestStateFolder)
#include "test_statefolder.moc"
