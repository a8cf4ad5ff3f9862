#pragma once
// Internal pieces of the neighbourhood cache: the index tables, the parts of
// corner and neighbour entries, the fan walk, re-linking, and the choice of
// link width.

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include <geometry/neighbourhood_cache.h>

namespace Zelkov::Geometry::detail {

using neighbour_rows = std::vector<std::array<std::size_t, 3>>;

using cache_entries::next_index;
using cache_entries::previous_index;
/// cycle_table[r][i] = (i + r) mod 3. The rows lie one behind the other so
/// that a walk picks a row by arithmetic on its direction bit.
inline constexpr std::size_t cycle_table[3][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}};

// ---------------------------------------------------------------- entries

using cache_entries::corner_entry;
using cache_entries::edge_of;
using cache_entries::entry_corner;
using cache_entries::entry_triangle;
using cache_entries::flip_of;
using cache_entries::is_corner_entry;
using cache_entries::is_set_entry;
using cache_entries::neighbour_of;
using cache_entries::no_vertex_entry;

/// The corner, in the neighbour, of the vertex at the start of the edge whose entry this is.
constexpr std::size_t start_corner(std::size_t entry) noexcept
{
    return cycle_table[1 - flip_of(entry)][edge_of(entry)];
}
/// The corner, in the neighbour, of the vertex at the end of the edge whose entry this is.
constexpr std::size_t end_corner(std::size_t entry) noexcept { return cycle_table[flip_of(entry)][edge_of(entry)]; }

// ---------------------------------------------------------------- fan walk

/// The state of a walk around one vertex: the vertex stands at `corner` of
/// `triangle`; `direction` 0 leaves by the edge that starts at the corner, 1 by
/// the edge that ends there; `exit` is that edge.
struct fan_walk {
    std::size_t triangle;
    std::size_t corner;
    std::size_t direction;
    std::size_t exit;
};

constexpr fan_walk walk_from(std::size_t triangle, std::size_t corner, std::size_t direction) noexcept
{
    return {triangle, corner, direction, cycle_table[2 * direction][corner]};
}

/// The neighbour entry across the walk's exit edge.
inline std::size_t exit_entry(const neighbour_rows& neighbours, const fan_walk& walk) noexcept
{
    return neighbours[walk.triangle][walk.exit];
}

/// Crosses into the neighbour named by `entry`, keeping to the same vertex:
/// a flipped seam turns the direction relative to the new triangle.
inline void cross(fan_walk& walk, std::size_t entry) noexcept
{
    walk.direction ^= flip_of(entry);
    walk.triangle = neighbour_of(entry);
    walk.corner = cycle_table[1 - walk.direction][edge_of(entry)];
    walk.exit = cycle_table[1 + walk.direction][edge_of(entry)];
}

/// Calls `visit(walk)` on the current triangle, then steps on, until the next
/// triangle is `no_triangle` or `stop`. Returns the state at the last
/// triangle visited.
template <class Visit>
fan_walk walk_fan(const neighbour_rows& neighbours, fan_walk walk, std::size_t no_triangle, std::size_t stop,
                  Visit&& visit)
{
    for (;;) {
        visit(walk);
        const std::size_t entry = exit_entry(neighbours, walk);
        const std::size_t next = neighbour_of(entry);
        if (next == no_triangle || next == stop) return walk;
        cross(walk, entry);
    }
}

/// Takes triangle `u` out of the links at edge `z`: the triangles across its
/// two other edges are made to face each other, with the sum of the two
/// flips. A missing side lands in the spare row, and the other side gets the
/// boundary or non-manifold entry that stood in `u`.
inline void unlink(neighbour_rows& neighbours, std::size_t u, std::size_t z) noexcept
{
    const std::size_t a = neighbours[u][next_index[z]];
    const std::size_t b = neighbours[u][previous_index[z]];
    neighbours[neighbour_of(b)][edge_of(b)] = a ^ flip_of(b);
    neighbours[neighbour_of(a)][edge_of(a)] = b ^ flip_of(a);
}

// ---------------------------------------------------------------- construction

/// The width of the indices in the sort records of construction.
enum class link_width : unsigned char { from_counts, narrow, wide };

/// The width for V vertices and T triangles: narrow while every link fits in
/// 32 bits and no real edge key can be all ones, wide otherwise.
/// \throws std::bad_alloc when V is SIZE_MAX or T is at least 2^61 - 1.
link_width choose_link_width(std::size_t vertex_count, std::size_t triangle_count);

/// Reaches the construction with a chosen link width, so that the wide form
/// can be exercised without four billion vertices.
struct neighbourhood_cache_access {
    static neighbourhood_cache build(triangle_surface& surface,
                                     std::function<void(std::size_t, std::size_t, bool)> callback, link_width width)
    {
        return neighbourhood_cache(surface, std::move(callback), width);
    }
};

}  // namespace Zelkov::Geometry::detail
