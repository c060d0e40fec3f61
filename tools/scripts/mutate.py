#!/usr/bin/env python3
"""Mutation run: applies each mutant of mutants.txt to the source, rebuilds the
tests of the mutated file's area in an instrumented build folder, runs them and
records whether they noticed (killed), did not (survived), or the mutant did
not build. The source file is restored after every mutant, on Ctrl-C too.

Usage: tools/scripts/mutate.sh [--build-dir DIR] [--only N,M-K] [--sample N --seed S]
                               [--list] [--results FILE]
"""
import argparse
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

TOP = Path(__file__).resolve().parents[2]
BACKUP_SUFFIX = '.mutate-original'
# The ctest label of the tests that answer for a product folder.
LABELS = {'src/comm/': 'comm', 'src/machine/': 'machine', 'src/displays/': 'displays',
          'src/app/': 'app', 'src/targetboard/': 'targetboard', 'src/report/': 'report',
          'tools/boardsim/': 'boardsim', 'tools/cli/': 'e2e'}
# Programs the tests of an area start; only these are relinked per mutant.
PROGRAMS = {'app': ['kestro-boardsim'], 'displays': ['kestro-boardsim'],
            'targetboard': ['kestro-boardsim'], 'boardsim': ['kestro-boardsim'],
            'e2e': ['kestro-cli', 'kestro-boardsim']}


class Mutant:
    def __init__(self, number, path, find, replace, occurrence):
        self.number, self.path, self.find, self.replace = number, path, find, replace
        self.occurrence = occurrence

    def label(self):
        return next(l for prefix, l in LABELS.items() if self.path.startswith(prefix))

    def describe(self):
        return f'M{self.number:03d} {self.path}: "{self.find}" -> "{self.replace}"' + (
            f' (#{self.occurrence})' if self.occurrence > 1 else '')


def read_mutants(list_file):
    mutants = []
    for line in Path(list_file).read_text().splitlines():
        if not line.strip() or line.lstrip().startswith('#'):
            continue
        fields = [f.strip() for f in line.split(' @@ ')]
        if len(fields) not in (3, 4):
            sys.exit(f'bad mutant line: {line}')
        occurrence = int(fields[3]) if len(fields) == 4 else 1
        mutants.append(Mutant(len(mutants) + 1, fields[0], fields[1], fields[2], occurrence))
    return mutants


def mutated_text(text, m):
    at = -1
    for _ in range(m.occurrence):
        at = text.find(m.find, at + 1)
        if at < 0:
            return None
    return text[:at] + m.replace + text[at + len(m.find):]


def restore_leftovers():
    # A run killed hard leaves its backup beside the file: put it back first.
    for backup in [*TOP.glob('src/**/*' + BACKUP_SUFFIX), *TOP.glob('tools/**/*' + BACKUP_SUFFIX)]:
        original = Path(str(backup)[:-len(BACKUP_SUFFIX)])
        shutil.copy2(backup, original)
        backup.unlink()
        print(f'restored {original.relative_to(TOP)} from an interrupted run')


def run(cmd, timeout=None, **kw):
    # Own process group, so a time-out ends the whole test run.
    p = subprocess.Popen(cmd, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                         start_new_session=True, **kw)
    try:
        out, _ = p.communicate(timeout=timeout)
        return p.returncode, out
    except subprocess.TimeoutExpired:
        os.killpg(p.pid, signal.SIGKILL)
        p.communicate()
        return None, ''
    except BaseException:
        os.killpg(p.pid, signal.SIGKILL)
        p.communicate()
        raise


def configure(build):
    if (build / 'CMakeCache.txt').exists():
        return
    args = ['cmake', '-S', str(TOP), '-B', str(build), '-DKESTRO_COVERAGE=ON',
            '-DKESTRO_BUILD_BENCH=OFF']
    if shutil.which('ccache'):
        args.append('-DCMAKE_CXX_COMPILER_LAUNCHER=ccache')
    subprocess.run(args, check=True, stdout=subprocess.DEVNULL)


def label_tests(build, label):
    rc, out = run(['ctest', '-N', '-L', f'^{label}$'], cwd=build)
    return re.findall(r'Test\s+#\d+: (\S+)', out)


def build_targets(build, targets, timeout):
    cmd = ['cmake', '--build', str(build), '-j', str(os.cpu_count() or 1)]
    for t in targets:
        cmd += ['--target', t]
    rc, out = run(cmd, timeout=timeout)
    return rc == 0, out


def run_label(build, label, timeout):
    env = dict(os.environ, QT_QPA_PLATFORM='offscreen')
    start = time.monotonic()
    rc, out = run(['ctest', '-L', f'^{label}$', '--stop-on-failure', '-j2'], timeout=timeout,
                  cwd=build, env=env)
    return rc, time.monotonic() - start, out


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--build-dir', default=str(TOP / 'build-coverage'))
    ap.add_argument('--list-file', default=str(TOP / 'tools/scripts/mutants.txt'))
    ap.add_argument('--only', help='mutant numbers, e.g. 3,7,10-12')
    ap.add_argument('--sample', type=int, help='run a seeded random sample of this size')
    ap.add_argument('--seed', type=int, default=22)
    ap.add_argument('--list', action='store_true', help='print the mutants and stop')
    ap.add_argument('--results', help='file for one line per mutant (default: in the build dir)')
    args = ap.parse_args()

    mutants = read_mutants(args.list_file)
    if args.only:
        wanted = set()
        for part in args.only.split(','):
            a, _, b = part.partition('-')
            wanted.update(range(int(a), int(b or a) + 1))
        mutants = [m for m in mutants if m.number in wanted]
    if args.sample:
        mutants = sorted(random.Random(args.seed).sample(mutants, min(args.sample, len(mutants))),
                         key=lambda m: m.number)
    if args.list:
        for m in mutants:
            print(m.describe())
        return 0

    restore_leftovers()
    build = Path(args.build_dir).resolve()
    results_file = Path(args.results) if args.results else build / 'mutate-results.txt'
    configure(build)
    print('building the unmutated tree ...', flush=True)
    ok, out = build_targets(build, [], None)
    if not ok:
        print(out[-3000:])
        sys.exit('the unmutated tree does not build')

    # The unmutated tests must pass; their time sets each mutant's limit.
    labels = sorted({m.label() for m in mutants})
    limits, targets = {}, {}
    for label in labels:
        targets[label] = label_tests(build, label) + PROGRAMS.get(label, [])
        rc, seconds, out = run_label(build, label, None)
        if rc != 0:
            print(out[-3000:])
            sys.exit(f'the unmutated "{label}" tests fail: fix them first')
        limits[label] = 3 * seconds + 30
        print(f'tests "{label}": {seconds:.0f} s unmutated, limit {limits[label]:.0f} s', flush=True)

    signal.signal(signal.SIGTERM, lambda *_: (_ for _ in ()).throw(KeyboardInterrupt))
    outcome = {}
    results_file.parent.mkdir(parents=True, exist_ok=True)
    with open(results_file, 'w') as log:
        for m in mutants:
            source = TOP / m.path
            text = source.read_text()
            changed = mutated_text(text, m)
            if changed is None:
                outcome[m.number] = 'not applied'
            else:
                backup = Path(str(source) + BACKUP_SUFFIX)
                shutil.copy2(source, backup)
                started = time.monotonic()
                try:
                    source.write_text(changed)
                    built, out = build_targets(build, targets[m.label()], 900)
                    if not built:
                        outcome[m.number] = 'did not build'
                    else:
                        rc, seconds, out = run_label(build, m.label(), limits[m.label()])
                        outcome[m.number] = ('killed (time limit)' if rc is None else
                                             'killed' if rc != 0 else 'survived')
                finally:
                    shutil.copy2(backup, source)
                    backup.unlink()
                    # The restored file must look changed to the build.
                    os.utime(source)
                took = time.monotonic() - started
            line = f'{outcome[m.number]:<20} {m.describe()}'
            print(line + (f'  [{took:.0f} s]' if changed is not None else ''), flush=True)
            log.write(line + '\n')
            log.flush()

    applied = [n for n, o in outcome.items() if o not in ('not applied', 'did not build')]
    killed = [n for n in applied if outcome[n].startswith('killed')]
    print()
    print(f'mutants: {len(mutants)}, applied and built: {len(applied)}, killed: {len(killed)}'
          f', kill rate: {100.0 * len(killed) / max(1, len(applied)):.1f}%')
    for status in ('not applied', 'did not build'):
        n = sum(1 for o in outcome.values() if o == status)
        if n:
            print(f'{status}: {n}')
    survivors = [m for m in mutants if outcome.get(m.number) == 'survived']
    if survivors:
        print('survivors:')
        for m in survivors:
            print('  ' + m.describe())
    print(f'results in {results_file}')
    return 0


if __name__ == '__main__':
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit('interrupted; the source is restored')
