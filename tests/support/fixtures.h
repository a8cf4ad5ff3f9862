#pragma once
// Helpers shared by the unit tests: named small surfaces, arena runners and
// brute-force oracles.

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
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

/// Results compared as bits where they are plain data (equal NaNs are equal,
/// 0.0 differs from -0.0), as values otherwise; vectors and pairs element by
/// element.
template <class T>
bool same_bits(const T& a, const T& b)
{
    if constexpr (std::is_trivially_copyable_v<T>) return std::memcmp(&a, &b, sizeof(T)) == 0;
    else return a == b;
}

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

template <class A, class B>
bool same_bits(const std::pair<A, B>& a, const std::pair<A, B>& b)
{
    return same_bits(a.first, b.first) && same_bits(a.second, b.second);
}

/// The canonical form of a triangle by definition: its indices sorted; with
/// orientation, of the rotations that start with the smallest index, the
/// largest, so that (m, m, x) becomes (m, x, m).
inline tri canonical(const tri& t, bool consider_orientation)
{
    tri form = t;
    if (!consider_orientation) {
        std::sort(form.begin(), form.end());
        return form;
    }
    form = {};
    for (const tri& r : {t, tri{t[1], t[2], t[0]}, tri{t[2], t[0], t[1]}})
        if (r[0] == *std::min_element(t.begin(), t.end())) form = std::max(form, r);
    return form;
}

/// A surface over `triangles` with one point per named index plus `free_points`.
inline triangle_surface surface_of(std::vector<tri> triangles, std::size_t free_points = 0)
{
    std::size_t n = 0;
    for (const auto& t : triangles) n = std::max(n, *std::max_element(t.begin(), t.end()) + 1);
    return {std::vector<point3>(n + free_points), std::move(triangles)};
}

/// `n` random triangles on indices below `range`, many corners shared and,
/// unless `distinct_corners`, repeated.
std::vector<tri> random_triangles(std::size_t n, std::size_t range, std::uint64_t seed, bool distinct_corners = false);

/// How many triangle sides run along each vertex pair (smaller index first).
std::map<std::pair<std::size_t, std::size_t>, std::size_t> sides_per_edge(const triangle_surface& s);

/// The most triangle sides along one vertex pair of `s`.
std::size_t most_sides_on_an_edge(const triangle_surface& s);

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
