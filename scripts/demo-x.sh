# Shell helpers for driving the demo run on an X server of its own; sourced by
# run.sh and screenshots.sh. Needs $root (the source tree) and $work (a
# scratch folder removed by the caller).

launcher_bin=build/demo/slateprobe-demo
program_bin=build/app/slateprobe
# Where the Open and fingerprint buttons sit in the main window (their centres).
open_xy=(555 100)
finger_xy=(555 200)

# Starts Xvfb with one screen on a free display and exports DISPLAY.
start_xvfb() {
  x_runtime
  Xvfb -displayfd 3 -screen 0 "${1:-1280x1024x24}" -nolisten tcp 3>"$work/display" 2>"$work/x.log" &
  x_pid=$!
  wait_display
}

# Starts Xorg with the dummy driver and two outputs side by side: a
# 1920 x 1080 primary on the left, a 1280 x 800 display tablet on the right.
start_xorg_two_screens() {
  x_runtime
  mkdir -p "$work/xorg.d"
  cat >"$work/xorg.conf" <<'CONF'
Section "ServerFlags"
  Option "AutoAddDevices" "false"
  Option "DontVTSwitch" "true"
EndSection
Section "Device"
  Identifier "dummy"
  Driver "dummy"
  VideoRam 262144
  Option "Monitor-DUMMY0" "left"
  Option "Monitor-DUMMY1" "right"
EndSection
Section "Monitor"
  Identifier "left"
  Modeline "1920x1080" 148.50 1920 2008 2052 2200 1080 1084 1089 1125 +hsync +vsync
  Option "PreferredMode" "1920x1080"
  Option "Position" "0 0"
  Option "Primary" "true"
EndSection
Section "Monitor"
  Identifier "right"
  Modeline "1280x800" 83.50 1280 1352 1480 1680 800 803 809 831 -hsync +vsync
  Option "PreferredMode" "1280x800"
  Option "Position" "1920 0"
  Option "Enable" "true"
EndSection
Section "Screen"
  Identifier "screen"
  Device "dummy"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Virtual 3200 1080
  EndSubSection
EndSection
CONF
  Xorg -config "$work/xorg.conf" -configdir "$work/xorg.d" -logfile "$work/xorg.log" -nolisten tcp -noreset \
    -displayfd 3 3>"$work/display" 2>"$work/x.log" &
  x_pid=$!
  wait_display
}

# Qt wants a private runtime folder.
x_runtime() {
  export XDG_RUNTIME_DIR="$work/xdg"
  mkdir -p -m 0700 "$XDG_RUNTIME_DIR"
}

wait_display() {
  for _ in $(seq 100); do
    [ -s "$work/display" ] && break
    sleep 0.1
  done
  if [ ! -s "$work/display" ]; then
    echo "run: the X server did not start:" >&2
    cat "$work/x.log" >&2
    return 1
  fi
  export DISPLAY=":$(head -1 "$work/display")"
}

# Starts the launcher in the background, its output in $work/demo.log.
start_demo() {
  (cd "$root/build/run" && exec "$root/$launcher_bin" "$@") >"$work/demo.log" 2>&1 &
  demo_pid=$!
}

# Waits (at most $2 seconds) for a line of the launcher's output.
wait_line() {
  for _ in $(seq $((${2:-60} * 10))); do
    grep -q "$1" "$work/demo.log" && return 0
    kill -0 "$demo_pid" 2>/dev/null || break
    sleep 0.1
  done
  echo "run: no \"$1\" from the demo; its output:" >&2
  cat "$work/demo.log" >&2
  return 1
}

# Prints the id of the main window once it shows (title ends in V1.51).
main_window() {
  local wid
  wid=$(timeout 60 xdotool search --sync --onlyvisible --name 'V1\.51$' 2>/dev/null | head -1) || true
  if [ -z "$wid" ]; then
    echo "run: the main window did not show; the demo's output:" >&2
    cat "$work/demo.log" >&2
    return 1
  fi
  sleep 0.5   # first paint
  echo "$wid"
}

# Clicks at a point of a window.
click() {
  xdotool mousemove --window "$1" "$2" "$3" click 1
}

# Ends the launcher (which ends the program) and the X server.
stop_demo() {
  if [ -n "${demo_pid:-}" ] && kill -0 "$demo_pid" 2>/dev/null; then
    kill -TERM "$demo_pid"
    wait "$demo_pid" 2>/dev/null || true
  fi
  demo_pid=
  if [ -n "${x_pid:-}" ]; then
    kill -TERM "$x_pid" 2>/dev/null || true
    wait "$x_pid" 2>/dev/null || true
  fi
  x_pid=
}
