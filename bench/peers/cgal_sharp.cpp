// CGAL: detect_sharp_edges on a Surface_mesh, with and without its construction.

#include <CGAL/Polygon_mesh_processing/detect_features.h>

#include "cgal_common.h"

namespace Zelkov::Peers {

namespace PMP = CGAL::Polygon_mesh_processing;

namespace {
std::size_t detect(cgal::mesh_type& mesh)
{
    auto sharp = mesh.add_property_map<cgal::mesh_type::Edge_index, bool>("e:sharp", false).first;
    PMP::detect_sharp_edges(mesh, sharp_angle_degrees, sharp);
    std::size_t count = 0;
    for (const auto e : mesh.edges()) count += sharp[e] ? 1 : 0;
    return count;
}
}  // namespace

std::size_t cgal_sharp_edges_with_build(const bench_input& in, stopwatch& sw)
{
    const auto points = cgal::points_of(in.surface);
    cgal::mesh_type mesh;
    sw.start();
    cgal::build(mesh, points, in.surface);
    const std::size_t count = detect(mesh);
    sw.stop();
    return count;
}

std::size_t cgal_sharp_edges(const bench_input& in, stopwatch& sw)
{
    const auto points = cgal::points_of(in.surface);
    cgal::mesh_type mesh;
    cgal::build(mesh, points, in.surface);
    sw.start();
    const std::size_t count = detect(mesh);
    sw.stop();
    return count;
}

}  // namespace Zelkov::Peers
