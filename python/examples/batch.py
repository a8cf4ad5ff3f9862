"""Repair and simplify every mesh of a folder, on a Dask cluster of worker
processes or in a plain loop, with the same meshes either way.

    python3 batch.py MESH_FOLDER [--ratio 0.1] [--workers 2] [--out OUT_FOLDER]

Each task reads its file on the worker and sends back the simplified Mesh,
which pickles as its two arrays.
"""
import argparse
import pathlib
import time

import zelkov

SUFFIXES = {".stl", ".obj", ".ply", ".off"}


def process(path, ratio, threads=None):
    """One mesh: repaired (welded, defects removed, made manifold, oriented), then simplified.
    The result is the same for every thread count."""
    repaired, _ = zelkov.repair(zelkov.read(str(path)), threads=threads)
    simplified, _ = zelkov.simplify(repaired, ratio=ratio, threads=threads)
    return simplified


def mesh_files(folder):
    return sorted(p for p in pathlib.Path(folder).iterdir() if p.suffix.lower() in SUFFIXES)


def run_serial(paths, ratio):
    return [process(p, ratio) for p in paths]


def run_on_cluster(paths, ratio, workers):
    from dask.distributed import Client, LocalCluster

    with LocalCluster(n_workers=workers, threads_per_worker=1, processes=True, dashboard_address=None) as cluster, \
            Client(cluster) as client:
        # The largest first, so that one big mesh does not start last.
        order = sorted(range(len(paths)), key=lambda i: -paths[i].stat().st_size)
        # One thread per task: the worker processes are the parallelism.
        futures = client.map(process, [paths[i] for i in order], ratio=ratio, threads=1, pure=False)
        done = client.gather(futures)
    results = [None] * len(paths)
    for i, mesh in zip(order, done):
        results[i] = mesh
    return results


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder")
    parser.add_argument("--ratio", type=float, default=0.1)
    parser.add_argument("--workers", type=int, default=2, help="worker processes; 0 runs a plain loop")
    parser.add_argument("--out", help="folder for the simplified meshes (PLY)")
    args = parser.parse_args()
    paths = mesh_files(args.folder)
    start = time.perf_counter()
    results = run_on_cluster(paths, args.ratio, args.workers) if args.workers else run_serial(paths, args.ratio)
    elapsed = time.perf_counter() - start
    for path, mesh in zip(paths, results):
        print(f"{path.name}: {mesh.triangle_count} triangles")
        if args.out:
            pathlib.Path(args.out).mkdir(parents=True, exist_ok=True)
            zelkov.write(str(pathlib.Path(args.out) / (path.stem + ".ply")), mesh)
    print(f"{len(paths)} meshes in {elapsed:.2f} s on {args.workers or 'no'} workers")


if __name__ == "__main__":
    main()
