#include "linkcheck.h"

#include "clock.h"
#include "serialdevices.h"
#include "serialport.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QList>
#include <QStringList>

#include <algorithm>

namespace
{

constexpr quint8 Attention = 0xFF;
constexpr quint8 ReadMode = 0x01;
constexpr quint8 Acknowledge = 0x55;
// What a knock waits for each reply: a healthy board answers in a few ms.
constexpr int KnockTimeoutMs = 500;
constexpr int KnockRounds = 3;
constexpr int ExchangeTimeoutMs = 1000;
// A run that keeps timing out is over long before its count.
constexpr int MostTimeOuts = 5;
// The register timed: the alarm word's low byte, read-only for the board.
constexpr quint8 TimedHigh = 0x00;
constexpr quint8 TimedLow = 0x62;

QString lowLatencyText(LowLatency mode)
{
    switch (mode) {
    case LowLatency::On:
        return QStringLiteral("on");
    case LowLatency::NotOffered:
        return QStringLiteral("not offered by the driver (normal for a pseudo-terminal and "
                              "some built-in ports)");
    case LowLatency::Refused:
        return QStringLiteral("refused by the driver");
    case LowLatency::NotOpen:
        break;
    }
    return QStringLiteral("not known (the port did not open)");
}

QString deviceLine(const SerialDevice &d)
{
    QStringList facts;
    if (!d.driver.isEmpty())
        facts << d.driver;
    if (!d.vendorId.isEmpty())
        facts << QStringLiteral("USB %1:%2").arg(d.vendorId, d.productId);
    if (!d.serialNumber.isEmpty())
        facts << QStringLiteral("serial %1").arg(d.serialNumber);
    if (d.latencyTimerMs >= 0)
        facts << QStringLiteral("latency timer %1 ms").arg(d.latencyTimerMs);
    QString line = !d.description.isEmpty()                     ? d.description
                   : QFileInfo(d.path).canonicalFilePath().startsWith(QLatin1String("/dev/pts/"))
                       ? QStringLiteral("a pseudo-terminal")
                       : QStringLiteral("a serial device");
    if (!facts.isEmpty())
        line += QStringLiteral(" (") + facts.join(QStringLiteral(", ")) + u')';
    if (!d.stableName.isEmpty())
        line += QStringLiteral("\n  stable name: ") + d.stableName;
    return line;
}

double percentile(QList<double> values, double p)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    const qsizetype at = qMin(values.size() - 1, qsizetype(p * double(values.size())));
    return values[at];
}

} // namespace

int LinkCheck::exchange(quint8 byte, int timeoutMs)
{
    if (!m_port.sendByte(byte))
        return -2;
    if (!m_port.waitForByte(m_clock.nowMs() + timeoutMs))
        return m_port.isOpen() ? -1 : -2;
    return m_port.readByte();
}

LinkCheck::Answer LinkCheck::knock(int &noiseBytes)
{
    noiseBytes = 0;
    bool allEchoed = true;
    bool anyReply = false;
    for (int round = 0; round < KnockRounds; ++round) {
        m_port.discardInput();
        const int first = exchange(Attention, KnockTimeoutMs);
        if (first == -2)
            return Answer::Gone;
        if (first == -1) {
            allEchoed = false;
            continue;
        }
        anyReply = true;
        const int second = exchange(ReadMode, KnockTimeoutMs);
        if (second == -2)
            return Answer::Gone;
        if (first == Acknowledge && second == Acknowledge)
            return Answer::Board;
        if (first != Attention || second != ReadMode)
            allEchoed = false;
        noiseBytes += 1 + (second >= 0 ? 1 : 0);
        // Whatever else the line carries belongs to the noise.
        while (m_port.bytesWaiting() > 0 && m_port.readByte() >= 0)
            ++noiseBytes;
    }
    if (!anyReply)
        return Answer::Silent;
    if (allEchoed) {
        // A board never echoes a byte that is no address: one more to be sure.
        const int odd = exchange(0xA5, KnockTimeoutMs);
        if (odd == 0xA5)
            return Answer::Loopback;
        if (odd == -2)
            return Answer::Gone;
    }
    return Answer::Noise;
}

LinkCheck::Timing LinkCheck::timeExchanges(int count)
{
    Timing t;
    QList<double> roundTrips;
    roundTrips.reserve(count);
    QElapsedTimer watch;
    bool inReadMode = true;
    bool highNext = true;
    while (t.exchanges < count && t.timeOuts < MostTimeOuts) {
        if (!inReadMode) {
            m_port.discardInput();
            if (exchange(Attention, ExchangeTimeoutMs) != Acknowledge ||
                exchange(ReadMode, ExchangeTimeoutMs) != Acknowledge) {
                ++t.timeOuts;
                if (!m_port.isOpen()) {
                    t.gone = true;
                    break;
                }
                continue;
            }
            inReadMode = true;
            highNext = true;
        }
        // The address high byte, echoed, then the low byte, answered with data.
        const bool echoed = highNext;
        highNext = !highNext;
        const quint8 sent = echoed ? TimedHigh : TimedLow;
        watch.start();
        const int reply = exchange(sent, ExchangeTimeoutMs);
        const double ms = double(watch.nsecsElapsed()) / 1e6;
        ++t.exchanges;
        if (reply == -2) {
            t.gone = true;
            break;
        }
        if (reply == -1) {
            ++t.timeOuts;
            inReadMode = false;
            continue;
        }
        roundTrips << ms;
        if (echoed && reply != sent) {
            ++t.wrongEchoes;
            inReadMode = false;
        }
    }
    t.medianMs = percentile(roundTrips, 0.5);
    t.p99Ms = percentile(roundTrips, 0.99);
    return t;
}

LinkCheck::Report LinkCheck::run(const Setup &setup)
{
    Report r;
    const int baud = m_port.baudRate();
    const int otherBaud = baud == 19200 ? 9600 : 19200;
    QStringList lines;
    lines << QStringLiteral("Port %1: %2 at %3 baud")
                 .arg(m_port.portNumber())
                 .arg(m_port.deviceName())
                 .arg(baud);
    const auto finish = [&](Finding finding, const QString &result, const QString &fix) {
        r.finding = finding;
        lines << QStringLiteral("Result: ") + result;
        if (!fix.isEmpty())
            lines << QStringLiteral("Fix: ") + fix;
        r.text = lines.join(u'\n') + u'\n';
        m_port.close();
        return r;
    };

    if (!m_port.open()) {
        // The node itself when there is one (its owner and holders are the
        // node's), else the name the link leads to.
        const QFileInfo info(setup.devicePath);
        const QString name = info.exists()      ? info.canonicalFilePath()
                             : info.isSymLink() ? info.symLinkTarget()
                                                : info.absoluteFilePath();
        switch (m_port.lastError()) {
        case SerialError::NoSuchDevice: {
            QStringList present;
            for (const SerialDevice &d : SerialDevices::list(setup.devRoot, setup.sysRoot))
                present << (d.stableName.isEmpty() ? d.path : d.path + QStringLiteral(" (") +
                                                                   d.stableName + u')');
            lines << QStringLiteral("Serial devices present: ") +
                         (present.isEmpty() ? QStringLiteral("none")
                                            : present.join(QStringLiteral(", ")));
            return finish(Finding::NoDevice,
                          QStringLiteral("the device %1 does not exist.").arg(name),
                          QStringLiteral("plug the adapter in (dmesg | tail shows it arrive), or "
                                         "make the port lead to a device that exists: "
                                         "kestro-cli ports --assign %1 DEVICE")
                              .arg(m_port.portNumber()));
        }
        case SerialError::PermissionDenied: {
            QString group;
            SerialDevices::accessOf(setup.devicePath, &group);
            return finish(
                Finding::NoPermission,
                QStringLiteral("no permission to open %1 (it belongs to the group %2).")
                    .arg(name, group.isEmpty() ? QStringLiteral("?") : group),
                SerialDevices::accessText(SerialDevice::Access::NoPermission, group));
        }
        case SerialError::DeviceBusy: {
            const QStringList who = SerialDevices::holders(setup.devicePath, setup.procRoot);
            if (who.isEmpty())
                return finish(Finding::Busy,
                              QStringLiteral("%1 is held by another program, one this user may "
                                             "not see.")
                                  .arg(name),
                              QStringLiteral("close the other program (sudo fuser -v %1 names "
                                             "it), then check again")
                                  .arg(name));
            return finish(Finding::Busy,
                          QStringLiteral("%1 is held by another program: %2.")
                              .arg(name, who.join(QStringLiteral(", "))),
                          QStringLiteral("close that program, then check again"));
        }
        default:
            return finish(Finding::OpenFailed,
                          QStringLiteral("%1 would not open: %2.")
                              .arg(name, serialErrorText(m_port.lastError())),
                          QStringLiteral("check that it is a serial device"));
        }
    }

    // Opening may have changed the adapter's timer (FTDI's driver sets 1 ms
    // in low-latency mode): read the facts now.
    const SerialDevice opened =
        SerialDevices::describe(setup.devicePath, setup.devRoot, setup.sysRoot);
    const LowLatency lowLatency = m_port.lowLatency();
    lines << QStringLiteral("Device: ") + deviceLine(opened);
    lines << QStringLiteral("Low-latency mode: ") + lowLatencyText(lowLatency);
    const QString gone = QStringLiteral("the device went away during the check.");
    const QString plugBack = QStringLiteral("plug the adapter back in and check again");

    int noise = 0;
    const Answer answer = knock(noise);
    if (answer == Answer::Gone)
        return finish(Finding::NoDevice, gone, plugBack);
    if (answer == Answer::Loopback)
        return finish(Finding::Loopback,
                      QStringLiteral("every byte came back unchanged, the handshake included: "
                                     "a loopback plug or a shorted cable, not the board."),
                      QStringLiteral("take the loopback plug off and connect the cable to the "
                                     "board's PROG port; a cable that does this has its send and "
                                     "receive wires joined"));
    if (answer != Answer::Board) {
        // The same knock at the other speed tells a wrong setting from a
        // dead line.
        m_port.close();
        m_port.setBaudRate(otherBaud);
        int otherNoise = 0;
        const Answer other = m_port.open() ? knock(otherNoise) : Answer::Gone;
        m_port.close();
        m_port.setBaudRate(baud);
        if (other == Answer::Board)
            return finish(Finding::OtherSpeed,
                          QStringLiteral("no answer at %1 baud, but the board answers at %2 baud.")
                              .arg(baud)
                              .arg(otherBaud),
                          QStringLiteral("set the port speed to %1 (Edit > Comm Port, or "
                                         "kestro-cli --speed %1)")
                              .arg(otherBaud));
        if (answer == Answer::Noise)
            return finish(Finding::Noise,
                          QStringLiteral("the replies are noise (%1 bytes at %2 baud, never the "
                                         "board's handshake): a wrong speed or a bad cable.")
                              .arg(noise)
                              .arg(baud),
                          QStringLiteral("check the cable, its connectors and its shield; a board "
                                         "set to a speed other than 9600 or 19200 cannot be "
                                         "reached"));
        return finish(Finding::Silent,
                      QStringLiteral("no answer at %1 or %2 baud.").arg(baud).arg(otherBaud),
                      QStringLiteral("check that the cable goes to the board's PROG port, that "
                                     "the board is powered, and that the cable is a straight "
                                     "RS-232 cable (send to the board's receive)"));
    }

    const Timing t = timeExchanges(qMax(2, setup.exchanges));
    if (t.gone)
        return finish(Finding::NoDevice, gone, plugBack);
    const double wireMs = LinkCost::wireMsPerExchange(baud);
    lines << QStringLiteral("Exchanges: %1, round trip median %2 ms, 99th percentile %3 ms "
                            "(wire time %4 ms); %5 wrong echoes, %6 time-outs")
                 .arg(t.exchanges)
                 .arg(t.medianMs, 0, 'f', 2)
                 .arg(t.p99Ms, 0, 'f', 2)
                 .arg(wireMs, 0, 'f', 2)
                 .arg(t.wrongEchoes)
                 .arg(t.timeOuts);
    if (setup.uploadAllExchanges > 0)
        // A pseudo-terminal outruns any cable; the projection does not.
        lines << QStringLiteral("Upload All (%1 exchanges) projected: %2 s (the wire alone: %3 s)")
                     .arg(setup.uploadAllExchanges)
                     .arg(setup.uploadAllExchanges * qMax(t.medianMs, wireMs) / 1000.0, 0, 'f', 1)
                     .arg(LinkCost::uploadAllSeconds(setup.uploadAllExchanges, baud, 0), 0, 'f',
                          2);
    if (const QString warning =
            SerialDevices::latencyWarning(opened, baud, lowLatency, setup.uploadAllExchanges);
        !warning.isEmpty())
        lines << QStringLiteral("Warning: ") + warning;
    if (t.wrongEchoes > 0 || t.timeOuts > 0)
        return finish(Finding::Unreliable,
                      QStringLiteral("the board answers, but %1 wrong echoes and %2 time-outs in "
                                     "%3 exchanges.")
                          .arg(t.wrongEchoes)
                          .arg(t.timeOuts)
                          .arg(t.exchanges),
                      QStringLiteral("check the cable and its connectors; keep it short and away "
                                     "from motor cables"));
    return finish(Finding::Healthy, QStringLiteral("the board answered cleanly."), QString());
}
