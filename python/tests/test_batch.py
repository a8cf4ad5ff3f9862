"""The batch example (repair, then simplify) on a Dask cluster of two worker processes gives the
meshes of a serial loop."""
import os
import pickle
import sys
from pathlib import Path

import numpy as np
import pytest

import zelkov
from conftest import torus

EXAMPLES = Path(__file__).resolve().parents[1] / "examples"
sys.path.insert(0, str(EXAMPLES))
import batch  # noqa: E402


def test_a_folder_on_two_worker_processes_matches_a_serial_loop(tmp_path, monkeypatch):
    pytest.importorskip("dask.distributed")
    for i, (nu, nv) in enumerate([(60, 30), (80, 40), (50, 50), (90, 20)]):
        points, tris = torus(nu, nv, r_minor=0.2 + 0.05 * i)
        zelkov.write(str(tmp_path / f"torus{i}.ply"), zelkov.Mesh(points, tris))
    paths = batch.mesh_files(tmp_path)
    # The workers import the example module by name, as the test does.
    monkeypatch.setenv("PYTHONPATH", os.pathsep.join([str(EXAMPLES), os.environ.get("PYTHONPATH", "")]))
    on_cluster = batch.run_on_cluster(paths, 0.25, workers=2)
    serial = batch.run_serial(paths, 0.25)
    assert len(on_cluster) == len(serial) == 4
    for a, b in zip(on_cluster, serial):
        np.testing.assert_array_equal(a.vertices, b.vertices)
        np.testing.assert_array_equal(a.triangles, b.triangles)
    assert pickle.loads(pickle.dumps(serial[0])).triangle_count == serial[0].triangle_count
