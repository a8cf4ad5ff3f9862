#pragma once
// Generated test and benchmark meshes, and the reading of the real mesh files
// that tests and benchmarks use. Not part of the library.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <geometry/triangle_surface.h>

namespace Zelkov::Meshgen {

using Zelkov::Geometry::triangle_surface;

/// A flat open grid of nx by ny squares in the z = 0 plane, two triangles per
/// square, consistently oriented (normals +z). (nx+1)(ny+1) vertices.
triangle_surface grid(std::size_t nx, std::size_t ny);

/// A closed torus of nu by nv squares (2 nu nv triangles, nu nv vertices,
/// vertex (i, j) being i nv + j), consistently oriented outward. Radii R = 1,
/// r = 0.35.
triangle_surface torus(std::size_t nu, std::size_t nv);

/// A closed torus with about `triangles` triangles.
triangle_surface torus_with_about(std::size_t triangles);

/// The unit icosahedron subdivided `levels` times and projected onto the unit
/// sphere: 20 * 4^levels triangles, closed, outward.
triangle_surface icosphere(unsigned levels);

/// The tetrahedron (0,0,0), (1,0,0), (0,1,0), (0,0,1), closed, outward.
triangle_surface tetrahedron();

/// The axis-aligned box [0,sx] x [0,sy] x [0,sz], 8 vertices, 12 triangles, outward.
triangle_surface box(double sx = 1.0, double sy = 1.0, double sz = 1.0);

/// n triangles that all share vertex 0, around it in a closed (n >= 3) fan.
triangle_surface fan(std::size_t n, bool closed = true);

/// The same surface with vertices and triangles in a random order (and each
/// triangle's corners rotated at random, orientation kept).
triangle_surface shuffled(const triangle_surface& surface, std::uint64_t seed);

/// Three fresh points per triangle: the triangle soup of a surface.
triangle_surface soup(const triangle_surface& surface);

/// Moves every vertex by a random offset of at most `amount` per coordinate.
triangle_surface jittered(triangle_surface surface, double amount, std::uint64_t seed);

/// Reads an OBJ (polygons fan-triangulated), OFF, STL (binary or ASCII) or PLY
/// (ASCII or binary, either endianness) file as stored, with no welding, through
/// the program's mesh I/O. Returns nothing when the file cannot be read.
std::optional<triangle_surface> read_mesh(const std::string& path);

/// Directory of the shared real meshes: $ZELKOV_SHARED_MESHES if set, else
/// "../shared/meshes" from the project root; empty when absent.
std::string shared_mesh_dir();

}  // namespace Zelkov::Meshgen
