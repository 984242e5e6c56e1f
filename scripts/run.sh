#!/usr/bin/env bash
# Installs what is missing, builds, and starts the tool.
#  - A tablet of vendor 5E1B attached: slateprobe as it is.
#  - None: slateprobe on a virtual signature pad and a stand-in fingerprint
#    scanner (build/demo/slateprobe-demo; options go to it, e.g. --model KV-A1,
#    or --replay FILE to play a recording of slateprobe-cli record).
#  - No display: the same under Xvfb; Open is pressed for you, and once the
#    signature is in, a screenshot of the window is saved and its path printed.
set -euo pipefail
# --replay FILE (a recording played on a virtual tablet) is taken relative to
# where this script was started.
args=()
while [ $# -gt 0 ]; do
  if [ "$1" = --replay ] && [ $# -gt 1 ]; then args+=("$1" "$(realpath "$2")"); shift 2
  else args+=("$1"); shift; fi
done
set -- "${args[@]}"
cd "$(dirname "$0")/.."
root=$PWD

bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)"

source scripts/demo-x.sh
if [ ! -x "$program_bin" ]; then
  echo "run: the slateprobe program is not part of this build yet; the libraries and their tests are."
  exit 0
fi
# The program writes its message file (pxtest.log) where it starts.
mkdir -p build/run

if "$launcher_bin" --real-tablet; then
  cd build/run
  exec "$root/$program_bin"
fi

if [ -n "${DISPLAY:-}" ]; then
  echo "run: no tablet attached; slateprobe starts on a virtual one. Press Open (打开设备) and watch it sign."
  cd build/run
  exec "$root/$launcher_bin" "$@"
fi

echo "run: no tablet and no display; running on a virtual tablet under Xvfb."
work=$(mktemp -d /tmp/slateprobe-run.XXXXXX)
trap 'stop_demo; rm -rf "$work"' EXIT
start_xvfb
start_demo "$@"
wait_line "press Open" 30
wid=$(main_window)
echo "run: pressing Open"
click "$wid" "${open_xy[@]}"
wait_line "signature signed" 60
sleep 0.5   # the last repaint
mkdir -p build/screenshots
shot="$root/build/screenshots/slateprobe-demo.png"
import -window "$wid" "$shot"
stop_demo
grep -v '^slateprobe-demo: ended' "$work/demo.log" | grep '^slateprobe-demo:' || true
echo "run: screenshot of the signed window: $shot"
