// CGAL: area, volume and centroid of a built Surface_mesh. CGAL's centroid
// is that of the enclosed volume, ours the area-weighted one of the triangles.

#include <CGAL/Polygon_mesh_processing/measure.h>

#include "cgal_common.h"

namespace Zelkov::Peers {

namespace PMP = CGAL::Polygon_mesh_processing;

std::size_t cgal_measures(const bench_input& in, stopwatch& sw)
{
    const auto points = cgal::points_of(in.surface);
    cgal::mesh_type mesh;
    cgal::build(mesh, points, in.surface);
    sw.start();
    const double a = PMP::area(mesh);
    const double v = PMP::volume(mesh);
    const auto c = PMP::centroid(mesh);
    sw.stop();
    return static_cast<std::size_t>(a + v + c.x() + c.y() + c.z() != 0.0);
}

}  // namespace Zelkov::Peers
