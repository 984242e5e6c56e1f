#!/usr/bin/env bash
# Builds the fuzz targets with clang, libFuzzer, ASan and UBSan, and runs one.
#   scripts/fuzz.sh <target> [runs]      e.g. scripts/fuzz.sh fuzz_utf8 2000000
set -euo pipefail
cd "$(dirname "$0")/.."
target=${1:?target name}
runs=${2:-1000000}

bash scripts/install-deps.sh
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSP_FUZZ=ON -DSP_SANITIZE=ON -DSP_TESTS=OFF -DSP_BENCH=OFF >/dev/null
cmake --build build-fuzz --target "$target"
bin=$(find build-fuzz -type f -name "$target" -perm -u+x | head -1)
corpus=$(mktemp -d)
seeds=$(find fuzz -type d -name "${target}_corpus" | head -1)
# Fast scaling writes around the cache from 1 MiB of destination on, as the
# fuzzer's largest ones are (by default only past half the last-level cache).
SP_BITMAP_STREAM_FROM=${SP_BITMAP_STREAM_FROM:-1048576} ASAN_OPTIONS=verify_asan_link_order=0 "$bin" -runs="$runs" -print_final_stats=1 "$corpus" ${seeds:+"$seeds"}
