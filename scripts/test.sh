#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole suite twice: a plain
# optimised build and an AddressSanitizer + UndefinedBehaviorSanitizer build;
# then the tests that run threads once more under ThreadSanitizer.
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

echo "== build (ThreadSanitizer)"
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSP_SANITIZE=thread >/dev/null
cmake --build build-tsan -j "$jobs"
echo "== tests with threads (ThreadSanitizer)"
(cd build-tsan && ctest --output-on-failure -j 2 -R '^(tablet|pen|fingerprint|app)_')
