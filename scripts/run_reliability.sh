#!/usr/bin/env bash
# Reliability checks beyond the unit tests (which already hold the determinism
# suite and, as their own program, the allocation fault injection):
#
#   bash scripts/run_reliability.sh fuzz [seconds]   libFuzzer targets, each for
#                                                  `seconds` (default 600: the long run)
#   bash scripts/run_reliability.sh tsan             the parallel tests under ThreadSanitizer
#   bash scripts/run_reliability.sh [seconds]        both
#
# The fuzz targets need clang; their corpora grow in build/fuzz/corpus and a
# failing input is kept in build/fuzz/artifacts. Each target's figures
# (inputs executed) are printed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."

# clang and its libFuzzer runtime (a recommendation of clang, which
# scripts/setup_debian.sh would not bring).
install_clang() {
    local missing=()
    for p in clang libclang-rt-14-dev; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        DEBIAN_FRONTEND=noninteractive apt-get update -qq
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
    fi
}

# Runs one fuzz target on its corpus for `seconds`; stops the script on a
# failure, keeping the input. Options after the fourth argument replace the
# default limits. Appends the target's figures to `summary`.
fuzz_one() {
    local name=$1 binary=$2 corpus=$3 seconds=$4 artifacts=build/fuzz/artifacts
    shift 4
    local limits=("$@")
    [ ${#limits[@]} -gt 0 ] || limits=(-timeout=30 -rss_limit_mb=2048)
    local log=build/fuzz/$name.log
    echo "== $name, ${seconds} s"
    if ! "$binary" -max_total_time="$seconds" "${limits[@]}" \
            -print_final_stats=1 -artifact_prefix="$artifacts/$name-" "$corpus" >"$log" 2>&1; then
        tail -n 60 "$log"
        echo "$name failed; input kept in $artifacts" >&2
        exit 1
    fi
    local runs
    runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")
    summary+=("$name: $runs inputs in ${seconds} s, corpus $(ls "$corpus" | wc -l) files")
}

run_fuzz() {
    local seconds=$1
    install_clang
    cmake --preset fuzz >/dev/null
    cmake --build --preset fuzz
    local bin=build/fuzz/tests/fuzz/library corpus=build/fuzz/corpus
    mkdir -p build/fuzz/artifacts
    "$bin/library_seeds" "$corpus"
    summary=()
    for target in construction whole_surface edits cache repair; do
        fuzz_one "library_${target}_fuzzer" "$bin/library_${target}_fuzzer" "$corpus/$target" "$seconds"
    done
    # The file readers of the command-line program, seeded with the small shared
    # meshes. Their time and memory are bounded by the input, so a slow input or
    # a large allocation is a finding.
    local reader_limits=(-timeout=5 -rss_limit_mb=1024 -malloc_limit_mb=1024)
    for format in stl obj ply off; do
        mkdir -p "$corpus/read_$format"
        find ../shared/meshes -maxdepth 1 -name "*.$format" -size -400k \
            -exec cp -n {} "$corpus/read_$format/" \; 2>/dev/null || true
        # The shared meshes hold no OFF file: start from a tetrahedron.
        [ "$format" != off ] || [ -n "$(ls -A "$corpus/read_off")" ] ||
            printf 'OFF\n4 4 0\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 2 1\n3 0 1 3\n3 1 2 3\n3 0 3 2\n' \
                >"$corpus/read_off/tetrahedron.off"
        fuzz_one "fuzz_read_$format" "build/fuzz/tests/fuzz/fuzz_read_$format" "$corpus/read_$format" "$seconds" \
            "${reader_limits[@]}"
    done
    printf '%s\n' "${summary[@]}"
}

run_tsan() {
    cmake --preset tsan >/dev/null
    cmake --build --preset tsan-parallel
    ctest --preset tsan-parallel
}

case "${1:-all}" in
    fuzz) run_fuzz "${2:-600}" ;;
    tsan) run_tsan ;;
    all) run_fuzz 600; run_tsan ;;
    *[!0-9]*) echo "usage: $0 [fuzz [seconds] | tsan | seconds]" >&2; exit 2 ;;
    *) run_fuzz "$1"; run_tsan ;;
esac
