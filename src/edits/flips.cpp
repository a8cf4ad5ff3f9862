#include <geometry/edits.h>

#include <cmath>
#include <numbers>

#include <geometry/connectivity.h>

#include "edits/edit_steps.h"
#include "surface/stable_length.h"
#include "vecmath/point_ops.h"

namespace Zelkov::Geometry {

namespace detail {

double vector_angle(const point<double, 3>& a, const point<double, 3>& b) noexcept
{
    using Zelkov::Math::detail::add;
    using Zelkov::Math::detail::scale;
    using Zelkov::Math::detail::sub;
    const auto scaled_a = scale(a, stable_length(b));
    const auto scaled_b = scale(b, stable_length(a));
    const auto difference = sub(scaled_a, scaled_b);
    const auto sum = add(scaled_a, scaled_b);
    return 2.0 * std::atan(stable_length(difference) / stable_length(sum));
}

}  // namespace detail

namespace {

/// The two triangles of an edge with exactly two, their corners of the edge,
/// and the apexes c (of the lower triangle) and d opposite it.
struct flip_candidate {
    std::size_t t0;
    std::size_t t1;
    detail::edge_corner_positions corners0;
    detail::edge_corner_positions corners1;
    std::size_t c;
    std::size_t d;
};

/// Fills `candidate` and returns true when exactly two triangles lie on `edge`.
bool find_flip_candidate(flip_candidate& candidate, const std::array<std::size_t, 2>& edge,
                         const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    const auto on_edge = triangle_indices_from_edge(edge, surface, map, false);
    if (on_edge.size() != 2) return false;
    candidate.t0 = on_edge[0];
    candidate.t1 = on_edge[1];
    candidate.corners0 = detail::edge_corners(surface.triangles[candidate.t0], edge[0], edge[1]);
    candidate.corners1 = detail::edge_corners(surface.triangles[candidate.t1], edge[0], edge[1]);
    candidate.c = surface.triangles[candidate.t0][candidate.corners0.c2];
    candidate.d = surface.triangles[candidate.t1][candidate.corners1.c2];
    return true;
}

/// T0 gives its corner of e0 to d, T1 its corner of e1 to c; the map follows,
/// keeping an index where the triangle still names the vertex in another corner.
void flip_move(const flip_candidate& f, const std::array<std::size_t, 2>& edge, triangle_surface& surface,
               vertex_to_triangles_map& map)
{
    const std::size_t e0 = edge[0];
    const std::size_t e1 = edge[1];
    surface.triangles[f.t0][f.corners0.c0] = f.d;
    surface.triangles[f.t1][f.corners1.c1] = f.c;
    if (e0 != e1 && e0 != f.c && e0 != f.d) map[e0].erase(f.t0);
    if (e1 != e0 && e1 != f.c && e1 != f.d) map[e1].erase(f.t1);
    map[f.c].insert(f.t1);
    map[f.d].insert(f.t0);
}

/// Whether the new diagonal is free: c != d and no triangle lies on (c, d).
bool diagonal_is_free(const flip_candidate& f, const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    return f.c != f.d && triangle_indices_from_edge({f.c, f.d}, surface, map, false).empty();
}

}  // namespace

bool flip_edge_if(const std::array<std::size_t, 2>& edge, triangle_surface& surface, vertex_to_triangles_map& map,
                  const std::function<bool(const std::array<std::size_t, 2>&)>& predicate)
{
    flip_candidate candidate{};
    if (!find_flip_candidate(candidate, edge, surface, map)) return false;
    if (!predicate({candidate.c, candidate.d})) return false;
    flip_move(candidate, edge, surface, map);
    return true;
}

bool flip_edge(const std::array<std::size_t, 2>& edge, triangle_surface& surface, vertex_to_triangles_map& map)
{
    const std::function<bool(const std::array<std::size_t, 2>&)> always = [](const std::array<std::size_t, 2>&) {
        return true;
    };
    return flip_edge_if(edge, surface, map, always);
}

bool relax_edge(const std::array<std::size_t, 2>& edge, triangle_surface& surface, vertex_to_triangles_map& map)
{
    using Zelkov::Math::detail::sub;
    flip_candidate f{};
    if (!find_flip_candidate(f, edge, surface, map) || !diagonal_is_free(f, surface, map)) return false;
    const auto& p = surface.vertices;
    const double angle_d = detail::vector_angle(sub(p[edge[0]], p[f.d]), sub(p[edge[1]], p[f.d]));
    const double angle_c = detail::vector_angle(sub(p[edge[0]], p[f.c]), sub(p[edge[1]], p[f.c]));
    // Co-circular quadrilaterals (sum exactly pi) are flipped; NaN compares false.
    if (!(angle_d + angle_c >= std::numbers::pi)) return false;
    flip_move(f, edge, surface, map);
    return true;
}

bool relax_edge(const std::array<std::size_t, 2>& edge, triangle_surface& surface, vertex_to_triangles_map& map,
                double min_angle)
{
    using Zelkov::Math::detail::sub;
    flip_candidate f{};
    if (!find_flip_candidate(f, edge, surface, map) || !diagonal_is_free(f, surface, map)) return false;
    const auto& p = surface.vertices;
    const double angle_d = detail::vector_angle(sub(p[f.d], p[edge[0]]), sub(p[f.d], p[edge[1]]));
    const double angle_c = detail::vector_angle(sub(p[f.c], p[edge[0]]), sub(p[f.c], p[edge[1]]));
    // Strictly above pi: unlike the overload above, co-circular quadrilaterals stay.
    if (!(angle_c + angle_d > std::numbers::pi)) return false;
    if (!(angle_c > min_angle || angle_d > min_angle)) return false;
    flip_move(f, edge, surface, map);
    return true;
}

}  // namespace Zelkov::Geometry
