#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole suite twice: a plain
# optimised build and an AddressSanitizer + UndefinedBehaviorSanitizer build.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh

jobs=$(nproc)

echo "== build (RelWithDebInfo)"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j "$jobs"
echo "== tests (RelWithDebInfo)"
(cd build && ctest --output-on-failure -j 2)

echo "== build (ASan + UBSan)"
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DSP_SANITIZE=ON >/dev/null
cmake --build build-asan -j "$jobs"
echo "== tests (ASan + UBSan)"
(cd build-asan && ctest --output-on-failure -j 2)
