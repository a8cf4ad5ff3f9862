// Open3D: duplicate removal, the edge-to-triangles map and the simple
// (box) smoothing filter on a TriangleMesh built from our arrays. Open3D runs
// its loops with OpenMP; the caller sets OMP_NUM_THREADS to the thread count.

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

}  // namespace Zelkov::Peers
