#include "programmemory.h"

#include "registerspace.h"

void ProgramMemory::begin()
{
    m_count = 0;
    m_records = 0;
    m_lastAddress = -1;
}

ProgramMemory::Step ProgramMemory::feed(quint8 byte)
{
    if (m_count == 0 && byte == 0xFF)
        return {quint8(0x55), true};
    m_buffer[m_count++] = byte;
    if (m_count < 3 || m_count < 3 + m_buffer[0])
        return {};

    const int length = m_buffer[0];
    const int address = m_buffer[1] * 256 + m_buffer[2];
    int sum = 0;
    for (int i = 0; i < 3 + length; ++i)
        sum += m_buffer[i];
    for (int k = 0; k < length; ++k) {
        const int at = address + k;
        if (at >= Start && at <= End)
            m_registers.setByte(at, m_buffer[3 + k]);
    }
    m_count = 0;
    ++m_records;
    m_lastAddress = address;
    if (m_records == m_silentOn)
        return {};
    const quint8 answer = quint8(sum & 0xFF);
    return {m_records == m_wrongSumOn ? quint8(answer ^ 0xA5) : answer};
}
