#!/usr/bin/env bash
# Runs the side-by-side benchmark against the peer libraries and writes
# bench/RESULTS.md. Installs the peers' Debian packages (needs root), builds
# the program in build/peers with -DZELKOV_BENCH_PEERS=ON (never part of the
# default build or CI), runs it with one and with two threads, and turns the
# output into the report.
#
#   scripts/run_peer_benchmarks.sh [--no-install] [--sizes 100000,1000000] [--inputs LIST] [--reps-scale X]
#                                  [--out FILE] [-- PROGRAM OPTIONS]
#   scripts/run_peer_benchmarks.sh --repair [--no-install] [--out FILE] [-- PROGRAM OPTIONS]
#   scripts/run_peer_benchmarks.sh --simplify [--no-install] [--sizes ...] [--inputs LIST] [--out FILE]
#
# FILE (default bench/RESULTS.md) receives the report; PROGRAM OPTIONS go to
# the benchmark program. --simplify measures the simplifier against
# meshoptimizer alone, to half and to a tenth (minutes instead of the whole
# run's hour and more), and replaces only the simplification section of FILE.
#
# LIST names the generated inputs to run, comma-separated (a trailing * matches
# any rest); the default keeps the whole run near 20 minutes on two cores. The
# real meshes of $ZELKOV_SHARED_MESHES (default: ../shared/meshes beside the
# project) with at least 4000 triangles are always run.
#
# Our operations run in a oneTBB arena of the given thread count, Open3D with
# OMP_NUM_THREADS set to the same count.
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
install=1
sizes=100000,1000000
reps_scale=0.6
inputs='torus 1M,torus 1M shuffled,icosphere 1M shuffled,torus 1M soup,*100k*'
extra=()
repair=0
simplify=0
out=$root/bench/RESULTS.md
while [[ $# -gt 0 ]]; do
    case $1 in
        --no-install) install=0 ;;
        --repair) repair=1 ;;
        --simplify) simplify=1 ;;
        --sizes) sizes=$2; shift ;;
        --reps-scale) reps_scale=$2; shift ;;
        --inputs) inputs=$2; shift ;;
        --out) out=$2; shift ;;
        --) shift; extra=("$@"); break ;;
        *) echo "unknown argument $1" >&2; exit 2 ;;
    esac
    shift
done

packages=(libopenmesh-dev libcgal-dev libmeshoptimizer-dev libopen3d-dev admesh libadmesh-dev)
if [[ $install == 1 ]]; then
    missing=()
    for p in "${packages[@]}"; do dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p"); done
    if [[ ${#missing[@]} -gt 0 ]]; then
        apt-get update
        DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
    fi
fi

build=$root/build/peers
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DZELKOV_BENCH_PEERS=ON -DZELKOV_BUILD_TESTS=OFF >/dev/null
target=bench_peers
[[ $repair == 1 ]] && target=bench_repair_peers
cmake --build "$build" --target "$target" -j 2

export ZELKOV_SHARED_MESHES=${ZELKOV_SHARED_MESHES:-$root/../shared/meshes}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
program=$build/bench/peers/bench_peers

versions() {
    for p in "${packages[@]}"; do printf '%s %s; ' "$p" "$(dpkg-query -W -f '${Version}' "$p" 2>/dev/null || echo absent)"; done
}
{
    echo "date=$(date -u '+%Y-%m-%d %H:%M UTC')"
    echo "commit=$(git -C "$root" rev-parse --short HEAD 2>/dev/null || echo unknown)"
    echo "machine=$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ *//'), $(nproc) hardware threads, $(awk '/MemTotal/ {printf "%.0f GiB", $2 / 1048576}' /proc/meminfo)"
    echo "peers=$(versions)"
    echo "load before the run (uptime)=$(uptime | sed 's/.*load average/load average/')"
} >"$work/meta"

if [[ $repair == 1 ]]; then
    "$build/bench/peers/bench_repair_peers" ${extra[@]+"${extra[@]}"} | tee "$work/repair.tsv"
    echo "load after the run (uptime)=$(uptime | sed 's/.*load average/load average/')" >>"$work/meta"
    echo "command=scripts/run_peer_benchmarks.sh --repair --out ${out#$root/} ${extra[*]+-- ${extra[*]}}" >>"$work/meta"
    mkdir -p "$build/last-run"
    cp "$work/meta" "$build/last-run/repair-meta"
    cp "$work/repair.tsv" "$build/last-run/"
    python3 "$root/bench/peers/make_repair_results.py" "$work/meta" "$out" "$work/repair.tsv"
    echo "wrote the repair section of $out"
    exit 0
fi

if [[ $simplify == 1 ]]; then
    extra=(--filter 'simplify*' --impls 'ours*,meshopt*' ${extra[@]+"${extra[@]}"})
fi
OMP_NUM_THREADS=1 "$program" --threads 1 --sizes "$sizes" --inputs "$inputs" --reps-scale "$reps_scale" ${extra[@]+"${extra[@]}"} | tee "$work/t1.tsv"
OMP_NUM_THREADS=2 "$program" --threads 2 --parallel-only --sizes "$sizes" --inputs "$inputs" --reps-scale "$reps_scale" ${extra[@]+"${extra[@]}"} | tee "$work/t2.tsv"

echo "load after the run (uptime)=$(uptime | sed 's/.*load average/load average/')" >>"$work/meta"
flag=''
[[ $simplify == 1 ]] && flag='--simplify '
echo "command=scripts/run_peer_benchmarks.sh $flag--sizes $sizes --inputs '$inputs' --reps-scale $reps_scale --out ${out#$root/} ${extra[*]+-- ${extra[*]}}" >>"$work/meta"
# The raw output stays in build/peers/last-run, so that the report can be
# written again (make_results.py) without measuring again.
mkdir -p "$build/last-run"
cp "$work/meta" "$work/t1.tsv" "$work/t2.tsv" "$build/last-run/"
section=()
[[ $simplify == 1 ]] && section=(--simplify-section)
python3 "$root/bench/peers/make_results.py" ${section[@]+"${section[@]}"} "$work/meta" "$out" "$work/t1.tsv" "$work/t2.tsv"
echo "wrote $out"
