#!/usr/bin/env bash
# Installs every Debian package the build, the tests, the benchmarks and the
# tool need. Idempotent and quiet when everything is already there.
set -euo pipefail

PACKAGES=(
  # build
  build-essential cmake ninja-build pkg-config git
  # libraries
  qtbase5-dev qtbase5-dev-tools libusb-1.0-0-dev
  # tests, benchmarks, fuzzing
  libgtest-dev libgmock-dev libbenchmark-dev clang libclang-rt-14-dev
  umockdev libumockdev-dev libglib2.0-dev python3 python3-pil libpixman-1-dev
  # slateprobe-cli check: its JUnit reports read back as test stations read them
  python3-junitparser
  # brush benchmarks compare with libmypaint
  libmypaint-dev
  # windows under test: several screens, Chinese glyphs, screenshots
  xserver-xorg-core xserver-xorg-video-dummy x11-xserver-utils xvfb xauth
  fonts-wqy-microhei
  # the demo run with no display: press Open, save a screenshot
  xdotool imagemagick
  # packaging
  lintian desktop-file-utils
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
