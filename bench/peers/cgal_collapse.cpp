// CGAL: the shared collapse sequence with Euler::does_satisfy_link_condition +
// Euler::collapse_edge, and Surface_mesh::collect_garbage.

#include <CGAL/boost/graph/Euler_operations.h>

#include "cgal_common.h"

namespace Zelkov::Peers {

namespace {

/// Replays the steps. Euler::collapse_edge keeps the end of the edge's own
/// halfedge, which may be either vertex; `alias` follows our `kept` to the
/// vertex CGAL kept, so that the later steps name the right vertices.
std::size_t replay(cgal::mesh_type& mesh, const std::vector<collapse_step>& steps)
{
    using vertex = cgal::mesh_type::Vertex_index;
    std::vector<std::uint32_t> alias(mesh.number_of_vertices());
    for (std::size_t v = 0; v < alias.size(); ++v) alias[v] = static_cast<std::uint32_t>(v);
    std::size_t done = 0;
    for (const auto& step : steps) {
        const auto h = mesh.halfedge(vertex(alias[step.removed]), vertex(alias[step.kept]));
        if (h == cgal::mesh_type::null_halfedge()) continue;
        const auto e = mesh.edge(h);
        if (!CGAL::Euler::does_satisfy_link_condition(e, mesh)) continue;
        alias[step.kept] = static_cast<std::uint32_t>(CGAL::Euler::collapse_edge(e, mesh));
        ++done;
    }
    return done;
}

}  // namespace

std::size_t cgal_collapse(const bench_input& in, stopwatch& sw)
{
    const auto points = cgal::points_of(in.surface);
    cgal::mesh_type mesh;
    cgal::build(mesh, points, in.surface);
    sw.start();
    const std::size_t done = replay(mesh, in.collapses);
    sw.stop();
    return done;
}

std::size_t cgal_collect_garbage(const bench_input& in, stopwatch& sw)
{
    const auto points = cgal::points_of(in.surface);
    cgal::mesh_type mesh;
    cgal::build(mesh, points, in.surface);
    replay(mesh, in.collapses);
    sw.start();
    mesh.collect_garbage();
    sw.stop();
    return mesh.number_of_vertices();
}

}  // namespace Zelkov::Peers
