#!/usr/bin/env bash
# Time from process start to the main window shown, build/app/slateprobe
# against a bare Qt Widgets window of the same size and font
# (app_bare_window), in turns, RUNS runs each (default 20), under a private
# Xvfb. Run from the repository root after a build:
#   bash bench/app/startup.sh [BUILD_DIR [RUNS]]
set -euo pipefail
build=${1:-build}
runs=${2:-20}
work=$(mktemp -d)
trap 'kill "$xvfb" 2>/dev/null; rm -rf "$work"' EXIT
exec 3>"$work/display"
Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
for _ in $(seq 100); do [ -s "$work/display" ] && break; sleep 0.05; done
export DISPLAY=":$(head -1 "$work/display")"
cd "$work"  # the program writes pxtest.log into its working directory
"$OLDPWD/$build/bench/app/app_startup_time" "$runs" "$OLDPWD/$build/app/slateprobe" \
  "$OLDPWD/$build/bench/app/app_bare_window"
