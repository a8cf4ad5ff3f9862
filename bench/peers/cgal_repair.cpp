// CGAL: the repair pipeline of Polygon Mesh Processing, its hole filling, and
// the distance between a filled patch and the patch that was cut out.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <vector>

#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>
#include <CGAL/Polygon_mesh_processing/border.h>
#include <CGAL/Polygon_mesh_processing/orient_polygon_soup.h>
#include <CGAL/Polygon_mesh_processing/polygon_soup_to_polygon_mesh.h>
#include <CGAL/Polygon_mesh_processing/repair.h>
#include <CGAL/Polygon_mesh_processing/repair_polygon_soup.h>
#include <CGAL/Polygon_mesh_processing/stitch_borders.h>
#include <CGAL/Polygon_mesh_processing/triangulate_hole.h>

#include "cgal_common.h"
#include "repair_peers.h"

namespace Zelkov::Peers {

namespace PMP = CGAL::Polygon_mesh_processing;

namespace {

using mesh_type = cgal::mesh_type;
using halfedge = mesh_type::Halfedge_index;
using face = mesh_type::Face_index;
using vertex = mesh_type::Vertex_index;

double now_seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::vector<std::vector<std::size_t>> polygons_of(const triangle_surface& s)
{
    std::vector<std::vector<std::size_t>> polygons;
    polygons.reserve(s.triangles.size());
    for (const auto& t : s.triangles) polygons.push_back({t[0], t[1], t[2]});
    return polygons;
}

/// Fills each border cycle of at most `max_edges` edges; the new faces go to `faces`.
/// Without `delaunay`, the triangulation is searched among all triangles on
/// the loop's vertices (as ours does), not among the faces of the loop's 3D
/// Delaunay triangulation, which is CGAL's default and stalls on loops whose
/// points lie on one sphere.
std::size_t fill_cycles(mesh_type& mesh, hole_fill fill, std::size_t max_edges, bool delaunay, std::vector<face>& faces)
{
    const auto np = CGAL::parameters::use_delaunay_triangulation(delaunay);
    if (fill == hole_fill::none || max_edges == 0) return 0;
    std::vector<halfedge> cycles;
    PMP::extract_boundary_cycles(mesh, std::back_inserter(cycles));
    std::size_t filled = 0;
    std::vector<vertex> vertices;
    for (const halfedge h : cycles) {
        std::size_t edges = 0;
        for (const halfedge g : CGAL::halfedges_around_face(h, mesh)) {
            (void)g;
            if (++edges > max_edges) break;
        }
        if (edges > max_edges) continue;
        const std::size_t before = faces.size();
        switch (fill) {
        case hole_fill::flat: PMP::triangulate_hole(mesh, h, std::back_inserter(faces), np); break;
        case hole_fill::refined:
            PMP::triangulate_and_refine_hole(mesh, h, std::back_inserter(faces), std::back_inserter(vertices), np);
            break;
        case hole_fill::faired:
            PMP::triangulate_refine_and_fair_hole(mesh, h, std::back_inserter(faces), std::back_inserter(vertices), np);
            break;
        case hole_fill::none: break;
        }
        if (faces.size() > before) ++filled;
    }
    return filled;
}

void hand_back_mesh(mesh_type& mesh, triangle_surface& out)
{
    mesh.collect_garbage();
    out.vertices.clear();
    out.triangles.clear();
    out.vertices.reserve(mesh.number_of_vertices());
    for (const vertex v : mesh.vertices()) {
        const auto& p = mesh.point(v);
        out.vertices.push_back({p.x(), p.y(), p.z()});
    }
    out.triangles.reserve(mesh.number_of_faces());
    for (const face f : mesh.faces()) {
        std::array<std::size_t, 3> t{};
        std::size_t k = 0;
        for (const vertex v : CGAL::vertices_around_face(mesh.halfedge(f), mesh))
            if (k < 3) t[k++] = static_cast<std::size_t>(v);
        out.triangles.push_back(t);
    }
}

}  // namespace

peer_run cgal_repair(const triangle_surface& in, hole_fill fill, std::size_t max_boundary_edges, triangle_surface* out)
{
    auto points = cgal::points_of(in);
    auto polygons = polygons_of(in);
    mesh_type mesh;
    std::vector<face> faces;
    peer_run run;
    const double start = now_seconds();
    PMP::repair_polygon_soup(points, polygons);
    PMP::orient_polygon_soup(points, polygons);
    PMP::polygon_soup_to_polygon_mesh(points, polygons, mesh);
    PMP::stitch_borders(mesh);
    PMP::duplicate_non_manifold_vertices(mesh);
    run.holes_filled = fill_cycles(mesh, fill, max_boundary_edges, true, faces);
    run.seconds = now_seconds() - start;
    if (out != nullptr) hand_back_mesh(mesh, *out);
    return run;
}

peer_run cgal_fill_holes(const triangle_surface& in, hole_fill fill, std::size_t max_boundary_edges,
                         triangle_surface& patch)
{
    const auto points = cgal::points_of(in);
    mesh_type mesh;
    PMP::polygon_soup_to_polygon_mesh(points, polygons_of(in), mesh);
    std::vector<face> faces;
    peer_run run;
    const double start = now_seconds();
    run.holes_filled = fill_cycles(mesh, fill, max_boundary_edges, false, faces);
    run.seconds = now_seconds() - start;

    patch.vertices.clear();
    patch.triangles.clear();
    for (const vertex v : mesh.vertices()) {
        const auto& p = mesh.point(v);
        patch.vertices.resize(std::max(patch.vertices.size(), static_cast<std::size_t>(v) + 1));
        patch.vertices[static_cast<std::size_t>(v)] = {p.x(), p.y(), p.z()};
    }
    for (const face f : faces) {
        if (mesh.is_removed(f)) continue;
        std::array<std::size_t, 3> t{};
        std::size_t k = 0;
        for (const vertex v : CGAL::vertices_around_face(mesh.halfedge(f), mesh))
            if (k < 3) t[k++] = static_cast<std::size_t>(v);
        patch.triangles.push_back(t);
    }
    return run;
}

patch_distance distance_between(const triangle_surface& sampled, const triangle_surface& reference)
{
    using triangle_3 = cgal::kernel::Triangle_3;
    using triangle_list = std::vector<triangle_3>;
    using primitive = CGAL::AABB_triangle_primitive<cgal::kernel, triangle_list::const_iterator>;
    using aabb_tree = CGAL::AABB_tree<CGAL::AABB_traits<cgal::kernel, primitive>>;

    patch_distance result;
    const auto ref_points = cgal::points_of(reference);
    triangle_list triangles;
    for (const auto& t : reference.triangles) {
        const triangle_3 triangle(ref_points[t[0]], ref_points[t[1]], ref_points[t[2]]);
        if (!triangle.is_degenerate()) triangles.push_back(triangle);
    }
    if (triangles.empty()) return result;
    aabb_tree tree(triangles.cbegin(), triangles.cend());
    tree.accelerate_distance_queries();

    constexpr int m = 4;  // each side split in four: 16 parts of equal area
    double weighted = 0.0, area_sum = 0.0;
    for (const auto& t : sampled.triangles) {
        const auto& a = sampled.vertices[t[0]];
        const auto& b = sampled.vertices[t[1]];
        const auto& c = sampled.vertices[t[2]];
        const cgal::point_3 pa(a.x, a.y, a.z), pb(b.x, b.y, b.z), pc(c.x, c.y, c.z);
        const double area = std::sqrt(CGAL::squared_area(pa, pb, pc));
        auto sample = [&](double u, double v) {
            const double w = 1.0 - u - v;
            const cgal::point_3 p(w * a.x + u * b.x + v * c.x, w * a.y + u * b.y + v * c.y,
                                  w * a.z + u * b.z + v * c.z);
            const double d = std::sqrt(tree.squared_distance(p));
            weighted += d * area / (m * m);
            result.max = std::max(result.max, d);
        };
        for (int i = 0; i < m; ++i)
            for (int j = 0; i + j < m; ++j) {
                sample((i + 1.0 / 3) / m, (j + 1.0 / 3) / m);
                if (i + j < m - 1) sample((i + 2.0 / 3) / m, (j + 2.0 / 3) / m);
            }
        area_sum += area;
    }
    result.mean = area_sum > 0.0 ? weighted / area_sum : 0.0;
    return result;
}

}  // namespace Zelkov::Peers
