#pragma once
// The CGAL types shared by the CGAL compile units, kept apart so that each
// unit instantiates only what its pairing needs.

#include <CGAL/Simple_cartesian.h>
#include <CGAL/Surface_mesh.h>

#include "peers.h"

namespace Zelkov::Peers::cgal {

using kernel = CGAL::Simple_cartesian<double>;
using point_3 = kernel::Point_3;
using mesh_type = CGAL::Surface_mesh<point_3>;

/// Our points as CGAL points, in order.
std::vector<point_3> points_of(const triangle_surface& s);

/// polygon_soup_to_polygon_mesh over `points` and our triangles: vertex i of
/// the mesh is point i.
void build(mesh_type& mesh, const std::vector<point_3>& points, const triangle_surface& s);

}  // namespace Zelkov::Peers::cgal
