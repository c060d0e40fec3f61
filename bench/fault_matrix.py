#!/usr/bin/env python3
"""Fault matrix: each kestro-cli command against a simulated board that
answers chosen exchanges wrongly, with the board's whole memory compared
before and after.

For every cell it prints the exit code, the registers the command named on
standard error, the registers changed that the command neither meant to
write nor named (must be 0), the state of its output file and the seconds it
took. What a command means to write is read from a fault-free run's byte
trace (every write triplet's address), so nothing here restates the commands.

usage: bench/fault_matrix.py [BIN_DIR] [--only COMMAND] [--markdown]
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

PORT = 91


class Sim:
    def __init__(self, bindir, options, trace=None):
        self.link = os.path.join(bindir, "Support", "COM%d" % PORT)
        if os.path.lexists(self.link):
            os.unlink(self.link)
        args = [os.path.join(bindir, "kestro-boardsim"), "--link", self.link, "--frozen",
                "--linger"]
        if trace:
            args += ["--trace", trace]
        self.p = subprocess.Popen(args + options, stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, text=True, bufsize=1)
        self.pty = self.p.stdout.readline().strip()

    def command(self, line):
        if self.p.poll() is not None:
            return None
        try:
            self.p.stdin.write(line + "\n")
            self.p.stdin.flush()
        except BrokenPipeError:
            return None
        return self.p.stdout.readline().strip()

    def stop(self):
        if self.p.poll() is None:
            try:
                self.p.stdin.write("quit\n")
                self.p.stdin.flush()
            except BrokenPipeError:
                pass
        try:
            self.p.wait(5)
        except subprocess.TimeoutExpired:
            self.p.kill()
        if os.path.lexists(self.link):
            os.unlink(self.link)


def changed_bytes(text):
    if not text or text == "none" or text.startswith("error"):
        return {}
    out = {}
    for item in text.split():
        m = re.match(r"B(\d+):(\d+)>(\d+)", item)
        if m:
            out[int(m.group(1))] = (int(m.group(2)), int(m.group(3)))
    return out


def named_bytes(stderr):
    named = set()
    for line in stderr.splitlines():
        if not re.search(r"not written|may have changed|failed|not read", line):
            continue
        for kind, number in re.findall(r"\b([BWDF])(\d+)\b", line):
            n = int(number)
            if kind == "F":
                named.add(32 + n // 8)
            else:
                named.update(range(n, n + {"B": 1, "W": 2, "D": 4}[kind]))
    return named


def trace_writes(path):
    """Addresses of every write triplet in a trace, the exchange number of the
    first write-mode byte (else of the first mode byte), and the count."""
    lines = [l.split() for l in open(path).read().splitlines() if "->" in l]
    pairs = [(int(l[0], 16), int(l[2], 16) if len(l) > 2 and re.fullmatch("[0-9A-F]{2}", l[2]) else None)
             for l in lines]
    writes = set()
    mode = None
    first_write = first_mode = None
    i = 0
    while i < len(pairs):
        sent, reply = pairs[i]
        if sent == 0xFF and reply == 0x55:
            mode = "await"
        elif mode == "await":
            mode = {1: "read", 2: "write"}.get(sent, "other")
            first_mode = first_mode or i + 1
            if mode == "write":
                first_write = first_write or i + 1
        elif mode == "write" and i + 2 < len(pairs):
            writes.add(pairs[i][0] * 256 + pairs[i + 1][0])
            i += 3
            continue
        i += 1
    return writes, first_write or first_mode, len(pairs)


def cli(bindir, args, timeout=120):
    start = time.monotonic()
    env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
    p = subprocess.run([os.path.join(bindir, "kestro-cli"), "--port", str(PORT)] + args,
                       stdin=subprocess.DEVNULL, capture_output=True, text=True, env=env,
                       timeout=timeout)
    return p.returncode, p.stdout, p.stderr, time.monotonic() - start


def file_state(path):
    try:
        with open(path, "rb") as f:
            data = f.read()
    except OSError:
        return None
    if path.endswith(".hex"):
        # The board's clock (B43008..B43017, record A800H) ticks inside the
        # program range even on a frozen board: it is left out of the match.
        data = b"\n".join(l for l in data.split(b"\n") if not l.startswith(b":10A800"))
    return data


def main():
    argv = [a for a in sys.argv[1:]]
    markdown = "--markdown" in argv
    only = None
    if "--only" in argv:
        only = argv[argv.index("--only") + 1]
        del argv[argv.index("--only"):argv.index("--only") + 2]
    argv = [a for a in argv if a != "--markdown"]
    bindir = os.path.abspath(argv[0] if argv else os.path.join(
        os.path.dirname(__file__), "..", "build", "bin"))
    work = tempfile.mkdtemp(prefix="kestro-matrix-")
    samples = os.path.join(bindir, "samples")
    for name in os.listdir(samples):
        shutil.copy(os.path.join(samples, name), work)
    setup = os.path.join(work, "board.sdt")
    sim = Sim(bindir, [])
    cli(bindir, ["upload", "all", setup])
    sim.stop()
    # A download that changes what the board holds: the set-up values moved.
    changed_setup = os.path.join(work, "changed.sdt")
    shutil.copy(setup, changed_setup)

    def read_back(name):
        return ["program-upload", os.path.join(work, name + ".pdx")]

    with open(os.path.join(work, "BACK.pdx"), "w") as f:
        f.write("D,read back\r\n")

    commands = [
        ("write W1092 777", ["write", "W1092", "777"], None),
        ("read W98 B52 D1100", ["read", "W98", "B52", "D1100"], None),
        ("upload all", ["upload", "all", os.path.join(work, "up.sdt")],
         os.path.join(work, "up.sdt")),
        ("download all", ["download", "all", changed_setup], None),
        ("board --set-clock", ["board", "--set-clock"], None),
        ("board --reset-faults --address 5", ["board", "--reset-faults", "--address", "5"], None),
        ("pls setpoint 3 100 200", ["pls", "setpoint", "3", "100", "200"], None),
        ("program-download", ["program-download", os.path.join(work, "SAMPLE.pdx"), "--yes"],
         None),
        ("program-upload", read_back("BACK"), os.path.join(work, "BACK.hex")),
    ]
    faults = [["--wrong-echo-every", "5"], ["--wrong-echo-every", "7"],
              ["--wrong-echo-every", "13"], ["--garbage-every", "7"], ["--garbage-every", "13"],
              ["--garbage-every", "50"], ["--misheard-every", "7"]]

    rows = []
    total_unnamed = 0
    for title, args, output in commands:
        if only and only not in title:
            continue
        trace = os.path.join(work, "clean.trace")
        sim = Sim(bindir, [], trace=trace)
        sim.command("snapshot")
        if output and os.path.exists(output):
            os.unlink(output)
        code, _, err, secs = cli(bindir, args)
        clean_changes = changed_bytes(sim.command("changes"))
        sim.stop()
        clean_output = file_state(output) if output else None
        intended, first, count = trace_writes(trace)
        intended |= set(clean_changes)
        cells = list(faults)
        if first:
            for k, name in ((-1, "handshake FF"), (0, "handshake mode"), (1, "byte 1"),
                            (2, "byte 2"), (3, "byte 3")):
                cells.append((["--wrong-echo-at", str(first + k)], name))
        cells.append(["--close-after", "3"])
        cells.append(["--close-after", str(max(4, count * 2 // 3))])
        cells.append(["--silent"])
        rows.append((title, "none", code, "", 0, "verified" if output else "-", secs))
        for cell in cells:
            options, label = (cell if isinstance(cell, tuple) else (cell, " ".join(cell)))
            if isinstance(cell, tuple):
                label = "%s (%s)" % (" ".join(options), label)
            sim = Sim(bindir, options)
            sim.command("snapshot")
            # An upload starts from a good file; a failed one must leave it.
            sentinel = clean_output if output and output.endswith(".sdt") else \
                b"sentinel: not written by the command\n"
            if output:
                with open(output, "wb") as f:
                    f.write(sentinel)
            code, _, err, secs = cli(bindir, args)
            changes = changed_bytes(sim.command("changes") if sim.p.poll() is None else None)
            sim.stop()
            named = named_bytes(err)
            unnamed = sorted(a for a in changes if a not in intended and a not in named)
            total_unnamed += len(unnamed)
            state = "-"
            if output:
                now = file_state(output)
                if code == 0 and now == clean_output:
                    state = "verified"
                elif code != 0 and now == sentinel:
                    state = "unchanged"
                elif code == 0:
                    state = "WRONG DATA"
                else:
                    state = "HALF-WRITTEN"
            names = sorted(named)
            named_text = ("%d bytes" % len(names)) if len(names) > 6 else \
                " ".join("B%d" % a for a in names)
            rows.append((title, label, code, named_text,
                         len(unnamed) if not unnamed else "%d: %s" % (
                             len(unnamed), " ".join("B%d" % a for a in unnamed[:6])),
                         state, secs))
    shutil.rmtree(work, ignore_errors=True)

    if markdown:
        print("| command | fault | exit | named | changed, not meant, not named | output | s |")
        print("|---|---|---|---|---|---|---|")
        for r in rows:
            print("| %s | %s | %s | %s | %s | %s | %.1f |" % r)
    else:
        for r in rows:
            print("%-34s %-40s exit %-3s named %-24s unnamed %-6s out %-12s %5.1f s" % r)
    print("cells: %d, registers changed but not meant and not named: %d" % (
        len(rows), total_unnamed))
    return 1 if total_unnamed else 0


if __name__ == "__main__":
    sys.exit(main())
