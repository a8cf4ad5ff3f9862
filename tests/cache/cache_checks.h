#pragma once
// Helpers for the neighbourhood cache tests: construction at a chosen link
// width with a recorded callback, brute-force oracles, and the check that a
// cache is in step with its surface.

#include <array>
#include <cstddef>
#include <functional>
#include <mutex>
#include <set>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <geometry/neighbourhood_cache.h>

#include "cache/links.h"

namespace Zelkov::Testing {

using Zelkov::Geometry::neighbourhood_cache;
using Zelkov::Geometry::triangle_surface;
using Zelkov::Geometry::detail::link_width;

/// (triangle, edge, is_boundary) as delivered to the constructor's callback.
using edge_report = std::tuple<std::size_t, std::size_t, bool>;

/// Collects the callback's reports from any number of threads.
class report_log {
public:
    std::function<void(std::size_t, std::size_t, bool)> callback();
    /// The reports so far, sorted.
    std::vector<edge_report> sorted() const;

private:
    mutable std::mutex mutex_;
    std::vector<edge_report> reports_;
};

/// The cache of `surface` built with the sort records of `width`.
neighbourhood_cache build_cache(triangle_surface& surface, link_width width,
                                std::function<void(std::size_t, std::size_t, bool)> callback = {});

/// Everything of a cache that construction fixes whatever the thread count:
/// the flip bits of non-manifold entries are masked out.
struct cache_state {
    std::size_t no_triangle;
    std::vector<std::size_t> corners;
    std::vector<std::array<std::size_t, 3>> neighbours;  // rows 0 .. T-1
    std::vector<std::set<std::size_t>> sets;
    bool operator==(const cache_state&) const = default;
};
cache_state state_of(const neighbourhood_cache& cache);

/// Neighbour entries by definition, for the edges whose vertex pair at most
/// two edges share; an edge of three or more gets T * 8 (flip not fixed).
std::vector<std::array<std::size_t, 3>> expected_neighbours(const std::vector<std::array<std::size_t, 3>>& triangles);

/// Rows whose first index is not SIZE_MAX, in order.
std::vector<std::array<std::size_t, 3>> live_rows(const triangle_surface& surface);

/// The promise of a collapse: live triangles have three different vertices;
/// their neighbour entries name live triangles, point back with the same flip
/// and join the same vertex pair in the direction the flip tells; each
/// vertex with live triangles has an entry whose walk or set lists exactly
/// them; a vertex without has SIZE_MAX, an entry naming the spare row, or an
/// empty set.
testing::AssertionResult in_step(const neighbourhood_cache& cache);

/// The triangles that `append_vertex_triangles` lists for `v`, in its order.
std::vector<std::size_t> around(const neighbourhood_cache& cache, std::size_t v);

}  // namespace Zelkov::Testing
