#pragma once
// Helpers shared by the unit tests: named small surfaces, arena runners and
// brute-force oracles.

#include <cstring>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>
#include <oneapi/tbb/task_arena.h>

#include <geometry/triangle_surface.h>

#include "meshgen.h"

namespace Zelkov::Testing {

using Zelkov::Geometry::triangle_surface;
using Zelkov::Geometry::vertex_to_triangles_map;
using tri = std::array<std::size_t, 3>;
using point3 = Zelkov::Math::point<double, 3>;

/// Runs `f` inside an arena of `threads` threads and returns its result.
template <class F>
auto in_arena(int threads, F&& f)
{
    oneapi::tbb::task_arena arena(threads);
    return arena.execute(std::forward<F>(f));
}

/// Vectors compared as bits where their values are plain data (equal NaNs
/// are equal, 0.0 differs from -0.0), element by element otherwise.
template <class T>
bool same_bits(const std::vector<T>& a, const std::vector<T>& b)
{
    if constexpr (std::is_trivially_copyable_v<T>)
        return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
    else return a == b;
}

/// Points compared as bits, triangles as values.
inline bool same_bits(const triangle_surface& a, const triangle_surface& b)
{
    return same_bits(a.vertices, b.vertices) && a.triangles == b.triangles;
}

/// The map by definition: for each vertex (up to `vertex_count`, at least the
/// largest index + 1) the ascending triangles naming it.
vertex_to_triangles_map brute_force_map(const std::vector<tri>& triangles, std::size_t vertex_count = 0);

/// The path of a shared real mesh, or empty (and the test is skipped) when the
/// shared meshes are absent.
std::string shared_mesh_or_skip(const std::string& name);

}  // namespace Zelkov::Testing

/// Skips the current test with a clear message when the shared meshes are absent.
#define ZELKOV_SHARED_MESH(var, name)                                                                                  \
    const std::string var = ::Zelkov::Testing::shared_mesh_or_skip(name);                                              \
    if (var.empty()) GTEST_SKIP() << "shared meshes not found (../shared/meshes): " << name
