#!/usr/bin/env python3
"""Counts non-blank, non-comment lines of the C, C++, Python and shell files
git tracks, tests/ against src/ + tools/, in total and by area.

Usage: tools/scripts/count-lines.py [--files]
"""
import re
import subprocess
import sys
from pathlib import Path

EXTS = {'.c', '.cc', '.cpp', '.h', '.hpp', '.py', '.sh'}
# Test folders and the product folders they answer for.
AREAS = {
    'comm': ['src/comm'],
    'machine': ['src/machine'],
    'app': ['src/app'],
    'displays': ['src/displays'],
    'targetboard': ['src/targetboard'],
    'report': ['src/report'],
    'boardsim': ['tools/boardsim'],
    'e2e': ['tools/cli'],
}


def code_lines(path):
    text = Path(path).read_text(errors='replace')
    hash_comments = path.endswith(('.py', '.sh'))
    count = 0
    in_block = False
    for line in text.splitlines():
        s = line.strip()
        if hash_comments:
            if s and not s.startswith('#'):
                count += 1
            continue
        if in_block:
            end = s.find('*/')
            if end < 0:
                continue
            s = s[end + 2:].strip()
            in_block = False
        while s.startswith('/*'):
            end = s.find('*/', 2)
            if end < 0:
                in_block = True
                s = ''
                break
            s = s[end + 2:].strip()
        if s and not s.startswith('//'):
            count += 1
    return count


def main():
    top = subprocess.run(['git', 'rev-parse', '--show-toplevel'], capture_output=True,
                         text=True, check=True).stdout.strip()
    files = subprocess.run(['git', '-C', top, 'ls-files'], capture_output=True, text=True,
                           check=True).stdout.split()
    files = [f for f in files if Path(f).suffix in EXTS]
    per = {f: code_lines(str(Path(top) / f)) for f in files}
    tests = sum(n for f, n in per.items() if f.startswith('tests/'))
    product = sum(n for f, n in per.items() if f.startswith(('src/', 'tools/')))
    print(f'{"area":<12}{"tests":>8}{"product":>9}{"ratio":>7}')
    for area, dirs in AREAS.items():
        t = sum(n for f, n in per.items() if f.startswith(f'tests/{area}/'))
        p = sum(n for f, n in per.items() if f.startswith(tuple(d + '/' for d in dirs)))
        print(f'{area:<12}{t:>8}{p:>9}{t / p if p else 0:>7.2f}')
    shared = sum(n for f, n in per.items() if f.startswith('tests/fakes/') or f.count('/') == 1
                 and f.startswith('tests/'))
    print(f'{"(fakes)":<12}{shared:>8}')
    print(f'{"all":<12}{tests:>8}{product:>9}{tests / product:>7.2f}')
    if '--files' in sys.argv:
        for f, n in sorted(per.items(), key=lambda kv: kv[1]):
            print(n, f)


if __name__ == '__main__':
    main()
