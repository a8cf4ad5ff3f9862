"""The cost of the Python binding: the median time of get_vertex_to_triangles_map,
inspect and simplify through zelkov against the direct C++ calls
(bench_python_overhead), on the same mesh file, the two alternating.

    python3 binding_overhead.py MESH BENCH_PROGRAM [--repeats 5] [--rounds 3] [--calls map,inspect,simplify]
"""
import argparse
import json
import statistics
import subprocess
import time

import zelkov


def median_ms(repeats, f):
    times = []
    for _ in range(repeats):
        start = time.perf_counter()
        f()
        times.append((time.perf_counter() - start) * 1e3)
    return statistics.median(times)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("mesh")
    parser.add_argument("program")
    parser.add_argument("--repeats", type=int, default=5)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--calls", default="map,inspect,simplify")
    args = parser.parse_args()
    mesh = zelkov.read(args.mesh)
    calls = {"get_vertex_to_triangles_map": lambda: zelkov.get_vertex_to_triangles_map(mesh),
             "inspect": lambda: zelkov.inspect(mesh),
             "simplify": lambda: zelkov.simplify(mesh)}
    calls = {k: f for k, f in calls.items() if k.split("_")[-1] in args.calls or k in args.calls}
    cpp, python = {k: [] for k in calls}, {k: [] for k in calls}
    for _ in range(args.rounds):
        direct = json.loads(subprocess.run([args.program, args.mesh, str(args.repeats), args.calls], check=True,
                                           capture_output=True, text=True).stdout)
        for name, call in calls.items():
            cpp[name].append(direct[name])
            python[name].append(median_ms(args.repeats, call))
    print(f"{mesh.triangle_count} triangles; median of {args.rounds} rounds of the median of {args.repeats} runs")
    print(f"{'call':30} {'C++ ms':>10} {'Python ms':>10} {'ratio':>7}")
    for name in calls:
        c, p = statistics.median(cpp[name]), statistics.median(python[name])
        print(f"{name:30} {c:10.1f} {p:10.1f} {p / c:7.3f}")


if __name__ == "__main__":
    main()
