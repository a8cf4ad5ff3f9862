#!/usr/bin/env bash
# Reliability checks beyond the unit tests (which already hold the determinism
# suite and, as their own program, the allocation fault injection):
#
#   bash tools/run_reliability.sh fuzz [seconds]   libFuzzer targets, each for
#                                                  `seconds` (default 600: the long run)
#   bash tools/run_reliability.sh tsan             the parallel tests under ThreadSanitizer
#   bash tools/run_reliability.sh [seconds]        both
#
# The fuzz targets need clang; their corpora grow in build/fuzz/corpus and a
# failing input is kept in build/fuzz/artifacts. Each target's figures
# (inputs executed) are printed at the end.
set -euo pipefail
cd "$(dirname "$0")/.."

# clang and its libFuzzer runtime (a recommendation of clang, which
# tools/setup_debian.sh would not bring).
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

run_fuzz() {
    local seconds=$1
    install_clang
    cmake --preset fuzz >/dev/null
    cmake --build --preset fuzz
    local bin=build/fuzz/tests/fuzz/library corpus=build/fuzz/corpus artifacts=build/fuzz/artifacts
    mkdir -p "$artifacts"
    "$bin/library_seeds" "$corpus"
    local summary=()
    for target in construction whole_surface edits cache; do
        local log=build/fuzz/library_$target.log
        echo "== library_${target}_fuzzer, ${seconds} s"
        if ! "$bin/library_${target}_fuzzer" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 \
                -print_final_stats=1 -artifact_prefix="$artifacts/${target}-" "$corpus/$target" >"$log" 2>&1; then
            tail -n 60 "$log"
            echo "library_${target}_fuzzer failed; input kept in $artifacts" >&2
            exit 1
        fi
        local runs
        runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")
        summary+=("library_${target}_fuzzer: $runs inputs in ${seconds} s, corpus $(ls "$corpus/$target" | wc -l) files")
    done
    # The file readers of the command-line program, seeded with the small shared meshes.
    for format in stl obj ply off; do
        local seeds=$corpus/read_$format log=build/fuzz/read_$format.log
        mkdir -p "$seeds"
        find ../shared/meshes -maxdepth 1 -name "*.$format" -size -400k -exec cp -n {} "$seeds/" \; 2>/dev/null || true
        echo "== fuzz_read_$format, ${seconds} s"
        if ! build/fuzz/tests/fuzz/fuzz_read_$format -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 \
                -print_final_stats=1 -artifact_prefix="$artifacts/read_$format-" "$seeds" >"$log" 2>&1; then
            tail -n 60 "$log"
            echo "fuzz_read_$format failed; input kept in $artifacts" >&2
            exit 1
        fi
        local runs
        runs=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || echo "?")
        summary+=("fuzz_read_$format: $runs inputs in ${seconds} s")
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
