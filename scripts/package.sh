#!/usr/bin/env bash
# Builds the Debian package of the tool into build/package/ and checks it with
# lintian. Usage: bash scripts/package.sh
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)"
rm -f build/package/slateprobe_*.deb
(cd build && cpack -G DEB --config CPackConfig.cmake -B package >/dev/null)
deb=$(ls build/package/slateprobe_*.deb)
echo "package: $deb"
dpkg-deb --info "$deb" | sed -n 's/^ \(Package\|Version\|Architecture\|Depends\|Recommends\|Installed-Size\):/  &/p'
echo "lintian:"
# No errors allowed; warnings and notes are printed for the reader.
lintian --fail-on error --no-tag-display-limit "$deb" | sed 's/^/  /' || { echo "package: lintian found errors" >&2; exit 1; }
echo "package: ok"
