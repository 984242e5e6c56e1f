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
while IFS=$'\t' read -r regex file script what; do
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
    targets=$(ctest --test-dir "$build" -N -R "$regex" 2>/dev/null | awk '/Test *#/{print $3}')
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
done < "$list"
# Leave the build matching the sources again.
[[ -n "$all_targets" ]] && cmake --build "$build" --target $all_targets -j2 >/dev/null 2>&1
echo "caught $caught of $((caught + survived)) (skipped $skipped)"
