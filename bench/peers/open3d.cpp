// Open3D: duplicate removal, the edge-to-triangles map, the simple (box)
// smoothing filter and quadric decimation on a TriangleMesh built from our
// arrays. Open3D runs its loops with OpenMP; the caller sets OMP_NUM_THREADS
// to the thread count.

#include <limits>

#include <open3d/geometry/TriangleMesh.h>

#include "peers.h"

namespace Zelkov::Peers {

namespace {

open3d::geometry::TriangleMesh mesh_of(const triangle_surface& s)
{
    open3d::geometry::TriangleMesh mesh;
    mesh.vertices_.reserve(s.vertices.size());
    for (const auto& p : s.vertices) mesh.vertices_.emplace_back(p.x, p.y, p.z);
    mesh.triangles_.reserve(s.triangles.size());
    for (const auto& t : s.triangles)
        mesh.triangles_.emplace_back(static_cast<int>(t[0]), static_cast<int>(t[1]), static_cast<int>(t[2]));
    return mesh;
}

}  // namespace

std::size_t open3d_remove_duplicates(const bench_input& in, stopwatch& sw)
{
    auto mesh = mesh_of(in.surface);
    sw.start();
    mesh.RemoveDuplicatedVertices();
    mesh.RemoveDuplicatedTriangles();
    sw.stop();
    return mesh.vertices_.size() * 1'000'000'000ULL + mesh.triangles_.size();
}

std::size_t open3d_edge_to_triangles(const bench_input& in, stopwatch& sw)
{
    const auto mesh = mesh_of(in.surface);
    sw.start();
    const auto map = mesh.GetEdgeToTrianglesMap();
    sw.stop();
    return map.size();
}

std::size_t open3d_smooth_simple(const bench_input& in, stopwatch& sw)
{
    const auto mesh = mesh_of(in.surface);
    sw.start();
    const auto smoothed = mesh.FilterSmoothSimple(static_cast<int>(smoothing_iterations));
    sw.stop();
    return smoothed->vertices_.size();
}

std::size_t open3d_simplify(const bench_input& in, stopwatch& sw)
{
    // Building the mesh is timed, as ours builds its neighbourhood cache inside the call.
    sw.start();
    const auto mesh = mesh_of(in.surface);
    // No error bound (the count decides), boundary weight 1 (Open3D's default).
    const auto simplified = mesh.SimplifyQuadricDecimation(static_cast<int>(simplify_target(in)),
                                                           std::numeric_limits<double>::infinity(), 1.0);
    sw.stop();
    if (in.simplified != nullptr) {
        auto& out = *in.simplified;
        out.vertices.clear();
        out.triangles.clear();
        for (const auto& p : simplified->vertices_) out.vertices.push_back({p.x(), p.y(), p.z()});
        for (const auto& t : simplified->triangles_)
            out.triangles.push_back(
                {static_cast<std::size_t>(t[0]), static_cast<std::size_t>(t[1]), static_cast<std::size_t>(t[2])});
    }
    return simplified->triangles_.size();
}

}  // namespace Zelkov::Peers
