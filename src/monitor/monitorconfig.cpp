#include "monitorconfig.h"

#include <QFile>
#include <QUrl>

#include <sys/stat.h>

bool BrokerUrl::parse(const QString &text, BrokerUrl &url, QString *why)
{
    const QUrl parsed(text, QUrl::StrictMode);
    const QString scheme = parsed.scheme();
    auto fail = [&](const QString &problem) {
        if (why)
            *why = problem;
        return false;
    };
    if (!parsed.isValid() || (scheme != u"mqtt" && scheme != u"mqtts") || parsed.host().isEmpty())
        return fail(QStringLiteral("not a broker URL (mqtt://HOST[:PORT] or mqtts://HOST[:PORT]): ") +
                    text);
    if (!parsed.userInfo().isEmpty())
        return fail(QStringLiteral("the broker URL may not carry a user name or password; put "
                                   "them in the config file"));
    if (!parsed.path().isEmpty() && parsed.path() != u"/")
        return fail(QStringLiteral("the broker URL has a path: ") + text);
    url.tls = scheme == u"mqtts";
    url.host = parsed.host();
    url.port = parsed.port(url.tls ? 8883 : 1883);
    return true;
}

QString BrokerUrl::text() const
{
    return QStringLiteral("%1://%2:%3").arg(tls ? u"mqtts" : u"mqtt", host).arg(port);
}

bool MonitorConfig::load(const QString &path, MonitorConfig &config, QString *why)
{
    auto fail = [&](const QString &problem) {
        if (why)
            *why = path + QStringLiteral(": ") + problem;
        return false;
    };
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return fail(QStringLiteral("cannot be read"));
    // Checked before a byte is read: the file may hold a password.
    if (st.st_mode & (S_IROTH | S_IWOTH))
        return fail(QStringLiteral("refused: other users may read or write it "
                                   "(chmod o-rwx %1)")
                        .arg(path));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return fail(QStringLiteral("cannot be read"));

    int lineNumber = 0;
    while (!file.atEnd()) {
        ++lineNumber;
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        const qsizetype eq = line.indexOf(u'=');
        const QString where = QStringLiteral("line %1: ").arg(lineNumber);
        if (eq <= 0)
            return fail(where + QStringLiteral("not \"key = value\""));
        const QString key = line.left(eq).trimmed();
        const QString value = line.mid(eq + 1).trimmed();
        auto number = [&](int low, int high, int &out) {
            bool ok = false;
            const int n = value.toInt(&ok);
            if (!ok || n < low || n > high)
                return false;
            out = n;
            return true;
        };
        bool good = true;
        if (key == u"line")
            config.line = value;
        else if (key == u"port")
            good = number(1, 99, config.port);
        else if (key == u"speed")
            good = number(9600, 19200, config.speed) &&
                   (config.speed == 9600 || config.speed == 19200);
        else if (key == u"device")
            config.device = value;
        else if (key == u"mqtt")
            config.mqtt = value;
        else if (key == u"username")
            config.username = value;
        else if (key == u"password")
            config.password = value;
        else if (key == u"cafile")
            config.caFile = value;
        else if (key == u"certfile")
            config.certFile = value;
        else if (key == u"keyfile")
            config.keyFile = value;
        else if (key == u"database")
            config.database = value;
        else if (key == u"poll-ms")
            good = number(100, 60000, config.pollMs);
        else
            return fail(where + QStringLiteral("unknown key ") + key);
        // The value itself is never repeated: it may be the password.
        if (!good)
            return fail(where + QStringLiteral("bad value for ") + key);
    }
    return true;
}
