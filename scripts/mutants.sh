#!/usr/bin/env bash
# Plants each fault of tests/mutants.txt alone, rebuilds the plain build, runs
# that folder's tests and restores the file. A fault is caught when the build
# fails or any of the tests fails.
#   scripts/mutants.sh [build-dir] [list] [filter]
# filter (an extended regex) keeps only the lines that match it, e.g.
# '^\^(fingerprint|app)_' or 'tablet/commands'; the default keeps every line.
set -uo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
list=${2:-tests/mutants.txt}
filter=${3:-}
caught=0 survived=0 skipped=0
all_targets=""
while IFS=$'\t' read -r -u 3 regex file script what; do
    [[ -z "$regex" || "$regex" == \#* ]] && continue
    if [[ -n "$filter" ]] && ! grep -qE -- "$filter" <<<"$regex	$file	$script	$what"; then
        continue
    fi
    if ! git diff --quiet -- "$file"; then
        echo "SKIP (file already modified) $file: $what"; skipped=$((skipped + 1)); continue
    fi
    sed -i -e "$script" "$file"
    if git diff --quiet -- "$file"; then
        echo "NOMATCH $file: $what"; skipped=$((skipped + 1)); continue
    fi
    # The binaries the tests run (several tests may share one binary, and a
    # test's name need not be a target).
    targets=$(ctest --test-dir "$build" --show-only=json-v1 -R "$regex" 2>/dev/null | python3 -c '
import json, os, sys
build = os.path.realpath(sys.argv[1])
names = set()
for t in json.load(sys.stdin).get("tests", []):
    for arg in t.get("command", []):
        if os.path.realpath(arg).startswith(build + "/"):
            names.add(os.path.basename(arg))
            break
print(" ".join(sorted(names)))' "$build")
    all_targets="$all_targets $targets"
    if ! cmake --build "$build" --target $targets -j2 >/dev/null 2>&1; then
        verdict=CAUGHT-BUILD
    elif ctest --test-dir "$build" -j2 -R "$regex" --timeout 180 >/dev/null 2>&1; then
        verdict=SURVIVED
    else
        verdict=CAUGHT
    fi
    git checkout -- "$file"
    [[ $verdict == SURVIVED ]] && survived=$((survived + 1)) || caught=$((caught + 1))
    echo "$verdict $file: $what"
done 3< "$list"
# Leave the build matching the sources again.
[[ -n "$all_targets" ]] && cmake --build "$build" --target $all_targets -j2 >/dev/null 2>&1
echo "caught $caught of $((caught + survived)) (skipped $skipped)"
