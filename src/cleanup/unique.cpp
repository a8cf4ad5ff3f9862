#include <geometry/cleanup.h>

#include <utility>

#include <boost/container/vector.hpp>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/parallel_sort.h>

#include "cleanup/unique.h"

namespace Zelkov::Geometry {

namespace {

using tbb_range = oneapi::tbb::blocked_range<std::size_t>;

/// An element with the index it had.
template <class T>
struct keyed {
    T value;
    std::size_t index;
};

/// The copies are left uninitialised on allocation: the parallel fill is their
/// first touch, so that the pages are faulted in by all threads, not zeroed by one.
template <class T>
using keyed_vector = boost::container::vector<keyed<T>>;

/// Each element of `items` paired with its index, filled in parallel.
template <class T>
keyed_vector<T> keyed_copy(const std::vector<T>& items)
{
    keyed_vector<T> copies(items.size(), boost::container::default_init);
    oneapi::tbb::parallel_for(
        tbb_range(0, items.size(), 1),
        [&](const tbb_range& r) {
            for (std::size_t i = r.begin(); i != r.end(); ++i) copies[i] = {items[i], i};
        },
        oneapi::tbb::auto_partitioner());
    return copies;
}

/// Writes the distinct values of the sorted, non-empty `copies` to the front
/// of `out` and the place of each old index to `old_to_new`. Each entry is
/// compared with the last value kept only, so equal values must be adjacent.
/// \returns the number of distinct values.
template <class T>
std::size_t sweep(const keyed_vector<T>& copies, std::vector<T>& out, std::vector<std::size_t>& old_to_new)
{
    std::size_t u = 0;
    out[0] = copies[0].value;
    old_to_new[copies[0].index] = 0;
    for (std::size_t k = 1; k < copies.size(); ++k) {
        if (!(copies[k].value == out[u])) out[++u] = copies[k].value;
        old_to_new[copies[k].index] = u;
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
    oneapi::tbb::parallel_sort(keyed.begin(), keyed.end(),
                               [](const auto& a, const auto& b) { return detail::point_less(a.value, b.value); });

    // The sweep writes from the sorted copy, so it never reads what it wrote.
    vertices.resize(sweep(keyed, vertices, old_to_new));
    if (!surface.triangles.empty()) renumber_corners(surface.triangles, old_to_new);
    return old_to_new;
}

std::vector<std::size_t> unique_triangles(triangle_surface& surface, bool consider_orientation)
{
    auto& triangles = surface.triangles;
    if (triangles.empty()) return {};

    for (auto& t : triangles) t = consider_orientation ? detail::canonical_rotation(t) : detail::sorted_indices(t);

    auto keyed = keyed_copy(triangles);
    std::vector<std::size_t> old_to_new(triangles.size());
    oneapi::tbb::parallel_sort(keyed.begin(), keyed.end(),
                               [](const auto& a, const auto& b) { return a.value < b.value; });

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
