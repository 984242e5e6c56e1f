#!/usr/bin/env bash
# with-xorg.sh WxH[,WxH...] COMMAND...: runs COMMAND with DISPLAY on a private
# Xorg (dummy video driver) whose screens stand left to right, the first one
# primary. -displayfd picks a free display number, so tests run side by side;
# the server ends with the command.
set -u
screens=${1//,/ }
shift
dir=$(mktemp -d /tmp/sp-xorg-XXXXXX)
xorg=
trap '[ -n "$xorg" ] && kill $xorg && wait $xorg; rm -rf "$dir"' EXIT
modeline() {  # standard 60 Hz timings of the sizes the tests use
    case $1 in
    1920x1080) echo "148.50 1920 2008 2052 2200 1080 1084 1089 1125 +hsync +vsync" ;;
    1280x800) echo "83.50 1280 1352 1480 1680 800 803 809 831 +hsync +vsync" ;;
    1024x768) echo "65.00 1024 1048 1184 1344 768 771 777 806 -hsync -vsync" ;;
    *) echo "with-xorg.sh: no mode for $1" >&2; exit 2 ;;
    esac
}
{
    printf 'Section "ServerFlags"\n  Option "AutoAddDevices" "false"\nEndSection\n'
    printf 'Section "Device"\n  Identifier "dev"\n  Driver "dummy"\n  VideoRam 262144\n'
    i=0
    for s in $screens; do printf '  Option "Monitor-DUMMY%d" "m%d"\n' $i $i; i=$((i + 1)); done
    printf 'EndSection\n'
    i=0 x=0 h=0
    for s in $screens; do
        [ $i = 0 ] && on='"Primary" "true"' || on='"Enable" "true"'
        printf 'Section "Monitor"\n  Identifier "m%d"\n  Modeline "%s" %s\n  Option "PreferredMode" "%s"\n' \
            $i "$s" "$(modeline "$s")" "$s"
        printf '  Option "Position" "%d 0"\n  Option %s\nEndSection\n' $x "$on"
        x=$((x + ${s%x*})) i=$((i + 1))
        [ "${s#*x}" -gt $h ] && h=${s#*x}
    done
    printf 'Section "Screen"\n  Identifier "s"\n  Device "dev"\n  Monitor "m0"\n'
    printf '  SubSection "Display"\n    Virtual %d %d\n  EndSubSection\nEndSection\n' $x $h
} >"$dir/xorg.conf" || exit 2
mkdir "$dir/conf.d"
Xorg -config "$dir/xorg.conf" -configdir "$dir/conf.d" -logfile "$dir/Xorg.log" -nolisten tcp -noreset \
    -displayfd 3 3>"$dir/display" </dev/null >/dev/null 2>&1 &
xorg=$!
for _ in $(seq 100); do
    grep -q '^[0-9]*$' "$dir/display" 2>/dev/null && [ "$(wc -l <"$dir/display")" -ge 1 ] && break
    sleep 0.1
done
number=$(head -1 "$dir/display")
if [ -z "$number" ]; then
    echo "Xorg did not start (is xserver-xorg-video-dummy installed, and are we root?)" >&2
    exit 1
fi
DISPLAY=:$number "$@"
