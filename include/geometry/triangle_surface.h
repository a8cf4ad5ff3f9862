#pragma once
/// \file
/// The surface model: the records that cross the library's boundary, their
/// construction and validation, and whole-surface transforms.
///
/// Index conventions. A `triangle_surface` holds V vertices and T triangles.
/// Triangle t is `triangles[t]`, three vertex indices; its directed edges are
/// t[0]->t[1], t[1]->t[2], t[2]->t[0]. A surface is valid when every index is
/// below V. Free points, repeated indices within a triangle, duplicate
/// triangles and non-manifold edges are all legal. Apart from `is_valid` and
/// `make_triangle_surface` no operation of this library tests an index.

#include <array>
#include <cstddef>
#include <vector>

#include <boost/container/flat_set.hpp>

#include <geometry/export.h>
#include <math/records.h>

namespace Zelkov::Geometry {

using Zelkov::Math::boundingbox;
using Zelkov::Math::matrix4x4;
using Zelkov::Math::point;

/// An indexed triangle mesh: positions and oriented triangles. Owning and copyable.
struct triangle_surface {
    std::vector<point<double, 3>> vertices;             ///< the positions
    std::vector<std::array<std::size_t, 3>> triangles;  ///< corners, indices into `vertices`
};

/// The result of `make_triangle_surface`. On failure `surface` may still hold
/// the part of the input that was accepted.
struct triangle_surface_with_success {
    triangle_surface surface;  ///< what was accepted
    bool success;              ///< every index was below the vertex count
};

/// A non-owning view of `size` points. `data` may be null.
struct const_span_vertices {
    const point<double, 3>* data;  ///< the first point
    std::size_t size;              ///< the number of points
};

/// A non-owning view of `size` triangles. `data` may be null.
struct const_span_triangles {
    const std::array<std::size_t, 3>* data;  ///< the first triangle
    std::size_t size;                        ///< the number of triangles
};

/// For each vertex, the ascending set of the triangles that name it, each
/// triangle once. Built by `get_vertex_to_triangles_map` (connectivity.h).
using vertex_to_triangles_map = std::vector<boost::container::flat_set<std::size_t>>;

// ---------------------------------------------------------------- construction and validation

/// Copies two spans into a new surface, testing each triangle's indices as it
/// is copied.
///
/// Acceptance, rules tried in order (nv, nt the two sizes):
/// 1. nv != 0 and vertices.data null: rejected.  2. nv == nt == 0: accepted.
/// 3. nt != 0 and triangles.data null: rejected.  4. nv == 0: rejected.
/// 5. nt == 0: accepted.  6. Otherwise every index must be below nv.
///
/// \returns on success all vertices and triangles with `success` true. When
/// rules 1-4 reject, an empty surface. When triangle k holds an index >= nv,
/// all vertices and the k triangles before it, with `success` false: the
/// number of triangles tells where the input went wrong.
/// \throws std::bad_alloc, std::length_error when memory runs out.
ZELKOV_TRIMESH_EXPORT triangle_surface_with_success make_triangle_surface(const_span_vertices vertices,
                                                                          const_span_triangles triangles);

/// Copies n points and gives them n/3 placeholder triangles.
///
/// A null `data` with n == 0 succeeds with an empty surface; a null `data`
/// with n != 0, a non-null `data` with n == 0, and n not a multiple of 3 fail
/// with an empty surface. Otherwise the triangles, read as one flat run of n
/// indices, hold k in slot k for k < n/3 and 0 elsewhere: n = 6 gives
/// (0, 1, 0), (0, 0, 0); n = 12 gives (0, 1, 2), (3, 0, 0), (0, 0, 0), (0, 0, 0).
ZELKOV_TRIMESH_EXPORT triangle_surface_with_success make_triangle_surface(const_span_vertices vertices);

/// True when every triangle index of `surface` is below its vertex count
/// (the acceptance rule of `make_triangle_surface`). Does not allocate or throw.
ZELKOV_TRIMESH_EXPORT bool is_valid(const triangle_surface& surface) noexcept;

/// True exactly when `make_triangle_surface(vertices, triangles)` would succeed.
ZELKOV_TRIMESH_EXPORT bool is_valid(const_span_vertices vertices, const_span_triangles triangles) noexcept;

/// Exchanges the vertices and then the triangles of `a` and `b` in constant
/// time. Never throws.
ZELKOV_TRIMESH_EXPORT void swap(triangle_surface& a, triangle_surface& b) noexcept;

// ---------------------------------------------------------------- whole-surface transforms

/// Adds `offset` to every vertex, in order. Triangles are handed on unchanged;
/// the result owns the argument's storage.
ZELKOV_TRIMESH_EXPORT triangle_surface translate(triangle_surface surface, const point<double, 3>& offset);

/// Maps every vertex p to (p.x*m[0] + p.y*m[4] + p.z*m[8] + m[12], ...), with
/// no homogeneous division. When the determinant of the matrix, taken with
/// m[3], m[7], m[11] = 0 and m[15] = 1, is negative, every triangle is turned
/// over as by `invert`, so a mirroring keeps the outward side outward. A zero
/// or NaN determinant turns nothing over.
ZELKOV_TRIMESH_EXPORT void transform(triangle_surface& surface, const matrix4x4<double>& matrix);

/// Turns every triangle over: (a, b, c) becomes (b, a, c).
ZELKOV_TRIMESH_EXPORT void invert(triangle_surface& surface);

/// Turns over the triangles at the positions named, in list order; a position
/// named twice ends as it was. \pre every position is below the triangle count.
ZELKOV_TRIMESH_EXPORT void invert(triangle_surface& surface, const std::vector<std::size_t>& triangle_indices);

}  // namespace Zelkov::Geometry
