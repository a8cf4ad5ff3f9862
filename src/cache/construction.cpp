#include <geometry/neighbourhood_cache.h>

#include <new>
#include <utility>

#include <boost/container/vector.hpp>
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/parallel_sort.h>
#include <oneapi/tbb/partitioner.h>
#include <oneapi/tbb/task_group.h>

#include "cache/links.h"

namespace Zelkov::Geometry {

using edge_report = std::function<void(std::size_t, std::size_t, bool)>;

namespace detail {

link_width choose_link_width(std::size_t vertex_count, std::size_t triangle_count)
{
    if (vertex_count < 0xFFFFFFFFu && triangle_count < 0x1FFFFFFFu) return link_width::narrow;
    if (vertex_count == SIZE_MAX || triangle_count >= 0x1FFFFFFFFFFFFFFFu) throw std::bad_alloc();
    return link_width::wide;
}

namespace {

// The sort record of one triangle edge. `key` holds the edge's two vertex
// indices, smaller first; `link` is triangle * 8 + edge * 2 + rising, with the
// bit positions of a neighbour entry, where rising is 1 when the edge runs
// from the smaller to the larger index. Records compare by key alone.
template <class I>
struct compressed_edge;

// Three 32-bit words and no gap: the key is one unaligned 64-bit value, so
// that it compares as a single integer and the sort moves 12 bytes a record.
#pragma pack(push, 4)
template <>
struct compressed_edge<std::uint32_t> {
    using index_type = std::uint32_t;
    std::uint64_t key;
    std::uint32_t link;

    void assign(std::size_t smaller, std::size_t larger, std::size_t link_value) noexcept
    {
        key = (static_cast<std::uint64_t>(smaller) << 32) + larger;
        link = static_cast<std::uint32_t>(link_value);
    }
    void mark_end() noexcept { key = ~std::uint64_t{0}; }
    bool operator<(const compressed_edge& other) const noexcept { return key < other.key; }
};
#pragma pack(pop)
static_assert(sizeof(compressed_edge<std::uint32_t>) == 12);

template <>
struct compressed_edge<std::uint64_t> {
    using index_type = std::size_t;
    std::array<std::uint64_t, 2> key;
    std::uint64_t link;

    void assign(std::size_t smaller, std::size_t larger, std::size_t link_value) noexcept
    {
        key = {smaller, larger};
        link = link_value;
    }
    void mark_end() noexcept { key = {~std::uint64_t{0}, ~std::uint64_t{0}}; }
    bool operator<(const compressed_edge& other) const noexcept { return key < other.key; }
};

template <class E>
bool same_key(const E& a, const E& b) noexcept
{
    return a.key == b.key;
}

template <class E>
void fill_records(E* records, std::size_t t, const std::array<std::size_t, 3>& triangle) noexcept
{
    for (std::size_t e = 0; e < 3; ++e) {
        const std::size_t a = triangle[e], b = triangle[next_index[e]];
        if (a < b) records[e].assign(a, b, t * 8 + e * 2 + 1);
        else records[e].assign(b, a, t * 8 + e * 2);
    }
}

// Parts of a record's link, which has the bit positions of a neighbour entry.
constexpr std::size_t link_triangle(std::size_t link) noexcept { return neighbour_of(link); }
constexpr std::size_t link_edge(std::size_t link) noexcept { return edge_of(link); }
constexpr std::size_t link_rising(std::size_t link) noexcept { return flip_of(link); }

std::size_t& entry_of(neighbour_rows& neighbours, std::size_t link) noexcept
{
    return neighbours[link_triangle(link)][link_edge(link)];
}

/// Links the `count` records of one key. Two records face each other; one is
/// a boundary edge; three or more are a non-manifold edge, a boundary for the
/// fan walk that keeps only a flip bit relative to the first record.
template <class E>
void link_group(const E* group, std::size_t count, std::size_t no_triangle, neighbour_rows& neighbours,
                const edge_report& callback)
{
    const std::size_t first = group[0].link;
    const std::size_t boundary = no_triangle * 8;
    if (count == 1) {
        entry_of(neighbours, first) = boundary;
        if (callback) callback(link_triangle(first), link_edge(first), true);
        return;
    }
    const std::size_t second = group[1].link;
    const std::size_t flip = link_rising(first) == link_rising(second) ? 1 : 0;
    if (count == 2) {
        entry_of(neighbours, first) = (second & ~std::size_t{1}) + flip;
        entry_of(neighbours, second) = (first & ~std::size_t{1}) + flip;
        return;
    }
    entry_of(neighbours, first) = boundary + flip;
    entry_of(neighbours, second) = boundary + flip;
    for (std::size_t m = 2; m < count; ++m) {
        const std::size_t link = group[m].link;
        entry_of(neighbours, link) = boundary + (link_rising(link) == link_rising(first) ? 1 : 0);
    }
    if (callback) callback(link_triangle(first), link_edge(first), false);
}

/// Links the groups whose first record lies in [b, e). The last group may
/// run past e; the end marker after the sorted records stops it.
template <class E>
void link_groups(const E* records, std::size_t b, std::size_t e, std::size_t no_triangle, neighbour_rows& neighbours,
                 const edge_report& callback)
{
    std::size_t p = b;
    if (b != 0 && b != e)
        while (p < e && same_key(records[p], records[b - 1])) ++p;
    while (p < e) {
        std::size_t q = p + 1;
        while (same_key(records[q], records[p])) ++q;
        link_group(records + p, q - p, no_triangle, neighbours, callback);
        p = q;
    }
}

using visited_flags = std::vector<std::array<bool, 3>>;

/// Leaves a boundary vertex's entry at an end of its fan and marks every
/// corner that the walk from its entry reaches. Writes only the entry of `v`
/// and the flags of corners holding `v`.
void settle_vertex(std::size_t v, std::vector<std::size_t>& corners, const neighbour_rows& neighbours,
                   std::size_t no_triangle, visited_flags& visited)
{
    const std::size_t entry = corners[v];
    if (!is_corner_entry(entry)) return;
    const std::size_t t0 = entry_triangle(entry), c0 = entry_corner(entry);
    const auto mark = [&visited](const fan_walk& walk) { visited[walk.triangle][walk.corner] = true; };

    const fan_walk back = walk_fan(neighbours, walk_from(t0, c0, 1), no_triangle, t0, mark);
    if (neighbour_of(exit_entry(neighbours, back)) == t0) return;  // a closed fan: any corner will do
    // A fan with one end has another, so this walk needs no test for t0.
    const fan_walk end = walk_fan(neighbours, walk_from(t0, c0, 0), no_triangle, no_triangle, mark);
    corners[v] = corner_entry(end.triangle, end.corner);
}

/// Gives a stored set to every vertex with a corner that the walk from its
/// entry did not reach: its star is not one fan. Serial, in triangle order, so
/// that set indices do not depend on the thread count.
void store_unreached_stars(neighbourhood_cache& cache, const visited_flags& visited)
{
    const auto& triangles = cache.surface.triangles;
    const auto& neighbours = cache.triangle_neighbours;
    auto& sets = cache.vertex_triangle_sets;
    for (std::size_t t = 0; t < triangles.size(); ++t) {
        for (std::size_t c = 0; c < 3; ++c) {
            if (visited[t][c]) continue;
            const std::size_t v = triangles[t][c];
            const std::size_t entry = cache.vertex_corners[v];
            if (!is_corner_entry(entry)) {
                sets[entry_triangle(entry)].insert(t);
                continue;
            }
            const std::size_t t0 = entry_triangle(entry), c0 = entry_corner(entry);
            const std::size_t direction = neighbour_of(neighbours[t0][c0]) == cache.no_triangle ? 1 : 0;
            cache.vertex_corners[v] = corner_entry(sets.size(), 3);
            auto& star = *sets.emplace_back();
            walk_fan(neighbours, walk_from(t0, c0, direction), cache.no_triangle, t0,
                     [&star](const fan_walk& walk) { star.insert(walk.triangle); });
            star.insert(t);
        }
    }
}

}  // namespace

}  // namespace detail

template <class E>
void neighbourhood_cache::init_neighbours(edge_report callback)
{
    using I = typename E::index_type;
    const auto& triangles = surface.triangles;
    const std::size_t count = triangles.size();

    boost::container::vector<E> records(3 * count + 1, boost::container::default_init);
    if (count != 0)
        oneapi::tbb::parallel_for(
            oneapi::tbb::blocked_range<I>(0, static_cast<I>(count), 1),
            [&](const oneapi::tbb::blocked_range<I>& range) {
                for (I t = range.begin(); t != range.end(); ++t)
                    detail::fill_records(records.data() + 3 * static_cast<std::size_t>(t), t, triangles[t]);
            },
            oneapi::tbb::auto_partitioner());
    records[3 * count].mark_end();
    no_triangle = count;

    oneapi::tbb::parallel_sort(records.begin(), records.begin() + 3 * count);

    triangle_neighbours.resize(count + 1);
    if (count != 0)
        oneapi::tbb::parallel_for(
            oneapi::tbb::blocked_range<std::size_t>(0, 3 * count, 8192),
            [&](const oneapi::tbb::blocked_range<std::size_t>& range) {
                detail::link_groups(records.data(), range.begin(), range.end(), no_triangle, triangle_neighbours,
                                    callback);
            },
            oneapi::tbb::auto_partitioner());
}

// The parameters are named `target`: `surface` is the member they initialise.
neighbourhood_cache::neighbourhood_cache(triangle_surface& target, edge_report callback)
    : neighbourhood_cache(target, std::move(callback), detail::link_width::from_counts)
{
}

neighbourhood_cache::neighbourhood_cache(triangle_surface& target, edge_report callback, detail::link_width width)
    : surface(target), no_triangle(SIZE_MAX)
{
    // One task holds the whole build, so that its parallel loops nest inside it.
    oneapi::tbb::task_group group;
    group.run_and_wait([&] {
        const std::size_t vertex_count = surface.vertices.size();
        const std::size_t triangle_count = surface.triangles.size();
        if (width == detail::link_width::from_counts) width = detail::choose_link_width(vertex_count, triangle_count);
        if (width == detail::link_width::narrow)
            init_neighbours<detail::compressed_edge<std::uint32_t>>(std::move(callback));
        else init_neighbours<detail::compressed_edge<std::uint64_t>>(std::move(callback));

        // Last write wins: the highest triangle naming a vertex, at its highest corner there.
        vertex_corners.assign(vertex_count, detail::no_vertex_entry);
        const auto& triangles = surface.triangles;
        for (std::size_t t = 0; t < triangle_count; ++t)
            for (std::size_t c = 0; c < 3; ++c) vertex_corners[triangles[t][c]] = detail::corner_entry(t, c);

        detail::visited_flags visited(triangle_count);
        if (vertex_count != 0)
            oneapi::tbb::parallel_for(
                oneapi::tbb::blocked_range<std::size_t>(0, vertex_count, 1),
                [&](const oneapi::tbb::blocked_range<std::size_t>& range) {
                    for (std::size_t v = range.begin(); v != range.end(); ++v)
                        detail::settle_vertex(v, vertex_corners, triangle_neighbours, no_triangle, visited);
                },
                oneapi::tbb::auto_partitioner());
        detail::store_unreached_stars(*this, visited);
    });
}

void neighbourhood_cache::append_vertex_triangles(std::size_t vertex, std::vector<std::size_t>& out) const
{
    using namespace detail;
    const std::size_t entry = vertex_corners[vertex];
    if (!is_corner_entry(entry)) {
        if (entry == no_vertex_entry) return;
        const auto& star = vertex_triangle_sets[entry_triangle(entry)];
        out.insert(out.end(), star.begin(), star.end());
        return;
    }
    // Backwards first; forwards when the entry stands at that end of an open fan.
    const std::size_t t0 = entry_triangle(entry), c = entry_corner(entry);
    const std::size_t direction = neighbour_of(triangle_neighbours[t0][previous_index[c]]) == no_triangle ? 0 : 1;
    walk_fan(triangle_neighbours, walk_from(t0, c, direction), no_triangle, t0,
             [&out](const fan_walk& walk) { out.push_back(walk.triangle); });
}

}  // namespace Zelkov::Geometry
