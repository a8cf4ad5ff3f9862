"""The core library through numpy: measures, connectivity, predicates, edits."""
import numpy as np
import pytest

import zelkov
from conftest import cube, torus


def test_measures_of_the_unit_cube():
    mesh = zelkov.Mesh(*cube())
    assert zelkov.area(mesh) == 6.0 and zelkov.volume(mesh) == pytest.approx(1.0, abs=1e-15)
    np.testing.assert_array_equal(zelkov.bounding_volume(mesh), [[0, 0, 0], [1, 1, 1]])
    np.testing.assert_allclose(zelkov.barycenter(mesh), [0.5, 0.5, 0.5])
    per = zelkov.area(mesh, np.arange(12))
    assert per.shape == (12,) and per.sum() == 6.0
    normals = zelkov.normal(mesh)
    centres = mesh.vertices[mesh.triangles.astype(np.int64)].mean(axis=1)
    assert np.all(np.einsum("ij,ij->i", normals, centres - 0.5) > 0)  # outward
    np.testing.assert_allclose(zelkov.angles(mesh, [0]).sum(), np.pi)
    assert zelkov.inertia(mesh).shape == (4, 4)


def test_the_map_as_compressed_rows_matches_a_count_in_numpy(torus_mesh):
    offsets, indices = zelkov.get_vertex_to_triangles_map(torus_mesh)
    tris = torus_mesh.triangles.astype(np.int64)
    assert offsets[-1] == tris.size and len(offsets) == torus_mesh.vertex_count + 1
    for v in (0, 17, torus_mesh.vertex_count - 1):
        expected = np.flatnonzero((tris == v).any(axis=1))
        np.testing.assert_array_equal(indices[offsets[v]:offsets[v + 1]], expected)


def test_rings_and_neighbours_agree_between_one_and_all():
    mesh = zelkov.Mesh(*torus(10, 8))
    offsets, indices = zelkov.one_ring_vertices_from_vertex(mesh)
    assert np.all(np.diff(offsets) == 6)
    np.testing.assert_array_equal(zelkov.one_ring_vertices_from_vertex(mesh, 5), indices[offsets[5]:offsets[6]])
    offsets, indices = zelkov.triangle_neighbour_indices(mesh, [3, 7])
    np.testing.assert_array_equal(zelkov.triangle_neighbour_indices(mesh, 7), indices[offsets[1]:])


def test_predicates_over_edge_and_vertex_arrays():
    points, tris = torus(10, 8)
    open_mesh = zelkov.Mesh(points, tris[:-1])
    edges = zelkov.edges(open_mesh)
    boundary = zelkov.is_boundary_edge(open_mesh, edges)
    manifold = zelkov.is_manifold_edge(open_mesh, edges)
    assert boundary.dtype == bool and boundary.sum() == 3 and np.all(boundary ^ manifold)
    assert zelkov.is_boundary_edge(open_mesh, edges[np.argmax(boundary)]) is True
    assert zelkov.is_boundary_vertex(open_mesh).sum() == 3
    assert not zelkov.is_manifold(open_mesh) and zelkov.is_bad(open_mesh)
    assert zelkov.is_manifold(zelkov.Mesh(points, tris))
    assert "Boundary edges: 3" in zelkov.investigate(open_mesh)
    with pytest.raises(IndexError, match="edges: entry 1 is out of range"):
        zelkov.is_boundary_edge(open_mesh, [[0, 80]])


def test_clean_up_maps_and_marks():
    points, tris = cube()
    soup = zelkov.Mesh(points[tris.reshape(-1)], np.arange(36).reshape(12, 3))
    welded, vmap, tmap = zelkov.unique(soup)
    assert welded.vertex_count == 8 and len(vmap) == 36 and len(tmap) == 12
    np.testing.assert_array_equal(welded.vertices[vmap.astype(np.int64)], soup.vertices)
    marks, changed = zelkov.expand_marked(welded, np.eye(1, 12, 0, dtype=bool).ravel())
    assert changed and marks.dtype == bool and marks.sum() > 1
    fewer = zelkov.remove_triangles(welded, [0, 5])
    assert fewer.triangle_count == 10
    with pytest.raises(ValueError, match="ascending"):
        zelkov.remove_triangles(welded, [5, 0])


def test_fields_and_sharp_edges_of_the_cube():
    mesh = zelkov.Mesh(*cube())
    edges, sharp = zelkov.is_sharp_edge(mesh, angle_degrees=30)
    assert len(edges) == 18 and sharp.sum() == 12
    np.testing.assert_array_equal(zelkov.is_sharp_edge(mesh, edges), sharp)
    assert zelkov.vertex_on_sharp_edge(mesh).all()
    assert np.all(zelkov.curvature(mesh) > 0)
    smoothed = zelkov.smooth_scalar_field(mesh, np.arange(8.0), 50)
    np.testing.assert_allclose(smoothed, smoothed.mean(), rtol=1e-3)


def test_results_do_not_depend_on_threads():
    mesh = zelkov.Mesh(*torus(120, 60))
    with zelkov.threads(1):
        one = zelkov.curvature(mesh), zelkov.triangle_neighbour_indices(mesh)[1]
    two = zelkov.curvature(mesh, threads=2), zelkov.triangle_neighbour_indices(mesh, threads=2)[1]
    for a, b in zip(one, two):
        np.testing.assert_array_equal(a, b)
    with pytest.raises(ValueError, match="threads must be at least 1"):
        zelkov.curvature(mesh, threads=0)


def test_editor_keeps_its_map_in_step():
    editor = zelkov.Editor(zelkov.Mesh(*torus(6, 5)))
    v = editor.split_edge([0, 1], 0.25)
    editor.split_triangle_in_three(3)
    editor.flip_edge([0, v])
    out = editor.mesh()
    offsets, indices = zelkov.get_vertex_to_triangles_map(out)
    for w in range(out.vertex_count):
        assert editor.vertex_triangles(w) == list(indices[offsets[w]:offsets[w + 1]])
    with pytest.raises(IndexError):
        editor.split_triangle_in_three(editor.triangle_count)


def test_neighbourhood_cache_collapses_and_refuses_dead_triangles():
    mesh = zelkov.Mesh(*torus(12, 8))
    cache = zelkov.NeighbourhoodCache(mesh)
    kept = cache.collapse_edge(0, 0)
    assert kept == mesh.triangles[0, 0] and cache.triangle(0) is None
    with pytest.raises(ValueError, match="has been collapsed"):
        cache.collapse_edges([[40, 1], [0, 2]])
    out = cache.finish()
    assert out.triangle_count == mesh.triangle_count - 4 and zelkov.is_manifold(out)
    with pytest.raises(ValueError, match="spent"):
        cache.collapse_edge(1, 0)
