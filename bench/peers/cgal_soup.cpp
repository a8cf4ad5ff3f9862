// CGAL: de-duplication of a polygon soup, points then polygons (either orientation).

#include <CGAL/Polygon_mesh_processing/repair_polygon_soup.h>

#include "cgal_common.h"

namespace Zelkov::Peers {

namespace PMP = CGAL::Polygon_mesh_processing;

std::size_t cgal_merge_duplicates(const bench_input& in, stopwatch& sw)
{
    auto points = cgal::points_of(in.surface);
    auto polygons = in.surface.triangles;
    sw.start();
    PMP::merge_duplicate_points_in_polygon_soup(points, polygons);
    PMP::merge_duplicate_polygons_in_polygon_soup(points, polygons);
    sw.stop();
    return points.size() * 1'000'000'000ULL + polygons.size();
}

}  // namespace Zelkov::Peers
