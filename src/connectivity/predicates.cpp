#include <geometry/connectivity.h>

#include <algorithm>

#include "connectivity/neighbourhood.h"

namespace Zelkov::Geometry {

namespace {

using edge_type = std::array<std::size_t, 2>;

/// The manifold test on `list`, the undirected triangles of `edge`: exactly
/// two, and with `consider_orientation` running along it in opposite
/// directions, whichever of them runs which way.
bool is_manifold_list(const std::vector<std::size_t>& list, const edge_type& edge, const triangle_surface& surface,
                      bool consider_orientation) noexcept
{
    if (list.size() != 2) return false;
    if (!consider_orientation) return true;
    const auto& lower = surface.triangles[list[0]];
    const auto& upper = surface.triangles[list[1]];
    const edge_type reverse{edge[1], edge[0]};
    return (has_edge(edge, lower, true) && has_edge(reverse, upper, true)) ||
           (has_edge(reverse, lower, true) && has_edge(edge, upper, true));
}

std::size_t edge_count(const edge_type& edge, const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    std::vector<std::size_t> list;
    return detail::triangles_on_edge(list, edge, surface, map, false).size();
}

}  // namespace

bool is_manifold_edge(const std::array<std::size_t, 2>& edge, const triangle_surface& surface,
                      const vertex_to_triangles_map& map, bool consider_orientation)
{
    std::vector<std::size_t> list;
    return is_manifold_list(detail::triangles_on_edge(list, edge, surface, map, false), edge, surface,
                            consider_orientation);
}

bool is_non_manifold_edge(const std::array<std::size_t, 2>& edge, const triangle_surface& surface,
                          const vertex_to_triangles_map& map)
{
    return edge_count(edge, surface, map) >= 3;
}

bool is_boundary_edge(const std::array<std::size_t, 2>& edge, const triangle_surface& surface,
                      const vertex_to_triangles_map& map)
{
    return edge_count(edge, surface, map) == 1;
}

bool is_boundary_vertex(std::size_t vertex, const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    // A run of length 1 in the sorted corner list is a vertex that only one of
    // the triangles names: without repeated vertices, the far end of a
    // boundary edge.
    std::vector<std::size_t> corners;
    detail::append_ring_corners(corners, vertex, surface, map);
    std::sort(corners.begin(), corners.end());
    for (auto run = corners.begin(); run != corners.end();) {
        const auto run_end = std::find_if(run, corners.end(), [&](std::size_t w) { return w != *run; });
        if (run_end - run == 1) return true;
        run = run_end;
    }
    return false;
}

bool is_non_manifold_vertex(std::size_t vertex, const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    std::vector<std::size_t> list;
    for (const std::size_t w : one_ring_vertices_from_vertex(vertex, surface, map))
        if (detail::triangles_on_edge(list, {w, vertex}, surface, map, false).size() >= 3) return true;
    return false;
}

bool is_manifold(const triangle_surface& surface, const vertex_to_triangles_map& map, bool consider_orientation)
{
    std::vector<std::size_t> list;
    for (const auto& t : surface.triangles)
        for (const auto& side : detail::sides_of(t))
            if (!is_manifold_list(detail::triangles_on_edge(list, side, surface, map, false), side, surface,
                                  consider_orientation))
                return false;
    return true;
}

bool is_bad(const triangle_surface& surface, const vertex_to_triangles_map& map, bool consider_orientation)
{
    // A boundary side (count 1) is only an early exit: it fails the manifold
    // test as well, so this is exactly the negation of is_manifold.
    std::vector<std::size_t> list;
    for (const auto& t : surface.triangles) {
        for (const auto& side : detail::sides_of(t)) {
            const auto& on_side = detail::triangles_on_edge(list, side, surface, map, false);
            if (on_side.size() == 1) return true;
            if (!is_manifold_list(on_side, side, surface, consider_orientation)) return true;
        }
    }
    return false;
}

bool is_bad(const triangle_surface& surface, bool consider_orientation)
{
    return is_bad(surface, get_vertex_to_triangles_map(surface), consider_orientation);
}

std::size_t count_topologically_degenerate_triangles(const triangle_surface& surface) noexcept
{
    return static_cast<std::size_t>(
        std::count_if(surface.triangles.begin(), surface.triangles.end(), [](const std::array<std::size_t, 3>& t) {
            return t[0] == t[1] || t[0] == t[2] || t[1] == t[2];
        }));
}

}  // namespace Zelkov::Geometry
