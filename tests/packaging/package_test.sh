#!/usr/bin/env bash
# The package as a technician meets it: built by CPack, unpacked into a
# scratch root, laid out as installed, and its program started on the demo's
# virtual pad under Xvfb until Open has brought the pad into sign mode and the
# trace file has its lines. Runs in a private /tmp so that the trace file is
# this test's own.
# Usage: package_test.sh <source dir> <build dir>
set -euo pipefail
src=$1
build=$2

if [ -z "${SP_PRIVATE_TMP:-}" ]; then
  export SP_PRIVATE_TMP=1
  # A fresh tmpfs on /tmp; a source or build tree that lives under /tmp is
  # bound back at its own path through a handle on the old /tmp.
  keep=$(for p in "$src" "$build"; do
           p=$(realpath "$p"); case $p in /tmp/*) p=${p#/tmp/}; echo "${p%%/*}" ;; esac
         done | sort -u | tr '\n' ' ')
  setup='exec 9</tmp && mount -t tmpfs tmpfs /tmp &&
         for k in $SP_KEEP; do mkdir "/tmp/$k" && mount -c --rbind "/proc/self/fd/9/$k" "/tmp/$k" || exit 1; done &&
         exec 9<&- && exec bash "$0" "$@"'
  export SP_KEEP=$keep
  if [ "$(id -u)" -eq 0 ]; then
    exec unshare -m --propagation private bash -c "$setup" "$0" "$@"
  fi
  exec unshare -rm --propagation private bash -c "$setup" "$0" "$@"
fi

work=$(mktemp -d /tmp/package-test.XXXXXX)
fail() { echo "FAIL: $*" >&2; exit 1; }

# 1. Build and unpack.
(cd "$build" && cpack -G DEB --config CPackConfig.cmake -B "$work/out" >"$work/cpack.log" 2>&1) ||
  { cat "$work/cpack.log" >&2; fail "cpack"; }
deb=$(ls "$work"/out/slateprobe_*.deb)
dpkg-deb -x "$deb" "$work/root"
root=$work/root

# 2. Layout.
for f in usr/lib/slateprobe/slateprobe usr/lib/slateprobe/lib/README lib/udev/rules.d/70-slateprobe.rules \
         usr/share/applications/slateprobe.desktop usr/share/metainfo/slateprobe.metainfo.xml usr/share/man/man1/slateprobe.1.gz \
         usr/bin/slateprobe-cli usr/share/man/man1/slateprobe-cli.1.gz \
         usr/share/icons/hicolor/128x128/apps/slateprobe.png usr/share/icons/hicolor/256x256/apps/slateprobe.png \
         usr/share/doc/slateprobe/copyright usr/share/doc/slateprobe/changelog.gz; do
  [ -e "$root/$f" ] || fail "missing /$f"
done
[ -x "$root/usr/lib/slateprobe/slateprobe" ] || fail "program not executable"
[ "$(readlink "$root/usr/bin/slateprobe")" = ../lib/slateprobe/slateprobe ] || fail "/usr/bin/slateprobe is no link to the program"
# Nothing under the scanner vendors' names: a site brings those.
if find "$root" -name 'ID_Fpr*.so' -o -name 'libAraTrustFinger.so' | grep -q .; then fail "scanner library packaged"; fi
# Every run path entry is the folder beside the program; a relative one would
# make the program load whatever lies in the directory it is started from.
rpath=$(readelf -d "$root/usr/lib/slateprobe/slateprobe" | sed -n 's/.*R.*PATH.*\[\(.*\)\]/\1/p')
[ -n "$rpath" ] || fail "no run path on the installed program"
tr ':' '\n' <<<"$rpath" | grep -v '^\$ORIGIN/\./lib/$' | grep -q . && fail "run path other than \$ORIGIN/./lib/: $rpath"
lintian --fail-on error "$deb" >"$work/lintian.log" 2>&1 || { cat "$work/lintian.log" >&2; fail "lintian errors"; }
depends=$(dpkg-deb -f "$deb" Depends)
for d in libqt5widgets5 libusb-1.0-0 libc6; do
  grep -q "$d" <<<"$depends" || fail "Depends lacks $d: $depends"
done
"$root/usr/bin/slateprobe-cli" --help | grep -q '^Usage: slateprobe-cli COMMAND' || fail "slateprobe-cli --help"
desktop-file-validate "$root/usr/share/applications/slateprobe.desktop" || fail "desktop entry"

# 3. Start the unpacked program (through the link on the PATH) on the demo's
#    virtual pad, press Open, and wait for the pad to be put into sign mode.
launcher=$build/demo/slateprobe-demo
export PATH=$root/usr/bin:$PATH
mkdir -p "$work/run"
source "$src/scripts/demo-x.sh"
trap 'stop_demo' EXIT
start_xvfb
(cd "$work/run" && exec "$launcher" --program "$(command -v slateprobe)") >"$work/demo.log" 2>&1 &
demo_pid=$!
wait_line "press Open" 60 || fail "the program did not start"
wid=$(main_window) || fail "no main window"
click "$wid" "${open_xy[@]}"
wait_line "signing" 60 || fail "Open did not bring the pad into use"
[ -s /tmp/PXSlateProbe.log ] || fail "no trace file"
echo "trace file: $(wc -l </tmp/PXSlateProbe.log) lines"
echo "ok"
