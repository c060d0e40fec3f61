#!/usr/bin/env bash
# Installs the Debian packages the build, the tests, the package and the demo
# need, if any are missing. Safe to run again: it does nothing (and asks for
# nothing) when all are present.
set -euo pipefail

packages=(
  build-essential cmake ccache clang
  qt6-base-dev qt6-serialport-dev qt6-svg-dev qt6-charts-dev libqt6opengl6-dev libqt6sql6-sqlite libgl-dev qt6-qpa-plugins
  fonts-liberation xvfb xauth imagemagick poppler-utils
  python3 python3-serial
  dpkg-dev file gcovr
  libmosquitto-dev mosquitto mosquitto-clients
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Missing packages: ${missing[*]}"
sudo=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "Installing them needs root. As root, run:" >&2
    echo "  apt-get update && apt-get install -y ${missing[*]}" >&2
    exit 1
  fi
  # Never wait for a password nobody can type (CI, no terminal).
  if [ ! -t 0 ] && ! sudo -n true 2>/dev/null; then
    echo "Installing them needs sudo and there is no terminal to ask for a password. Run:" >&2
    echo "  sudo apt-get update && sudo apt-get install -y ${missing[*]}" >&2
    exit 1
  fi
  sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
if ! "${sudo[@]}" apt-get update -qq ||
   ! "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"; then
  echo "Could not install the packages. Run:" >&2
  echo "  sudo apt-get update && sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi
