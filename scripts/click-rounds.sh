#!/usr/bin/env bash
# Drives the real window under Xvfb by clicks, as an operator would over a
# long day: random rounds of Open, Close and the fingerprint test (its dialog
# shut with Escape) on a virtual tablet, and prints the program's resident
# memory as it goes. Uses the existing build (build/ by default).
#
#   scripts/click-rounds.sh [--rounds N] [--model KV-C1] [--seed S] [--every K] [--build DIR]
#
# Prints "round R rss KB" every K rounds (default 50) and at the last, then
# "rss growth from round K to round N: X KB".
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

rounds=700
model=KV-C1
seed=1
every=50
build=build
while [ $# -gt 0 ]; do
  case "$1" in
    --rounds) rounds=$2; shift 2 ;;
    --model) model=$2; shift 2 ;;
    --seed) seed=$2; shift 2 ;;
    --every) every=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    *) echo "usage: $0 [--rounds N] [--model M] [--seed S] [--every K] [--build DIR]" >&2; exit 2 ;;
  esac
done

source scripts/demo-x.sh
launcher_bin=$build/demo/slateprobe-demo
for bin in "$launcher_bin" "$build/app/slateprobe"; do
  [ -x "$bin" ] || { echo "click-rounds: $bin is missing; build the slateprobe and slateprobe-demo targets" >&2; exit 2; }
done
mkdir -p "$root/build/run"

work=$(mktemp -d /tmp/slateprobe-rounds.XXXXXX)
trap 'stop_demo; rm -rf "$work"' EXIT
start_xvfb
start_demo --model "$model" --program "$root/$build/app/slateprobe"
wait_line "press Open" 30
wid=$(main_window)
pid=$(xdotool getwindowpid "$wid")
close_xy=(555 150)

rss() { awk '/^VmRSS:/ {print $2}' "/proc/$pid/status"; }

# Lets the program work off what the last click started.
settle() { sleep "${1:-0.15}"; }

# Shuts whatever modal window is up (a box or the fingerprint dialog) with
# Escape; the title is enough to find it.
escape_modals() {
  local w
  for _ in 1 2 3; do
    w=$(xdotool search --onlyvisible --name '^(SlateProbe|指纹|指纹采集)$' 2>/dev/null | head -1) || true
    [ -n "$w" ] || return 0
    # A real key press to the focused window: an Escape sent to the window
    # (key --window) left the next fingerprint dialog shutting at once.
    xdotool windowfocus --sync "$w" 2>/dev/null || true
    xdotool key Escape
    escapes=$((escapes + 1))
    settle 0.2
  done
}

RANDOM=$seed
first=
escapes=0
counts=(0 0 0)
for ((r = 1; r <= rounds; r++)); do
  kill -0 "$pid" 2>/dev/null || { echo "click-rounds: the program ended at round $r" >&2; exit 1; }
  action=$((RANDOM % 3))
  counts[action]=$((counts[action] + 1))
  case $action in
    0) click "$wid" "${open_xy[@]}"
       settle $((RANDOM % 2 ? 1 : 0)).$((RANDOM % 5))   # sometimes long enough to sign
       ;;
    1) click "$wid" "${close_xy[@]}"
       settle
       ;;
    2) click "$wid" "${finger_xy[@]}"
       # Wait for the dialog (or a box), give the worker a moment, Escape.
       xdotool search --sync --onlyvisible --name '^(SlateProbe|指纹|指纹采集)$' >/dev/null 2>&1 &
       waiter=$!
       for _ in $(seq 20); do kill -0 "$waiter" 2>/dev/null || break; sleep 0.1; done
       kill "$waiter" 2>/dev/null || true
       wait "$waiter" 2>/dev/null || true
       settle 0.$((RANDOM % 5))
       ;;
  esac
  escape_modals
  [ -z "${VERBOSE:-}" ] || echo "round $r action $action escapes $escapes"
  if ((r % every == 0 || r == rounds)); then
    kb=$(rss)
    echo "round $r rss $kb KB"
    [ -n "$first" ] || first=$kb
  fi
done
echo "clicks: ${counts[0]} Open, ${counts[1]} Close, ${counts[2]} fingerprint; $escapes windows shut with Escape"
echo "rss growth from round $every to round $rounds: $((kb - first)) KB"
