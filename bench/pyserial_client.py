#!/usr/bin/python3
"""A plain pyserial client: sends each byte of a recorded dialogue, waits for
the one-byte reply and compares it with the reply recorded by kestro. A
recording that starts with a mode handshake (FF, mode byte) is preceded by the
handshake of a plain client: FF until the board acknowledges with 55, since a
board left in a mode by an earlier client echoes FF as an address byte.

    pyserial_client.py DEVICE BAUD SENT_FILE RECEIVED_FILE

Prints one line: exchanges N cpu SECONDS wall SECONDS mismatches M timeouts T
The CPU time is that of the exchange loop only (interpreter start-up and the
opening of the port are left out), as for the C++ client.
"""
import resource
import sys
import time

import serial


def cpu_seconds():
    u = resource.getrusage(resource.RUSAGE_SELF)
    return u.ru_utime + u.ru_stime


def main():
    device, baud, sent_path, received_path = sys.argv[1:5]
    with open(sent_path, "rb") as f:
        sent = f.read()
    with open(received_path, "rb") as f:
        expected = f.read()
    port = serial.Serial(device, int(baud), bytesize=8, parity="N", stopbits=1, timeout=1.0)
    port.reset_input_buffer()
    mismatches = 0
    timeouts = 0
    exchanges = 0
    c0 = cpu_seconds()
    t0 = time.monotonic()
    start = 0
    if len(sent) >= 2 and sent[0] == 0xFF:
        for _ in range(100):
            port.reset_input_buffer()
            port.write(b"\xff")
            exchanges += 1
            if port.read(1) != b"\x55":
                continue
            port.write(bytes((sent[1],)))
            exchanges += 1
            if port.read(1) == b"\x55":
                break
        start = 2
    for i in range(start, len(sent)):
        value = sent[i]
        exchanges += 1
        port.write(bytes((value,)))
        reply = port.read(1)
        if not reply:
            timeouts += 1
        elif i < len(expected) and reply[0] != expected[i]:
            if mismatches == 0:
                sys.stderr.write("first wrong reply: exchange %d sent %02X got %02X, kestro got %02X\n"
                                 % (i, value, reply[0], expected[i]))
            mismatches += 1
    wall = time.monotonic() - t0
    cpu = cpu_seconds() - c0
    port.close()
    print("exchanges %d cpu %.6f wall %.6f mismatches %d timeouts %d"
          % (exchanges, cpu, wall, mismatches, timeouts))


if __name__ == "__main__":
    main()
