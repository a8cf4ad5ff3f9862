#pragma once
// Helpers shared by the unit tests: named small surfaces, arena runners and
// brute-force oracles.

#include <functional>
#include <string>
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
