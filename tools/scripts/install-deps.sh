#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the demo need, if any
# are missing. Safe to run again: it does nothing when all are present.
set -euo pipefail

packages=(
  build-essential cmake clang
  qt6-base-dev qt6-serialport-dev libqt6svg6-dev libgl-dev
  fonts-liberation xvfb xauth imagemagick poppler-utils
  python3 python3-serial
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "Need root (or sudo) to install: ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
