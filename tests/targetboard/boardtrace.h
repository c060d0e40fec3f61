#pragma once

// The register writes the simulated board took, read back from its byte
// trace (--trace FILE: one "RX -> TX" line per byte received). The trace has
// the board's answers too, so attention and mode changes are told apart from
// address and data bytes without guessing.

#include <QFile>
#include <QStringList>

class BoardTrace
{
public:
    explicit BoardTrace(const QString &path) : m_path(path) {}

    // Writes since the last call, as "B8178=0" (byte address in decimal).
    QStringList newWrites()
    {
        QFile file(m_path);
        QStringList writes;
        if (!file.open(QIODevice::ReadOnly | QIODevice::Text) || !file.seek(m_offset))
            return writes;
        while (!file.atEnd()) {
            const QByteArray line = file.readLine();
            if (!line.endsWith('\n'))
                break; // the rest is still being written
            m_offset += line.size();
            const QList<QByteArray> parts = line.trimmed().split(' ');
            // A byte the board did not answer (a silent board) took no part.
            if (parts.size() == 3 && parts[2] != "--")
                take(parts[0].toInt(nullptr, 16), parts[2].toInt(nullptr, 16), writes);
        }
        return writes;
    }

private:
    void take(int rx, int tx, QStringList &writes)
    {
        if (m_awaitMode) {
            m_awaitMode = false;
            m_mode = tx == 0x55 ? rx : 0;
            m_pos = 0;
        } else if (m_pos == 0 && rx == 0xFF && tx == 0x55) {
            m_awaitMode = true;
        } else if (m_mode == 1) {
            m_pos = (m_pos + 1) % 2;
        } else if (m_mode == 2) {
            m_bytes[m_pos++] = rx;
            if (m_pos == 3) {
                m_pos = 0;
                writes.append(
                    QStringLiteral("B%1=%2").arg(m_bytes[0] * 256 + m_bytes[1]).arg(m_bytes[2]));
            }
        }
    }

    QString m_path;
    qint64 m_offset = 0;
    bool m_awaitMode = false;
    int m_mode = 0;
    int m_pos = 0;
    int m_bytes[3] = {0, 0, 0};
};
