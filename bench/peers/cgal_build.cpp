// CGAL: polygon soup -> Surface_mesh.

#include <CGAL/Polygon_mesh_processing/orient_polygon_soup.h>
#include <CGAL/Polygon_mesh_processing/polygon_soup_to_polygon_mesh.h>

#include "cgal_common.h"

namespace Zelkov::Peers {

namespace PMP = CGAL::Polygon_mesh_processing;

std::vector<cgal::point_3> cgal::points_of(const triangle_surface& s)
{
    std::vector<point_3> points;
    points.reserve(s.vertices.size());
    for (const auto& p : s.vertices) points.emplace_back(p.x, p.y, p.z);
    return points;
}

void cgal::build(mesh_type& mesh, const std::vector<point_3>& points, const triangle_surface& s)
{
    PMP::polygon_soup_to_polygon_mesh(points, s.triangles, mesh);
}

bool cgal_accepts(const bench_input& in) { return PMP::is_polygon_soup_a_polygon_mesh(in.surface.triangles); }

std::size_t cgal_build(const bench_input& in, stopwatch& sw)
{
    const auto points = cgal::points_of(in.surface);
    cgal::mesh_type mesh;
    sw.start();
    cgal::build(mesh, points, in.surface);
    sw.stop();
    return mesh.number_of_faces();
}

}  // namespace Zelkov::Peers
