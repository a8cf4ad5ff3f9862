#include <geometry/fields.h>

#include <geometry/connectivity.h>
#include <geometry/measures.h>

#include "fields/vertex_loop.h"
#include "surface/stable_length.h"
#include "vecmath/point_ops.h"

namespace Zelkov::Geometry {

namespace {

using vec3 = point<double, 3>;
using Zelkov::Math::detail::sub;

/// Distance of p from the inverse-distance-weighted centre of its ring, or -1.0
/// when no ring vertex carries weight.
double roughness_at(std::size_t v, const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    const vec3& p = surface.vertices[v];
    double sx = 0.0, sy = 0.0, sz = 0.0, weights = 0.0;
    for (const std::size_t n : one_ring_vertices_from_vertex(v, surface, map)) {
        const vec3& q = surface.vertices[n];
        const double d = detail::stable_length(sub(q, p));
        if (d == 0.0) continue;
        const double w = 1.0 / d;
        sx += q.x * w;
        sy += q.y * w;
        sz += q.z * w;
        weights += w;
    }
    if (weights == 0.0) return -1.0;
    const vec3 centre{sx / weights, sy / weights, sz / weights};
    return detail::stable_length(sub(p, centre));
}

/// Mean over the edges at v of the normal change along the edge per squared length.
double curvature_at(std::size_t v, const triangle_surface& surface, const vertex_to_triangles_map& map,
                    const std::vector<vec3>& normals)
{
    const auto edges = edges_from_vertex(v, surface, map);
    if (edges.empty()) return 0.0;
    double sum = 0.0;
    for (const auto& [a, b] : edges) {
        const vec3 &pa = surface.vertices[a], &pb = surface.vertices[b];
        const vec3 &na = normals[a], &nb = normals[b];
        const double dx = pa.x - pb.x, dy = pa.y - pb.y, dz = pa.z - pb.z;
        const double d2 = (dx * dx + dy * dy) + dz * dz;
        if (d2 == 0.0) continue;
        sum += ((nb.y - na.y) * (pb.y - pa.y) + (nb.x - na.x) * (pb.x - pa.x) + (nb.z - na.z) * (pb.z - pa.z)) / d2;
    }
    return sum / static_cast<double>(edges.size());
}

}  // namespace

std::vector<double> vertex_roughness(const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    std::vector<double> result(surface.vertices.size(), -1.0);
    detail::for_each_vertex(result.size(), [&](std::size_t v) { result[v] = roughness_at(v, surface, map); });
    return result;
}

std::vector<double> vertex_roughness(const triangle_surface& surface)
{
    return vertex_roughness(surface, get_vertex_to_triangles_map(surface));
}

std::vector<double> curvature(const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    const std::size_t count = surface.vertices.size();
    std::vector<double> result(count, 0.0);
    std::vector<vec3> normals(count, vec3{0.0, 0.0, 0.0});
    detail::for_each_vertex(count, [&](std::size_t v) { normals[v] = normal(v, surface, map); });
    // The second pass reads the normals of other vertices: it starts only after the first ends.
    detail::for_each_vertex(count, [&](std::size_t v) { result[v] = curvature_at(v, surface, map, normals); });
    return result;
}

std::vector<double> curvature(const triangle_surface& surface)
{
    return curvature(surface, get_vertex_to_triangles_map(surface));
}

}  // namespace Zelkov::Geometry
