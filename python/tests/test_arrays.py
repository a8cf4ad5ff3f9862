"""Numpy in and out: accepted types, clear refusals, no hidden copies, pickling."""
import gc
import pickle

import numpy as np
import pytest

import zelkov
from conftest import cube, torus


def address(a):
    return a.__array_interface__["data"][0]


@pytest.mark.parametrize("vdtype", [np.float64, np.float32, np.int64])
@pytest.mark.parametrize("tdtype", [np.int32, np.int64, np.uint32, np.uint64, np.int16])
def test_any_real_and_integer_types_give_the_same_record(vdtype, tdtype):
    points, tris = cube()
    mesh = zelkov.Mesh(points.astype(vdtype), tris.astype(tdtype))
    assert mesh.vertices.dtype == np.float64 and mesh.triangles.dtype == np.uint64
    np.testing.assert_array_equal(mesh.vertices, points)
    np.testing.assert_array_equal(mesh.triangles, tris)


def test_strided_and_fortran_input_is_read_by_its_strides():
    points, tris = torus(6, 5)
    wide = np.zeros((len(points), 6))
    wide[:, ::2] = points
    mesh = zelkov.Mesh(wide[:, ::2], np.asfortranarray(tris.astype(np.int32)))
    np.testing.assert_array_equal(mesh.vertices, points)
    np.testing.assert_array_equal(mesh.triangles, tris)


@pytest.mark.parametrize("vertices, triangles, error, message", [
    (np.zeros((4, 2)), [[0, 1, 2]], ValueError, r"vertices must have shape \(n, 3\), not \(4, 2\)"),
    (np.zeros(12), [[0, 1, 2]], ValueError, r"not \(12,\)"),
    (np.zeros((4, 3)), [0, 1, 2], ValueError, r"triangles must have shape \(n, 3\)"),
    (np.zeros((4, 3)), np.array([[0.0, 1, 2]]), TypeError, "triangles must be an integer array, not float64"),
    (np.zeros((4, 3), dtype=complex), [[0, 1, 2]], TypeError, "vertices must be a real array"),
    (np.zeros((4, 3)), [[0, 1, 2], [0, 1, 4]], ValueError, r"triangles\[1\] = \[0, 1, 4\] names a vertex outside 0..3"),
    (np.zeros((4, 3)), np.array([[0, 1, 2], [1, 2, 3], [-1, 0, 1]], np.int32), ValueError, r"triangles\[2\] = \[-1, 0, 1\]"),
    (np.zeros((4, 3)), np.array([[0, 1, 2], [3, -2, 1]]), ValueError, r"triangles\[1\]"),
    (np.zeros((0, 3)), [[0, 1, 2]], ValueError, "there are none"),
])
def test_bad_input_is_refused_with_a_clear_message(vertices, triangles, error, message):
    with pytest.raises(error, match=message):
        zelkov.Mesh(vertices, triangles)


def test_mesh_arrays_are_read_only_views_of_the_record_that_outlive_the_mesh():
    mesh = zelkov.Mesh(*torus(8, 6))
    v1, v2 = mesh.vertices, mesh.vertices
    assert address(v1) == address(v2) and not v1.flags.owndata
    assert type(v1.base).__name__ == "PyCapsule"
    with pytest.raises(ValueError):
        v1[0, 0] = 5.0
    with pytest.raises(ValueError):
        v1.flags.writeable = True
    expected = v1.copy()
    writable = mesh.writable_vertices()
    assert address(writable) == address(v1)
    writable[0] += 1.0
    assert mesh.vertices[0, 0] == expected[0, 0] + 1.0
    triangles = mesh.triangles
    del mesh, v2, writable
    gc.collect()
    assert v1[0, 0] == expected[0, 0] + 1.0 and triangles.shape == (96, 3)


def test_results_own_the_library_buffers():
    mesh = zelkov.Mesh(*torus(8, 6))
    for a in [zelkov.curvature(mesh), *zelkov.get_vertex_to_triangles_map(mesh), zelkov.weld(mesh)[1].vertex_map,
              zelkov.simplify(mesh, ratio=0.5)[1].vertex_map]:
        assert type(a.base).__name__ == "PyCapsule" and a.flags.writeable
    out, _ = zelkov.weld(mesh)
    # A result mesh is a new record; its views are its own.
    assert not np.shares_memory(out.vertices, mesh.vertices)


def test_pickling_keeps_the_arrays_exactly():
    points, tris = torus(9, 7)
    points[3] = [np.nan, -0.0, 1e-310]
    mesh = zelkov.Mesh(points, tris)
    back = pickle.loads(pickle.dumps(mesh))
    np.testing.assert_array_equal(back.vertices, mesh.vertices)
    assert np.signbit(back.vertices[3, 1]) and back.vertices[3, 2] == 1e-310
    np.testing.assert_array_equal(back.triangles, mesh.triangles)
