#include <geometry/cleanup.h>

#include <utility>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/parallel_sort.h>

#include "cleanup/unique.h"

namespace Zelkov::Geometry {

namespace {

using tbb_range = oneapi::tbb::blocked_range<std::size_t>;

/// Each element of `items` paired with its index, filled in parallel.
template <class T>
std::vector<std::pair<T, std::size_t>> keyed_copy(const std::vector<T>& items)
{
    std::vector<std::pair<T, std::size_t>> keyed(items.size());
    oneapi::tbb::parallel_for(
        tbb_range(0, items.size(), 1),
        [&](const tbb_range& r) {
            for (std::size_t i = r.begin(); i != r.end(); ++i) keyed[i] = {items[i], i};
        },
        oneapi::tbb::auto_partitioner());
    return keyed;
}

/// Writes the distinct values of the sorted, non-empty `keyed` to the front of
/// `out` and the place of each old index to `old_to_new`. Each entry is
/// compared with the last value kept only, so equal values must be adjacent.
/// \returns the number of distinct values.
template <class T>
std::size_t sweep(const std::vector<std::pair<T, std::size_t>>& keyed, std::vector<T>& out,
                  std::vector<std::size_t>& old_to_new)
{
    std::size_t u = 0;
    out[0] = keyed[0].first;
    old_to_new[keyed[0].second] = 0;
    for (std::size_t k = 1; k < keyed.size(); ++k) {
        if (!(keyed[k].first == out[u])) out[++u] = keyed[k].first;
        old_to_new[keyed[k].second] = u;
    }
    return u + 1;
}

void renumber_corners(std::vector<std::array<std::size_t, 3>>& triangles, const std::vector<std::size_t>& old_to_new)
{
    oneapi::tbb::parallel_for(
        tbb_range(0, triangles.size(), 1),
        [&](const tbb_range& r) {
            for (std::size_t t = r.begin(); t != r.end(); ++t)
                for (auto& c : triangles[t]) c = old_to_new[c];
        },
        oneapi::tbb::auto_partitioner());
}

}  // namespace

std::vector<std::size_t> unique_vertices(triangle_surface& surface)
{
    auto& vertices = surface.vertices;
    if (vertices.empty()) return {};

    // Everything is allocated before the surface is touched.
    auto keyed = keyed_copy(vertices);
    std::vector<std::size_t> old_to_new(vertices.size());
    oneapi::tbb::parallel_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) {
        return detail::point_less(a.first, b.first);
    });

    // The sweep writes from the sorted copy, so it never reads what it wrote.
    vertices.resize(sweep(keyed, vertices, old_to_new));
    if (!surface.triangles.empty()) renumber_corners(surface.triangles, old_to_new);
    return old_to_new;
}

std::vector<std::size_t> unique_triangles(triangle_surface& surface, bool consider_orientation)
{
    auto& triangles = surface.triangles;
    if (triangles.empty()) return {};

    for (auto& t : triangles)
        t = consider_orientation ? detail::canonical_rotation(t) : detail::sorted_indices(t);

    auto keyed = keyed_copy(triangles);
    std::vector<std::size_t> old_to_new(triangles.size());
    oneapi::tbb::parallel_sort(keyed.begin(), keyed.end(),
                               [](const auto& a, const auto& b) { return a.first < b.first; });

    triangles.resize(sweep(keyed, triangles, old_to_new));
    return old_to_new;
}

std::pair<std::vector<std::size_t>, std::vector<std::size_t>> unique(triangle_surface& surface,
                                                                     bool consider_orientation)
{
    const auto vertex_map = unique_vertices(surface);
    const auto triangle_map = unique_triangles(surface, consider_orientation);
    // The pair holds copies: should they fail, the surface has already changed
    // and its maps are lost with the exception.
    return {vertex_map, triangle_map};
}

}  // namespace Zelkov::Geometry
