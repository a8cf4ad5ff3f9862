#include <geometry/connectivity.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>

#include "connectivity/neighbourhood.h"

namespace Zelkov::Geometry {

namespace {

bool has_directed_edge(const std::array<std::size_t, 3>& t, std::size_t from, std::size_t to) noexcept
{
    return (t[0] == from && t[1] == to) || (t[1] == from && t[2] == to) || (t[2] == from && t[0] == to);
}

template <class T>
void reserve_at_least(std::vector<T>& out, std::size_t capacity)
{
    if (out.capacity() < capacity) out.reserve(capacity);
}

void sort_unique(std::vector<std::size_t>& values)
{
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
}

/// Appends to `out` the values of the ascending, duplicate-free `small` that
/// `large` holds too, ascending. Each value is looked for from where the last
/// one was found, by doubling steps and then a binary search, so the walk
/// costs about |small| log(|large| / |small|) comparisons: a hub's thousands of
/// triangles against a spoke's two are not read one by one.
template <class It>
void append_galloping_intersection(std::vector<std::size_t>& out, It small, It small_end, It large, It large_end)
{
    for (; small != small_end && large != large_end; ++small) {
        const std::size_t value = *small;
        if (*large < value) {
            // large[low] < value; large[high] >= value, or high is past the end.
            const std::ptrdiff_t size = large_end - large;
            std::ptrdiff_t low = 0, high = 1;
            while (high < size && large[high] < value) {
                low = high;
                high *= 2;
            }
            large = std::lower_bound(large + low + 1, large + std::min(high, size), value);
            if (large == large_end) break;
        }
        if (*large == value) {
            out.push_back(value);
            ++large;
        }
    }
}

/// Appends the intersection of two ascending, duplicate-free sets to `out`,
/// ascending. Sets of like size are walked together; a set many times larger
/// than the other is searched instead of walked. The caller has made room for
/// the result, so nothing is allocated here.
template <class Set>
void append_intersection(std::vector<std::size_t>& out, const Set& first, const Set& second)
{
    constexpr std::size_t walk_ratio = 8;  // below this, walking both is cheaper than searching
    if (second.size() > walk_ratio * first.size())
        append_galloping_intersection(out, first.begin(), first.end(), second.begin(), second.end());
    else if (first.size() > walk_ratio * second.size())
        append_galloping_intersection(out, second.begin(), second.end(), first.begin(), first.end());
    else std::set_intersection(first.begin(), first.end(), second.begin(), second.end(), std::back_inserter(out));
}

}  // namespace

namespace detail {

void append_ring_corners(std::vector<std::size_t>& out, std::size_t vertex, const triangle_surface& surface,
                         const vertex_to_triangles_map& map)
{
    const auto& triangles = map[vertex];
    reserve_at_least(out, 2 * triangles.size());
    for (const std::size_t t : triangles) {
        const auto& corners = surface.triangles[t];
        const std::size_t c = corner_of_vertex(corners, vertex);
        out.push_back(corners[(c + 1) % 3]);
        out.push_back(corners[(c + 2) % 3]);
    }
}

std::vector<std::size_t> triangle_neighbours(std::vector<std::size_t>& work, const triangle_surface& surface,
                                             const vertex_to_triangles_map& map, std::size_t triangle)
{
    const auto [a, b, c] = surface.triangles[triangle];
    work.clear();
    for (const std::array<std::size_t, 2>& side : {std::array{b, c}, std::array{c, a}, std::array{a, b}})
        triangle_indices_from_edge(work, side, surface, map, false);
    std::erase(work, triangle);
    sort_unique(work);
    return std::vector<std::size_t>(work.begin(), work.end());
}

}  // namespace detail

void one_ring_vertices_from_vertex(std::vector<std::size_t>& out, std::size_t vertex, const triangle_surface& surface,
                                   const vertex_to_triangles_map& map)
{
    detail::append_ring_corners(out, vertex, surface, map);
    sort_unique(out);
}

std::vector<std::size_t> one_ring_vertices_from_vertex(std::size_t vertex, const triangle_surface& surface,
                                                       const vertex_to_triangles_map& map)
{
    std::vector<std::size_t> out;
    one_ring_vertices_from_vertex(out, vertex, surface, map);
    return out;
}

void edges_from_vertex(std::vector<std::array<std::size_t, 2>>& out, std::size_t vertex,
                       const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    const auto ring = one_ring_vertices_from_vertex(vertex, surface, map);
    reserve_at_least(out, ring.size());
    for (const std::size_t w : ring) out.push_back({vertex, w});
}

std::vector<std::array<std::size_t, 2>> edges_from_vertex(std::size_t vertex, const triangle_surface& surface,
                                                          const vertex_to_triangles_map& map)
{
    std::vector<std::array<std::size_t, 2>> out;
    edges_from_vertex(out, vertex, surface, map);
    return out;
}

bool has_edge(const std::array<std::size_t, 2>& edge, const std::array<std::size_t, 3>& triangle,
              bool consider_orientation) noexcept
{
    return has_directed_edge(triangle, edge[0], edge[1]) ||
           (!consider_orientation && has_directed_edge(triangle, edge[1], edge[0]));
}

void triangle_indices_from_edge(std::vector<std::size_t>& out, const std::array<std::size_t, 2>& edge,
                                const triangle_surface& surface, const vertex_to_triangles_map& map,
                                bool consider_orientation)
{
    const auto& first = map[edge[0]];
    const auto& second = map[edge[1]];
    reserve_at_least(out, first.size() + second.size());

    if (edge[0] != edge[1]) {
        append_intersection(out, first, second);
    } else {
        for (const std::size_t t : first)
            if (has_directed_edge(surface.triangles[t], edge[0], edge[0])) out.push_back(t);
    }

    if (consider_orientation) {
        std::erase_if(out, [&](std::size_t t) { return !has_directed_edge(surface.triangles[t], edge[0], edge[1]); });
    }
}

std::vector<std::size_t> triangle_indices_from_edge(const std::array<std::size_t, 2>& edge,
                                                    const triangle_surface& surface, const vertex_to_triangles_map& map,
                                                    bool consider_orientation)
{
    std::vector<std::size_t> out;
    triangle_indices_from_edge(out, edge, surface, map, consider_orientation);
    return out;
}

std::vector<std::size_t> triangle_neighbour_indices(const triangle_surface& surface, const vertex_to_triangles_map& map,
                                                    std::size_t triangle)
{
    std::vector<std::size_t> work;
    return detail::triangle_neighbours(work, surface, map, triangle);
}

std::vector<std::size_t> triangle_neighbour_indices(const triangle_surface& surface, std::size_t triangle)
{
    return triangle_neighbour_indices(surface, get_vertex_to_triangles_map(surface), triangle);
}

std::vector<std::vector<std::size_t>> triangle_neighbour_indices(const triangle_surface& surface,
                                                                 const vertex_to_triangles_map& map)
{
    const std::size_t n = surface.triangles.size();
    std::vector<std::vector<std::size_t>> result(n);
    if (n == 0) return result;
    oneapi::tbb::parallel_for(
        oneapi::tbb::blocked_range<std::size_t>(0, n, 1),
        [&](const oneapi::tbb::blocked_range<std::size_t>& range) {
            std::vector<std::size_t> work;  // one working list per chunk; slot i is written only here
            for (std::size_t i = range.begin(); i != range.end(); ++i)
                result[i] = detail::triangle_neighbours(work, surface, map, i);
        },
        oneapi::tbb::auto_partitioner());
    return result;
}

std::vector<std::vector<std::size_t>> triangle_neighbour_indices(const triangle_surface& surface)
{
    return triangle_neighbour_indices(surface, get_vertex_to_triangles_map(surface));
}

bool edge_between_triangles(std::array<std::size_t, 2>& edge, const std::array<std::size_t, 3>& first,
                            const std::array<std::size_t, 3>& second) noexcept
{
    // Multiset matching: each corner of `second` can be matched once.
    std::array<bool, 3> taken{};
    std::array<std::size_t, 3> vertex{};
    std::array<std::size_t, 3> corner{};
    std::size_t matches = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            if (!taken[j] && second[j] == first[i]) {
                taken[j] = true;
                vertex[matches] = first[i];
                corner[matches] = i;
                ++matches;
                break;
            }
        }
    }
    if (matches < 2) {
        edge = {SIZE_MAX, SIZE_MAX};
        return false;
    }
    // Stated in the direction in which `first` runs along the edge.
    if ((corner[0] + 1) % 3 == corner[1]) edge = {vertex[0], vertex[1]};
    else edge = {vertex[1], vertex[0]};
    return matches == 2;
}

bool are_equal(const std::array<std::size_t, 3>& first, const std::array<std::size_t, 3>& second,
               bool consider_orientation) noexcept
{
    for (std::size_t s = 0; s < 3; ++s)
        if (first[0] == second[s] && first[1] == second[(s + 1) % 3] && first[2] == second[(s + 2) % 3]) return true;
    if (consider_orientation) return false;
    for (std::size_t s = 0; s < 3; ++s)
        if (first[0] == second[s] && first[1] == second[(s + 2) % 3] && first[2] == second[(s + 1) % 3]) return true;
    return false;
}

}  // namespace Zelkov::Geometry
