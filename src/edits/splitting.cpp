#include <geometry/edits.h>

#include <boost/container/flat_set.hpp>

#include <geometry/connectivity.h>

#include "edits/edit_steps.h"

namespace Zelkov::Geometry {

namespace detail {

void split_incident_triangle(const std::array<std::size_t, 2>& edge, std::size_t t, std::size_t v,
                             triangle_surface& surface, vertex_to_triangles_map& map, std::vector<std::size_t>* labels)
{
    const std::size_t e0 = edge[0];
    const std::size_t e1 = edge[1];
    // The capacity was raised beforehand: `triangle` stays valid across the append.
    auto& triangle = surface.triangles[t];
    const auto corners = edge_corners(triangle, e0, e1);
    auto piece = triangle;
    triangle[corners.c1] = v;
    piece[corners.c0] = v;
    const std::size_t nt = surface.triangles.size();
    surface.triangles.push_back(piece);
    if (labels != nullptr) {
        const std::size_t label = (*labels)[t];
        labels->push_back(label);
    }

    const std::size_t o = triangle[corners.c2];
    // t still names e1 when e1 is also its e0, third or new vertex.
    if (e1 != e0 && e1 != o && e1 != v) map[e1].erase(t);
    map[e1].insert(nt);
    map[o].insert(nt);
    map[v].insert(t);
    map[v].insert(nt);
}

void split_all_incident_triangles(const std::array<std::size_t, 2>& edge, std::size_t v, triangle_surface& surface,
                                  vertex_to_triangles_map& map, std::vector<std::size_t>* labels)
{
    const auto on_edge = triangle_indices_from_edge(edge, surface, map, false);
    ensure_triangle_capacity(surface.triangles, surface.triangles.size() + on_edge.size());
    for (const std::size_t t : on_edge) split_incident_triangle(edge, t, v, surface, map, labels);
}

}  // namespace detail

namespace {

/// The vertex on `edge` at `weight` (the share of edge[0]): appended with an
/// empty map entry, or edge[0] itself for a degenerate edge.
std::size_t vertex_on_edge(const std::array<std::size_t, 2>& edge, double weight, triangle_surface& surface,
                           vertex_to_triangles_map& map)
{
    if (edge[0] == edge[1]) return edge[0];
    const auto& p0 = surface.vertices[edge[0]];
    const auto& p1 = surface.vertices[edge[1]];
    const double w = 1.0 - weight;
    const point<double, 3> p{p1.x * w + p0.x * weight, p1.y * w + p0.y * weight, p1.z * w + p0.z * weight};
    surface.vertices.push_back(p);
    map.emplace_back();
    return surface.vertices.size() - 1;
}

void split_first_incident_triangle(const std::array<std::size_t, 2>& edge, std::size_t vertex,
                                   triangle_surface& surface, vertex_to_triangles_map& map,
                                   std::vector<std::size_t>* labels)
{
    detail::ensure_triangle_capacity(surface.triangles, surface.triangles.size() + 1);
    const auto on_edge = triangle_indices_from_edge(edge, surface, map, false);
    detail::split_incident_triangle(edge, on_edge.front(), vertex, surface, map, labels);
}

}  // namespace

std::size_t split_edge(const std::array<std::size_t, 2>& edge, double weight, triangle_surface& surface,
                       vertex_to_triangles_map& map)
{
    const std::size_t v = vertex_on_edge(edge, weight, surface, map);
    detail::split_all_incident_triangles(edge, v, surface, map, nullptr);
    return v;
}

std::size_t split_edge(const std::array<std::size_t, 2>& edge, double weight, triangle_surface& surface,
                       vertex_to_triangles_map& map, std::vector<std::size_t>& labels)
{
    const std::size_t v = vertex_on_edge(edge, weight, surface, map);
    detail::split_all_incident_triangles(edge, v, surface, map, &labels);
    return v;
}

void split_edge(const std::array<std::size_t, 2>& edge, std::size_t vertex, triangle_surface& surface,
                vertex_to_triangles_map& map, std::vector<std::size_t>& labels)
{
    detail::split_all_incident_triangles(edge, vertex, surface, map, &labels);
}

void split_boundary_edge(const std::array<std::size_t, 2>& edge, std::size_t vertex, triangle_surface& surface,
                         vertex_to_triangles_map& map)
{
    split_first_incident_triangle(edge, vertex, surface, map, nullptr);
}

void split_boundary_edge(const std::array<std::size_t, 2>& edge, std::size_t vertex, triangle_surface& surface,
                         vertex_to_triangles_map& map, std::vector<std::size_t>& labels)
{
    split_first_incident_triangle(edge, vertex, surface, map, &labels);
}

void split_triangle_in_three(std::size_t triangle, triangle_surface& surface, vertex_to_triangles_map& map)
{
    const auto [a, b, c] = surface.triangles[triangle];
    const std::size_t n = surface.triangles.size();
    std::size_t v = a;
    if (a == b && b == c) {
        map[a].insert(n);
        map[a].insert(n + 1);
    } else {
        const auto& pa = surface.vertices[a];
        const auto& pb = surface.vertices[b];
        const auto& pc = surface.vertices[c];
        const point<double, 3> centroid{((pa.x + pb.x) + pc.x) / 3.0, ((pa.y + pb.y) + pc.y) / 3.0,
                                        ((pa.z + pb.z) + pc.z) / 3.0};
        v = surface.vertices.size();
        surface.vertices.push_back(centroid);
        map.push_back(
            boost::container::flat_set<std::size_t>(boost::container::ordered_unique_range, {triangle, n, n + 1}));
        map[a].insert(n + 1);
        map[b].insert(n);
        // (a, b, v) still names c only when c repeats a or b.
        if (c != a && c != b) map[c].erase(triangle);
        map[c].insert(n);
        map[c].insert(n + 1);
    }
    surface.triangles[triangle] = {a, b, v};
    surface.triangles.push_back({b, c, v});
    surface.triangles.push_back({c, a, v});
}

}  // namespace Zelkov::Geometry
