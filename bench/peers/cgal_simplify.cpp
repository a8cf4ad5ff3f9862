// CGAL: edge_collapse with the Garland-Heckbert plane policies (quadric cost,
// optimal placement), stopped at the shared triangle count.

#include <CGAL/Surface_mesh_simplification/Policies/Edge_collapse/GarlandHeckbert_plane_policies.h>
#include <CGAL/Surface_mesh_simplification/edge_collapse.h>

#include "cgal_common.h"

namespace Zelkov::Peers {

namespace SMS = CGAL::Surface_mesh_simplification;

namespace {

/// Stops at a face count. CGAL 5.5 counts only edges in its own predicates,
/// which match faces only on closed meshes.
struct face_count_stop {
    std::size_t target;

    template <class Cost, class Profile, class Count>
    bool operator()(const Cost&, const Profile& profile, Count, Count) const
    {
        return profile.surface_mesh().number_of_faces() <= target;
    }
};

}  // namespace

std::size_t cgal_simplify(const bench_input& in, stopwatch& sw)
{
    const auto points = cgal::points_of(in.surface);
    cgal::mesh_type mesh;
    // Building is timed, as ours builds its neighbourhood cache inside the call.
    sw.start();
    cgal::build(mesh, points, in.surface);
    SMS::GarlandHeckbert_plane_policies<cgal::mesh_type, cgal::kernel> policies(mesh);
    SMS::edge_collapse(mesh, face_count_stop{simplify_target(in)},
                       CGAL::parameters::get_cost(policies.get_cost()).get_placement(policies.get_placement()));
    mesh.collect_garbage();
    sw.stop();
    if (in.simplified != nullptr)
        hand_back(mesh, *in.simplified, [&](auto f) {
            std::vector<std::size_t> corners;
            for (const auto v : CGAL::vertices_around_face(mesh.halfedge(f), mesh)) corners.push_back(std::size_t(v));
            return corners;
        });
    return mesh.number_of_faces();
}

}  // namespace Zelkov::Peers
