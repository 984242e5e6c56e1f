#!/usr/bin/env bash
# Makes the README's screenshots in docs/screenshots/ from the demo run, on X
# servers of its own: the main window signed on a pad and the fingerprint
# test (Xvfb), and a display tablet's signature dialog on the second of two
# screens (Xorg with the dummy driver). Run after a build (run.sh or test.sh).
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
source scripts/demo-x.sh
unset DISPLAY
out=$root/docs/screenshots
mkdir -p "$out" build/run
work=$(mktemp -d /tmp/slateprobe-shots.XXXXXX)
trap 'stop_demo; rm -rf "$work"' EXIT

# Prints the id of a visible window other than $1, once one shows.
other_window() {
  for _ in $(seq 100); do
    for w in $(xdotool search --onlyvisible --name '.' 2>/dev/null); do
      [ "$w" != "$1" ] && { echo "$w"; return 0; }
    done
    sleep 0.1
  done
  echo "screenshots: no second window" >&2
  return 1
}

echo "== main window and fingerprint test (KV-C1)"
start_xvfb 1280x1024x24
start_demo --model KV-C1
wait_line "press Open" 30
wid=$(main_window)
click "$wid" "${open_xy[@]}"
wait_line "signature signed" 60
sleep 0.5
import -window "$wid" "$out/main-window.png"
click "$wid" "${finger_xy[@]}"
dlg=$(other_window "$wid")
sleep 3   # capture until a frame of good quality is shown
import -window "$dlg" "$out/fingerprint-dialog.png"
stop_demo

echo "== signature dialog (KV-A1) on the second screen"
start_xorg_two_screens
start_demo --model KV-A1
wait_line "press Open" 30
wid=$(main_window)
click "$wid" "${open_xy[@]}"
wait_line "signature signed" 60
sleep 0.5
import -window root -crop 1280x800+1920+0 +repage "$work/dialog.png"
# Half size keeps the README light; the full one is what the tablet shows.
convert "$work/dialog.png" -resize 50% "$out/signature-dialog.png"
stop_demo
ls -l "$out"
