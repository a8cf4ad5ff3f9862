#pragma once
// The side-by-side benchmark of Zelkov.Trimesh.Core against peer mesh
// libraries. Each implementation lives in its own compile unit (CGAL's are
// split small because CGAL is slow to compile) and exposes plain functions
// that take the shared input, do their untimed setup, time only the paired
// work through a `stopwatch`, and return a check value (a count that the
// report shows, so that a peer doing less or more work is visible).

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <geometry/triangle_surface.h>

#include "../shortest_edge_policy.h"

namespace Zelkov::Peers {

using Zelkov::Geometry::triangle_surface;

/// Times one stretch of a run. Between `start` and `stop` the harness also
/// tracks the peak of heap bytes in use (when counting is switched on).
class stopwatch {
public:
    void start();
    void stop();
    double seconds() const { return seconds_; }
    double peak_bytes() const { return peak_bytes_; }

private:
    double started_ = 0;
    double seconds_ = 0;
    double peak_bytes_ = 0;
    std::size_t heap_base_ = 0;
};

/// One collapse of a fixed sequence, replayed identically by every library:
/// our edge name, and the vertex kept and the vertex removed.
using collapse_step = Zelkov::Bench::collapse_step;

/// A benchmark input: the surface and, made on demand, a collapse sequence.
struct bench_input {
    std::string name;
    std::string kind;  // "closed", "fan", "soup", "real"
    triangle_surface surface;
    std::vector<collapse_step> collapses;
    /// Where a simplify pairing leaves its output surface (free points may
    /// remain; only vertices of triangles count) when the harness asks for it.
    /// The harness sets it for the warm-up run only, so the timed runs copy nothing.
    triangle_surface* simplified = nullptr;
    /// The fraction of the triangles a simplify pairing keeps.
    double simplify_ratio = 0.5;
};

/// The triangle count every simplify pairing aims at: `simplify_ratio` of the input's.
inline std::size_t simplify_target(const bench_input& in)
{
    return static_cast<std::size_t>(static_cast<double>(in.surface.triangles.size()) * in.simplify_ratio);
}

/// The distance from a simplified surface back to the surface it was made
/// from, measured the same way for every library. Samples are the vertices
/// used by a triangle and the centroid of every triangle; each sample's
/// distance is to the nearest point of the reference triangles (a CGAL AABB
/// tree, built once). Both figures are divided by the diagonal of the
/// reference's bounding box, so that they compare across inputs.
class distance_to_reference {
public:
    struct figures {
        double mean = 0.0;
        double max = 0.0;
    };

    explicit distance_to_reference(const triangle_surface& reference);
    ~distance_to_reference();
    distance_to_reference(const distance_to_reference&) = delete;
    distance_to_reference& operator=(const distance_to_reference&) = delete;

    figures measure(const triangle_surface& simplified) const;

private:
    struct tree;
    std::unique_ptr<tree> tree_;
    double diagonal_ = 0.0;
};

// The collapse policy shared by every library: shortest edge first (midpoint
// placement), an edge taken only when its ends share exactly two neighbours and
// both have more than three, until `target` triangles remain.
std::vector<collapse_step> make_collapse_sequence(const triangle_surface& surface, std::size_t target);

// ---------------------------------------------------------------- ours (run inside the harness's arena)
std::size_t ours_map(const bench_input&, stopwatch&);
std::size_t ours_cache(const bench_input&, stopwatch&);
std::size_t ours_collapse(const bench_input&, stopwatch&);
std::size_t ours_collapse_prefetched(const bench_input&, stopwatch&);
std::size_t ours_collapse_with_link_test(const bench_input&, stopwatch&);
std::size_t ours_compaction(const bench_input&, stopwatch&);
std::size_t ours_compaction_and_free_points(const bench_input&, stopwatch&);
std::size_t ours_unique(const bench_input&, stopwatch&);
std::size_t ours_unique_vertices(const bench_input&, stopwatch&);
std::size_t ours_neighbours_with_build(const bench_input&, stopwatch&);
std::size_t ours_neighbours(const bench_input&, stopwatch&);
std::size_t ours_sharp_edges(const bench_input&, stopwatch&);
std::size_t ours_curvature_with_build(const bench_input&, stopwatch&);
std::size_t ours_curvature(const bench_input&, stopwatch&);
std::size_t ours_smooth_with_build(const bench_input&, stopwatch&);
std::size_t ours_smooth(const bench_input&, stopwatch&);
std::size_t ours_measures(const bench_input&, stopwatch&);
std::size_t ours_simplify(const bench_input&, stopwatch&);

// ---------------------------------------------------------------- in-house floor
std::size_t csr_floor_map(const bench_input&, stopwatch&);

// ---------------------------------------------------------------- OpenMesh
std::size_t openmesh_build(const bench_input&, stopwatch&);
std::size_t openmesh_collapse(const bench_input&, stopwatch&);
std::size_t openmesh_garbage_collection(const bench_input&, stopwatch&);
std::size_t openmesh_face_face_with_build(const bench_input&, stopwatch&);
std::size_t openmesh_face_face(const bench_input&, stopwatch&);
std::size_t openmesh_jacobi_laplace(const bench_input&, stopwatch&);
std::size_t openmesh_decimate(const bench_input&, stopwatch&);

// ---------------------------------------------------------------- CGAL
std::size_t cgal_build(const bench_input&, stopwatch&);
std::size_t cgal_collapse(const bench_input&, stopwatch&);
std::size_t cgal_collect_garbage(const bench_input&, stopwatch&);
std::size_t cgal_merge_duplicates(const bench_input&, stopwatch&);
std::size_t cgal_sharp_edges_with_build(const bench_input&, stopwatch&);
std::size_t cgal_sharp_edges(const bench_input&, stopwatch&);
std::size_t cgal_measures(const bench_input&, stopwatch&);
std::size_t cgal_simplify(const bench_input&, stopwatch&);
/// Whether CGAL's soup-to-mesh conversion accepts the input (its precondition).
bool cgal_accepts(const bench_input&);

// ---------------------------------------------------------------- meshoptimizer
std::size_t meshopt_vertex_remap(const bench_input&, stopwatch&);
std::size_t meshopt_simplification(const bench_input&, stopwatch&);

// ---------------------------------------------------------------- Open3D (OpenMP; OMP_NUM_THREADS set by the caller)
std::size_t open3d_remove_duplicates(const bench_input&, stopwatch&);
std::size_t open3d_edge_to_triangles(const bench_input&, stopwatch&);
std::size_t open3d_smooth_simple(const bench_input&, stopwatch&);
std::size_t open3d_simplify(const bench_input&, stopwatch&);

/// Copies a peer's simplified mesh into `out`: the points of `mesh.vertices()`
/// (OpenMesh's and CGAL's points both index their coordinates with []), and the
/// corner indices that `corners_of(face)` gives for each of `mesh.faces()`.
template <class Mesh, class CornersOf>
void hand_back(const Mesh& mesh, triangle_surface& out, CornersOf corners_of)
{
    out.vertices.clear();
    out.triangles.clear();
    for (const auto v : mesh.vertices()) {
        const auto& p = mesh.point(v);
        out.vertices.push_back({p[0], p[1], p[2]});
    }
    for (const auto f : mesh.faces()) {
        std::array<std::size_t, 3> t{};
        std::size_t k = 0;
        for (const std::size_t v : corners_of(f)) t[k++] = v;
        out.triangles.push_back(t);
    }
}

/// The number of smoothing iterations used by every smoothing pairing.
inline constexpr std::size_t smoothing_iterations = 10;
/// The sharp-edge angle in degrees used by every sharp-edge pairing.
inline constexpr double sharp_angle_degrees = 30.0;

}  // namespace Zelkov::Peers
