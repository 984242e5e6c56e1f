#!/usr/bin/env bash
# Installs what is missing, builds, and starts the tool.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$(nproc)"

if [ ! -x build/app/slateprobe ]; then
  echo "run: the slateprobe program is not part of this build yet; the libraries and their tests are."
  exit 0
fi
exec build/app/slateprobe "$@"
