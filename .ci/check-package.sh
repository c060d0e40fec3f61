#!/usr/bin/env bash
# Builds the Debian package from a built tree, installs it, and uses the
# installed programs as an ordinary user: version, port listing, a port
# assigned to the board simulator and one register read. Checks that nothing
# was written outside that user's home, then removes the package.
#
#   .ci/check-package.sh [BUILD_DIR]      (needs root to install)
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$top/build}" && pwd)

rm -f "$build"/kestro_*.deb
(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/kestro_*.deb)
echo "Package: $deb ($(du -h "$deb" | cut -f1))"
if dpkg-deb -c "$deb" | grep -E '/(test_|bench_)[^/]*$'; then
  echo "FAIL: test or benchmark programs in the package" >&2
  exit 1
fi
if [ "$(id -u)" -ne 0 ]; then
  echo "Not root: the package is built but not installed."
  exit 0
fi

dpkg -i "$deb" || apt-get install -f -y -qq --no-install-recommends
cleanup() { dpkg -r kestro >/dev/null || true; }
trap cleanup EXIT

user=kestrotest
id -u "$user" >/dev/null 2>&1 || useradd -m "$user"
home=$(getent passwd "$user" | cut -d: -f6)
rm -rf "$home/.config/kestro"
marker=$(mktemp)
installed=$(find /usr/lib/kestro | sort)

runuser -u "$user" -- env -i HOME="$home" PATH=/usr/bin:/bin LANG=C.UTF-8 bash -s <<'USER'
set -euo pipefail
cd "$HOME"
kestro --version
kestro-cli --version | grep -qx 'kestro-cli 2.1.3'
kestro-boardsim --version
kestro-cli ports
# The board simulator stands in for a board on a pseudo-terminal; the user
# points port 1 at it, as for a USB adapter.
coproc SIM { exec kestro-boardsim; }
trap 'echo quit >&"${SIM[1]}" 2>/dev/null || true; wait "$SIM_PID" 2>/dev/null || true' EXIT
read -r pty <&"${SIM[0]}"
kestro-cli ports --assign 1 "$pty"
value=$(kestro-cli read B52)
echo "B52 = $value"
[[ "$value" =~ ^[0-9]+$ ]]
test -L "$HOME/.config/kestro/COM1"
test -f "$HOME/.config/kestro/RSPort.cfg"
USER

# Nothing of the user's outside the home, nothing new beside the programs.
stray=$(find / -xdev \( -path /proc -o -path /sys -o -path "$home" \) -prune -o \
          -user "$user" -newer "$marker" -print 2>/dev/null || true)
rm -f "$marker"
if [ -n "$stray" ]; then
  echo "FAIL: written outside $home:" >&2
  echo "$stray" >&2
  exit 1
fi
dpkg --verify kestro
after=$(find /usr/lib/kestro | sort)
if [ "$after" != "$installed" ]; then
  echo "FAIL: the installed folder changed:" >&2
  diff <(echo "$installed") <(echo "$after") >&2 || true
  exit 1
fi
if [ -f /usr/share/man/man1/kestro-cli.1.gz ] && command -v man >/dev/null; then
  man -P cat kestro-cli | grep -q 'kestro-cli'
fi
echo "Installed package checked."
