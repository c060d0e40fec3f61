#!/usr/bin/env python3
"""Writes a small controller project of our own for tests and the demo.

make-sample-project.py FOLDER [NAME] [--bytes N] [--ident TEXT] [--code CHAR]

FOLDER/NAME.pdx, .rev, .hex and .lcf: a T6800 ("D") project whose image
fills program memory from 4000H with N bytes (default 32768) of a fixed
pseudo-random pattern in 16-byte records, then the end record.
"""
import argparse
import os

MARK = "0123456789:;<=>?"


def markhex(value):
    return MARK[value >> 4] + MARK[value & 15]


def main():
    p = argparse.ArgumentParser()
    p.add_argument("folder")
    p.add_argument("name", nargs="?", default="SAMPLE")
    p.add_argument("--bytes", type=int, default=0x8000)
    p.add_argument("--ident", default="KSTDEMO1")
    p.add_argument("--code", default="D")
    a = p.parse_args()
    os.makedirs(a.folder, exist_ok=True)
    base = os.path.join(a.folder, a.name)

    # A linear congruential pattern: every byte value occurs, nothing repeats
    # at a 16-byte stride, so a record sent to the wrong place shows.
    state = 0x1234
    data = bytearray()
    for _ in range(a.bytes):
        state = (state * 1103515245 + 12345) & 0x7FFFFFFF
        data.append((state >> 16) & 0xFF)

    lines = []
    for offset in range(0, len(data), 16):
        chunk = data[offset:offset + 16]
        address = 0x4000 + offset
        record = bytes([len(chunk), address >> 8, address & 0xFF, 0]) + chunk
        checksum = (-sum(record)) & 0xFF
        lines.append(":" + record.hex().upper() + "%02X" % checksum)
    lines.append(":00000001FF")

    program_sum = sum(data) & 0xFF
    revision = 3
    with open(base + ".pdx", "wb") as f:
        f.write((a.code + "," + a.name + " demonstration project,T6800\r\n").encode("latin-1"))
    with open(base + ".rev", "wb") as f:
        f.write((a.ident + markhex(program_sum) + markhex(revision) + "\r\n").encode("latin-1"))
    with open(base + ".hex", "wb") as f:
        f.write(("\r\n".join(lines) + "\r\n").encode("ascii"))
    with open(base + ".lcf", "wb") as f:
        f.write(("G" + "0" * 34 + "3" + "00" + "0" + "3" + "000%\r\n").encode("ascii"))


if __name__ == "__main__":
    main()
