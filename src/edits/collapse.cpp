#include <geometry/edits.h>

#include <algorithm>

#include <geometry/connectivity.h>

#include "edits/edit_steps.h"

namespace Zelkov::Geometry {

namespace {

/// The lowest other triangle u on the side (b, c) of t shares the move with
/// t: t becomes (a, b, d) in t's corner order, u has its b replaced by a.
void turn_with_first_neighbour(std::size_t t, std::size_t corner, std::size_t u, triangle_surface& surface,
                               vertex_to_triangles_map& map)
{
    auto& collapsed = surface.triangles[t];
    auto& neighbour = surface.triangles[u];
    const std::size_t a = collapsed[corner];
    const std::size_t b = collapsed[(corner + 1) % 3];
    const std::size_t c = collapsed[(corner + 2) % 3];
    const auto corners = detail::edge_corners(neighbour, b, c);
    const std::size_t d = neighbour[corners.c2];

    collapsed[(corner + 2) % 3] = d;
    neighbour[corners.c0] = a;
    // A triangle keeps its index in a set while it names the vertex elsewhere.
    if (b != c) {
        if (b != a && b != d) map[b].erase(u);
        if (c != a && c != d) map[c].erase(t);
    }
    map[a].insert(u);
    map[d].insert(t);
}

}  // namespace

bool collapse_triangle(std::size_t triangle, std::size_t corner, triangle_surface& surface,
                       vertex_to_triangles_map& map)
{
    const auto original = surface.triangles[triangle];
    const std::size_t a = original[corner];
    const std::size_t b = original[(corner + 1) % 3];
    const std::size_t c = original[(corner + 2) % 3];
    auto side = triangle_indices_from_edge({b, c}, surface, map, false);
    if (side.size() < 2) return false;
    detail::ensure_triangle_capacity(surface.triangles, surface.triangles.size() + side.size() - 2);

    side.erase(std::find(side.begin(), side.end(), triangle));
    turn_with_first_neighbour(triangle, corner, side.front(), surface, map);
    // Every further triangle is halved at a as an edge split of (b, c) would:
    // it keeps b at its index and its c half is appended.
    for (std::size_t i = 1; i < side.size(); ++i)
        detail::split_incident_triangle({b, c}, side[i], a, surface, map, nullptr);
    return true;
}

}  // namespace Zelkov::Geometry
