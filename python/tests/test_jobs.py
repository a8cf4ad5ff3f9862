"""The jobs and files: the same figures and meshes as the zelkov program,
progress and cancelling, and the GIL given up while a job runs."""
import threading
import time

import numpy as np
import pytest

import zelkov
from conftest import program, shared_mesh, torus


@pytest.mark.parametrize("name", ["fandisk.obj", "cow_pinched.obj", "moebius.ply", "two_cubes_edge.stl"])
def test_inspect_reports_what_the_program_reports(name):
    path = shared_mesh(name)
    report = program("info", path)
    r = zelkov.inspect(zelkov.read(str(path)))
    topology, defects = report["topology"], report["defects"]
    assert (r.vertices, r.triangles) == (report["surface"]["vertices"], report["surface"]["triangles"])
    assert r.measures.area == report["measures"]["area"]
    assert r.measures.signed_volume == report["measures"]["signed_volume"]
    assert list(r.measures.barycenter) == report["measures"]["barycenter"]
    frame = report["measures"]["principal_frame"]
    assert list(r.measures.principal_frame[0, :3]) == frame["axis_of_largest_moment"]
    assert [r.edges.edges, r.edges.boundary, r.edges.non_manifold, r.edges.misoriented] == [
        topology["edges"], topology["boundary_edges"], topology["non_manifold_edges"], topology["misoriented_edges"]]
    assert r.boundary_loops == topology["boundary_loops"]
    assert r.vertex_classes.pinch == topology["vertex_classes"]["pinch"]
    assert r.connected_components == topology["connected_components"]
    assert r.non_orientable_components == topology["non_orientable_components"]
    assert r.welded.euler_characteristic == topology["welded"]["euler_characteristic"]
    assert r.defects.duplicate_triangles == defects["duplicate_triangles"]
    assert r.investigation.text == report["investigation"]["text"]


@pytest.mark.parametrize("name, options", [
    ("bunny.obj", ["--target", "7000"]),
    ("fandisk.obj", ["--ratio", "0.1", "--preserve-sharp", "40", "--boundary", "slide"]),
])
def test_simplify_gives_the_program_s_mesh_bit_for_bit(tmp_path, name, options):
    path = shared_mesh(name)
    out = tmp_path / "out.ply"
    report = program("simplify", path, *options, "-o", out)
    kwargs = dict(zip([o.lstrip("-").replace("-", "_") for o in options[::2]], options[1::2]))
    kwargs = {"target_triangles": int(kwargs["target"])} if "target" in kwargs else {
        "ratio": float(kwargs["ratio"]), "feature_angle_degrees": float(kwargs["preserve_sharp"]),
        "boundary": kwargs["boundary"]}
    result, figures = zelkov.simplify(zelkov.read(str(path)), **kwargs)
    written = zelkov.read(str(out))
    np.testing.assert_array_equal(result.vertices, written.vertices)
    np.testing.assert_array_equal(result.triangles, written.triangles)
    assert figures.collapse.collapses == report["collapse"]["collapses"]
    assert figures.relaxed_edges == report["relaxed_edges"]


@pytest.mark.parametrize("name, options, kwargs", [
    ("cow_pinched.obj", ["--fill-holes", "50"], {"max_boundary_edges": 50}),
    ("two_cubes_edge.stl", ["--back-to-back", "keep-one", "--fill", "flat", "--fill-holes", "8"],
     {"back_to_back": "keep_one", "max_boundary_edges": 8, "refine": False, "fair": False}),
    ("teapot_soup.stl", ["--tolerance-relative", "1e-6", "--keep-orientation"],
     {"tolerance_relative": 1e-6, "orient": False}),
])
def test_repair_gives_the_program_s_mesh_bit_for_bit(tmp_path, name, options, kwargs):
    path = shared_mesh(name)
    out = tmp_path / "out.ply"
    program("repair", path, *options, "-o", out)
    result, figures = zelkov.repair(zelkov.read(str(path)), **kwargs)
    written = zelkov.read(str(out))
    np.testing.assert_array_equal(result.vertices, written.vertices)
    np.testing.assert_array_equal(result.triangles, written.triangles)
    assert len(figures.vertex_map) == zelkov.read(str(path)).vertex_count


def test_weld_features_and_files_round_trip(tmp_path):
    points, tris = torus(30, 20)
    soup = zelkov.Mesh(points[tris.reshape(-1)], np.arange(tris.size).reshape(-1, 3))
    welded, figures = zelkov.weld(soup)
    assert welded.vertex_count == len(points) and figures.vertices_merged == tris.size - len(points)
    found = zelkov.features(welded, sharp_angle_degrees=10)
    assert found.curvature.shape == (len(points),) and found.undefined_curvature == 0
    path = tmp_path / "t.ply"
    zelkov.write(str(path), welded, fields={"curvature": found.curvature})
    back = zelkov.read(str(path))
    np.testing.assert_array_equal(back.vertices, welded.vertices)
    assert zelkov.read_bytes(path.read_bytes(), "ply").triangle_count == welded.triangle_count
    with pytest.raises(zelkov.ReadError, match="missing.ply"):
        zelkov.read(str(tmp_path / "missing.ply"))
    with pytest.raises(ValueError, match="fields values must hold"):
        zelkov.write(str(path), welded, fields={"x": [1.0]})


def test_progress_reports_stages_and_cancels():
    mesh = zelkov.Mesh(*torus(60, 40))
    stages = []
    zelkov.simplify(mesh, ratio=0.5, progress=lambda stage, fraction: stages.append(stage))
    assert "collapses" in stages and "unique" in stages
    with pytest.raises(zelkov.Cancelled):
        zelkov.simplify(mesh, progress=lambda stage, fraction: stage != "collapses")

    def fails(stage, fraction):
        raise KeyError(stage)
    with pytest.raises(KeyError, match="unique"):
        zelkov.weld(mesh, progress=fails)
    with pytest.raises(ValueError, match="boundary must be"):
        zelkov.simplify(mesh, boundary="loose")


def test_a_long_call_lets_other_python_threads_run():
    mesh = zelkov.Mesh(*torus(700, 350))  # 490k triangles
    ticks, done = [], threading.Event()

    def count():
        while not done.is_set():
            ticks.append(time.perf_counter())
            time.sleep(0.001)
    counter = threading.Thread(target=count)
    counter.start()
    start = time.perf_counter()
    zelkov.simplify(mesh, ratio=0.2, threads=1)
    end = time.perf_counter()
    done.set()
    counter.join()
    during = [start] + [t for t in ticks if start < t < end] + [end]
    # Holding the GIL would stop the counter for the whole call.
    assert len(during) > 7 and max(b - a for a, b in zip(during, during[1:])) < 0.5 * (end - start)
