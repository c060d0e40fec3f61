#include "serialdevices.h"

#include "statefolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>

#include <cerrno>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

QString readLine(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readLine()).trimmed();
}

// An on-board 8250 port the kernel reserves a node for, with no UART behind
// it, reports type 0. Without sysfs every node is taken as real.
bool hasHardware(const QString &sysTty)
{
    if (!QFileInfo::exists(sysTty))
        return true;
    const QString type = readLine(sysTty + QStringLiteral("/type"));
    return type.isEmpty() || type != u"0";
}

void describeFromSys(SerialDevice &d, const QString &sysTty)
{
    const QString devLink = sysTty + QStringLiteral("/device");
    QString dir = QFileInfo(devLink).canonicalFilePath();
    if (dir.isEmpty())
        return;
    const auto driverOf = [](const QString &folder) {
        return QFileInfo(QFileInfo(folder + QStringLiteral("/driver")).symLinkTarget()).fileName();
    };
    d.driver = driverOf(dir);
    // A USB adapter's timer sits beside its usb-serial port.
    bool ok = false;
    const int timer = readLine(dir + QStringLiteral("/latency_timer")).toInt(&ok);
    if (ok)
        d.latencyTimerMs = timer;
    if (!d.driver.isEmpty()) {
        // The 8250 driver of the PC's own ports calls itself "port".
        d.description = d.driver == u"port" || d.driver == u"serial8250" || d.driver == u"serial"
                            ? QStringLiteral("on-board serial port")
                            : d.driver;
    }
    // A USB adapter: the interface's parents carry the ids and names.
    for (int up = 0; up < 4 && !dir.isEmpty(); ++up) {
        // The serial core's own "port" and "ctrl" devices sit between the
        // tty and the device whose driver a technician knows.
        if (d.driver.isEmpty() || d.driver == u"port" || d.driver == u"ctrl") {
            const QString parent = driverOf(dir);
            if (!parent.isEmpty() && parent != u"port" && parent != u"ctrl")
                d.driver = parent;
        }
        if (QFileInfo::exists(dir + QStringLiteral("/idVendor"))) {
            d.vendorId = readLine(dir + QStringLiteral("/idVendor"));
            d.productId = readLine(dir + QStringLiteral("/idProduct"));
            d.serialNumber = readLine(dir + QStringLiteral("/serial"));
            const QString maker = readLine(dir + QStringLiteral("/manufacturer"));
            const QString product = readLine(dir + QStringLiteral("/product"));
            const QString name = (maker + u' ' + product).trimmed();
            if (!name.isEmpty())
                d.description = name;
            return;
        }
        dir = QFileInfo(dir).absolutePath();
    }
}

QHash<QString, QString> stableNames(const QDir &dev)
{
    // The stable names point at the nodes: map node -> by-id path.
    QHash<QString, QString> stable;
    const QDir byId(dev.filePath(QStringLiteral("serial/by-id")));
    for (const QFileInfo &link : byId.entryInfoList(QDir::System | QDir::Files, QDir::Name)) {
        const QString target = link.canonicalFilePath();
        if (!target.isEmpty())
            stable.insert(target, link.absoluteFilePath());
    }
    return stable;
}

} // namespace

namespace SerialDevices
{

SerialDevice::Access accessOf(const QString &path, QString *group)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat st {
    };
    if (::stat(name.constData(), &st) != 0)
        return SerialDevice::Access::Missing;
    if (group) {
        const struct group *g = ::getgrgid(st.st_gid);
        *group = g ? QString::fromLocal8Bit(g->gr_name) : QString::number(st.st_gid);
    }
    if (::access(name.constData(), R_OK | W_OK) == 0)
        return SerialDevice::Access::Usable;
    return errno == EACCES || errno == EPERM ? SerialDevice::Access::NoPermission
                                             : SerialDevice::Access::Other;
}

QString accessText(SerialDevice::Access access, const QString &group)
{
    switch (access) {
    case SerialDevice::Access::Usable:
        return QStringLiteral("usable");
    case SerialDevice::Access::NoPermission: {
        // Joining root's group is no fix: such a node wants a udev rule that
        // hands it to dialout, as the system does for serial ports.
        if (group == u"root")
            return QStringLiteral("no permission: the device belongs to root; a udev rule "
                                  "must give it to the group dialout, and you must be in "
                                  "dialout (sudo usermod -aG dialout $USER)");
        const QString g = group.isEmpty() ? QStringLiteral("dialout") : group;
        return QStringLiteral("no permission: add yourself to the group %1 "
                              "(sudo usermod -aG %1 $USER), then log out and in again")
            .arg(g);
    }
    case SerialDevice::Access::Missing:
        return QStringLiteral("not present");
    case SerialDevice::Access::Other:
        break;
    }
    return QStringLiteral("cannot be opened");
}

QList<SerialDevice> list(const QString &devRoot, const QString &sysRoot)
{
    const QDir dev(devRoot);
    const QString sysClass = QDir(sysRoot).filePath(QStringLiteral("class/tty"));

    const QHash<QString, QString> stable = stableNames(dev);

    QList<SerialDevice> found;
    const QStringList patterns{QStringLiteral("ttyS*"), QStringLiteral("ttyUSB*"),
                               QStringLiteral("ttyACM*")};
    QStringList names = dev.entryList(patterns, QDir::System | QDir::Files);
    // ttyS2 before ttyS10.
    std::sort(names.begin(), names.end(), [](const QString &a, const QString &b) {
        const auto prefix = [](const QString &s) {
            qsizetype i = s.size();
            while (i > 0 && s[i - 1].isDigit())
                --i;
            return i;
        };
        const qsizetype pa = prefix(a), pb = prefix(b);
        if (a.left(pa) != b.left(pb))
            return a.left(pa) < b.left(pb);
        return a.mid(pa).toInt() < b.mid(pb).toInt();
    });
    for (const QString &name : std::as_const(names)) {
        const QString sysTty = QDir(sysClass).filePath(name);
        if (name.startsWith(QLatin1String("ttyS")) && !hasHardware(sysTty))
            continue;
        SerialDevice d;
        d.path = dev.filePath(name);
        d.stableName = stable.value(QFileInfo(d.path).canonicalFilePath());
        describeFromSys(d, sysTty);
        d.access = accessOf(d.path, &d.group);
        found << d;
    }
    return found;
}

SerialDevice describe(const QString &path, const QString &devRoot, const QString &sysRoot)
{
    SerialDevice d;
    d.path = path;
    const QString node = QFileInfo(path).canonicalFilePath();
    if (node.isEmpty())
        return d;
    d.stableName = stableNames(QDir(devRoot)).value(node);
    describeFromSys(d, QDir(sysRoot).filePath(QStringLiteral("class/tty/") +
                                              QFileInfo(node).fileName()));
    d.access = accessOf(node, &d.group);
    return d;
}

QString stableNameFor(const QString &path, const QString &devRoot)
{
    const QString node = QFileInfo(path).canonicalFilePath();
    return node.isEmpty() ? QString() : stableNames(QDir(devRoot)).value(node);
}

QString latencyWarning(const SerialDevice &device, int baud, LowLatency lowLatency,
                       int uploadAllExchanges)
{
    if (device.latencyTimerMs <= 2 || lowLatency == LowLatency::On)
        return {};
    const QString canonical = QFileInfo(device.path).canonicalFilePath();
    const QString name = QFileInfo(canonical.isEmpty() ? device.path : canonical).fileName();
    const QString when = lowLatency == LowLatency::NotOpen
                             ? QStringLiteral("unless low-latency mode takes when the port opens "
                                              "(the link check tells), ")
                             : QStringLiteral("low-latency mode could not be set, so ");
    return QStringLiteral("the adapter holds each reply up to %1 ms (its latency timer): %2"
                          "Upload All at %3 baud takes up to %4 s instead of %5 s. Fix: "
                          "install the KESTRO package's udev rule and plug the adapter in "
                          "again, or now: echo 1 | sudo tee "
                          "/sys/bus/usb-serial/devices/%6/latency_timer")
        .arg(device.latencyTimerMs)
        .arg(when)
        .arg(baud)
        .arg(LinkCost::uploadAllSeconds(uploadAllExchanges, baud, device.latencyTimerMs), 0, 'f',
             1)
        .arg(LinkCost::uploadAllSeconds(uploadAllExchanges, baud, 0), 0, 'f', 1)
        .arg(name);
}

QStringList holders(const QString &path, const QString &procRoot)
{
    QStringList found;
    const QString node = QFileInfo(path).canonicalFilePath();
    if (node.isEmpty())
        return found;
    const QString self = QString::number(::getpid());
    const QDir proc(procRoot);
    for (const QString &pid : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        if (pid == self || pid.toInt() <= 0)
            continue;
        const QDir fds(proc.filePath(pid + QStringLiteral("/fd")));
        const QFileInfoList entries = fds.entryInfoList(QDir::System | QDir::Files);
        for (const QFileInfo &fd : entries) {
            if (fd.symLinkTarget() != node)
                continue;
            const QString name = readLine(proc.filePath(pid + QStringLiteral("/comm")));
            found << QStringLiteral("%1 (pid %2)").arg(name.isEmpty() ? QStringLiteral("?") : name,
                                                       pid);
            break;
        }
    }
    return found;
}

QString assign(const QString &programDir, int portNumber, const QString &device, QString &error)
{
    if (portNumber < 1 || portNumber > 99) {
        error = QStringLiteral("port %1 is not between 1 and 99").arg(portNumber);
        return {};
    }
    const QFileInfo target(device);
    if (!target.exists()) {
        error = QStringLiteral("%1 does not exist").arg(device);
        return {};
    }
    // Only a character device can be a serial line; anything else (a file,
    // a folder) would be "opened" and written to as one.
    struct stat info {
    };
    if (::stat(QFile::encodeName(target.absoluteFilePath()).constData(), &info) != 0 ||
        !S_ISCHR(info.st_mode)) {
        error = QStringLiteral("%1 is not a character device, so not a serial port").arg(device);
        return {};
    }
    const StateFolder state(programDir);
    const QString dir = state.writeDir();
    if (!QDir().mkpath(dir)) {
        error = QStringLiteral("cannot create %1").arg(dir);
        return {};
    }
    const QString link = QDir(dir).filePath(StateFolder::portLinkName(portNumber));
    // Replaced through a temporary link and a rename: the port never leads
    // nowhere halfway.
    const QString temp = link + QStringLiteral(".new");
    QFile::remove(temp);
    if (!QFile::link(target.absoluteFilePath(), temp) ||
        ::rename(QFile::encodeName(temp).constData(), QFile::encodeName(link).constData()) != 0) {
        QFile::remove(temp);
        error = QStringLiteral("cannot write %1").arg(link);
        return {};
    }
    return link;
}

} // namespace SerialDevices
