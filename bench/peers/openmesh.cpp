// OpenMesh: triangle-mesh construction with add_vertex/add_face, the
// same collapse sequence with is_collapse_ok + collapse, garbage_collection,
// face-face circulation, the Jacobi Laplace smoother, and the decimater with
// its quadric module (halfedge collapses: the survivor stays where it was).

#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#include <OpenMesh/Core/System/omstream.hh>
#include <OpenMesh/Tools/Decimater/DecimaterT.hh>
#include <OpenMesh/Tools/Decimater/ModQuadricT.hh>
#include <OpenMesh/Tools/Smoother/JacobiLaplaceSmootherT.hh>

#include "peers.h"

namespace Zelkov::Peers {

namespace {

struct double_traits : OpenMesh::DefaultTraits {
    using Point = OpenMesh::Vec3d;
    using Normal = OpenMesh::Vec3d;
};
using mesh_type = OpenMesh::TriMesh_ArrayKernelT<double_traits>;
using vh = OpenMesh::VertexHandle;

/// Builds the mesh from our arrays, with room reserved up front. Faces that
/// OpenMesh refuses (complex edges or vertices) are left out silently.
void build(mesh_type& mesh, const triangle_surface& s)
{
    omerr().disable();
    mesh.reserve(s.vertices.size(), 3 * s.triangles.size() / 2, s.triangles.size());
    for (const auto& p : s.vertices) mesh.add_vertex({p.x, p.y, p.z});
    for (const auto& t : s.triangles)
        mesh.add_face(vh(static_cast<int>(t[0])), vh(static_cast<int>(t[1])), vh(static_cast<int>(t[2])));
}

void request_status(mesh_type& mesh)
{
    mesh.request_vertex_status();
    mesh.request_edge_status();
    mesh.request_halfedge_status();
    mesh.request_face_status();
}

std::size_t replay(mesh_type& mesh, const std::vector<collapse_step>& steps)
{
    std::size_t done = 0;
    for (const auto& step : steps) {
        // collapse(h) removes the start of h and keeps its end, as our collapse keeps `kept`.
        const auto h = mesh.find_halfedge(vh(static_cast<int>(step.removed)), vh(static_cast<int>(step.kept)));
        if (h.is_valid() && mesh.is_collapse_ok(h)) {
            mesh.collapse(h);
            ++done;
        }
    }
    return done;
}

std::size_t face_face(const mesh_type& mesh)
{
    std::vector<std::vector<std::size_t>> lists(mesh.n_faces());
    std::size_t n = 0;
    for (const auto f : mesh.faces()) {
        auto& list = lists[static_cast<std::size_t>(f.idx())];
        for (const auto g : mesh.ff_range(f)) list.push_back(static_cast<std::size_t>(g.idx()));
        n += list.size();
    }
    return n;
}

}  // namespace

std::size_t openmesh_build(const bench_input& in, stopwatch& sw)
{
    mesh_type mesh;
    sw.start();
    build(mesh, in.surface);
    sw.stop();
    return mesh.n_faces();
}

std::size_t openmesh_collapse(const bench_input& in, stopwatch& sw)
{
    mesh_type mesh;
    build(mesh, in.surface);
    request_status(mesh);
    sw.start();
    const std::size_t done = replay(mesh, in.collapses);
    sw.stop();
    return done;
}

std::size_t openmesh_garbage_collection(const bench_input& in, stopwatch& sw)
{
    mesh_type mesh;
    build(mesh, in.surface);
    request_status(mesh);
    replay(mesh, in.collapses);
    sw.start();
    mesh.garbage_collection();
    sw.stop();
    return mesh.n_vertices();
}

std::size_t openmesh_face_face_with_build(const bench_input& in, stopwatch& sw)
{
    mesh_type mesh;
    sw.start();
    build(mesh, in.surface);
    const std::size_t n = face_face(mesh);
    sw.stop();
    return n;
}

std::size_t openmesh_face_face(const bench_input& in, stopwatch& sw)
{
    mesh_type mesh;
    build(mesh, in.surface);
    sw.start();
    const std::size_t n = face_face(mesh);
    sw.stop();
    return n;
}

std::size_t openmesh_jacobi_laplace(const bench_input& in, stopwatch& sw)
{
    mesh_type mesh;
    build(mesh, in.surface);
    sw.start();
    OpenMesh::Smoother::JacobiLaplaceSmootherT<mesh_type> smoother(mesh);
    smoother.initialize(decltype(smoother)::Tangential_and_Normal, decltype(smoother)::C0);
    smoother.smooth(static_cast<unsigned int>(smoothing_iterations));
    sw.stop();
    return mesh.n_vertices();
}

std::size_t openmesh_decimate(const bench_input& in, stopwatch& sw)
{
    mesh_type mesh;
    // Building is timed, as ours builds its neighbourhood cache inside the call.
    sw.start();
    build(mesh, in.surface);
    OpenMesh::Decimater::DecimaterT<mesh_type> decimater(mesh);
    OpenMesh::Decimater::ModQuadricT<mesh_type>::Handle quadric;
    decimater.add(quadric);
    decimater.module(quadric).unset_max_err();  // no error bound: the count decides
    decimater.initialize();
    decimater.decimate_to_faces(0, simplify_target(in));
    mesh.garbage_collection();
    sw.stop();
    if (in.simplified != nullptr)
        hand_back(mesh, *in.simplified, [&](auto f) {
            std::vector<std::size_t> corners;
            for (const auto v : mesh.fv_range(f)) corners.push_back(static_cast<std::size_t>(v.idx()));
            return corners;
        });
    return mesh.n_faces();
}

}  // namespace Zelkov::Peers
