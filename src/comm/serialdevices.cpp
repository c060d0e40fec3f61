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

void describe(SerialDevice &d, const QString &sysTty)
{
    const QString devLink = sysTty + QStringLiteral("/device");
    QString dir = QFileInfo(devLink).canonicalFilePath();
    if (dir.isEmpty())
        return;
    const QString driver = QFileInfo(devLink + QStringLiteral("/driver")).symLinkTarget();
    if (!driver.isEmpty()) {
        const QString name = QFileInfo(driver).fileName();
        // The 8250 driver of the PC's own ports calls itself "port".
        d.description = name == u"port" || name == u"serial8250"
                            ? QStringLiteral("on-board serial port")
                            : name;
    }
    // A USB adapter: the interface's parents carry the ids and names.
    for (int up = 0; up < 4 && !dir.isEmpty(); ++up) {
        if (QFileInfo::exists(dir + QStringLiteral("/idVendor"))) {
            d.vendorId = readLine(dir + QStringLiteral("/idVendor"));
            d.productId = readLine(dir + QStringLiteral("/idProduct"));
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

    // The stable names point at the nodes: map node -> by-id path.
    QHash<QString, QString> stable;
    const QDir byId(dev.filePath(QStringLiteral("serial/by-id")));
    for (const QFileInfo &link : byId.entryInfoList(QDir::System | QDir::Files, QDir::Name)) {
        const QString target = link.canonicalFilePath();
        if (!target.isEmpty())
            stable.insert(target, link.absoluteFilePath());
    }

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
        describe(d, sysTty);
        d.access = accessOf(d.path, &d.group);
        found << d;
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
