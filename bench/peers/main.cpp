// The peer benchmark harness. Builds the inputs, runs every pairing that
// applies to each input, and prints one tab-separated line per measurement:
//
//   op  input  triangles  impl  threads  reps  median_s  min_s  peak_bytes  check  [mean_error  max_error]
//
// The last two columns come with the simplify pairings only: the distance
// from the warm-up run's output to the input (see `distance_to_reference`),
// relative to the input's bounding-box diagonal.
//
// Each measurement is one untimed warm-up run that also records the peak of
// heap bytes in use between `stopwatch::start` and `stop` (every malloc of the
// process, peers' included, is counted then), followed by `reps` timed runs.
// Our operations run inside a task arena of `--threads` threads; Open3D takes
// its thread count from OMP_NUM_THREADS, which the caller sets to the same.
//
// Options: --threads N, --parallel-only (only the pairings measured again with
// more threads), --sizes 100000,1000000 (generated sizes), --inputs LIST and
// --filter LIST (generated inputs and operations by name, see `matches_any`),
// --impls LIST (implementations by name, the same way),
// --no-real (leave out the shared real meshes), --reps-scale X.

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>

#include "meshgen.h"
#include "peers.h"

#include "name_list.h"

using Zelkov::Peers::matches_any;

// ---------------------------------------------------------------- heap accounting
// malloc and friends are interposed for the whole process and forwarded to
// glibc. Counting is switched on only for the warm-up run, so the timed runs
// pay one relaxed load per call.

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace {

std::atomic<bool> counting{false};
std::atomic<std::int64_t> heap_in_use{0};
std::atomic<std::int64_t> heap_peak{0};

void count_in(void* p)
{
    if (p == nullptr || !counting.load(std::memory_order_relaxed)) return;
    const auto size = static_cast<std::int64_t>(malloc_usable_size(p));
    const std::int64_t now = heap_in_use.fetch_add(size, std::memory_order_relaxed) + size;
    std::int64_t peak = heap_peak.load(std::memory_order_relaxed);
    while (now > peak && !heap_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {}
}

void count_out(void* p)
{
    if (p == nullptr || !counting.load(std::memory_order_relaxed)) return;
    heap_in_use.fetch_sub(static_cast<std::int64_t>(malloc_usable_size(p)), std::memory_order_relaxed);
}

}  // namespace

extern "C" {
void* malloc(std::size_t size)
{
    void* p = __libc_malloc(size);
    count_in(p);
    return p;
}
void free(void* p)
{
    count_out(p);
    __libc_free(p);
}
void* calloc(std::size_t n, std::size_t size)
{
    void* p = __libc_calloc(n, size);
    count_in(p);
    return p;
}
void* realloc(void* old, std::size_t size)
{
    count_out(old);
    void* p = __libc_realloc(old, size);
    count_in(p == nullptr && size != 0 ? old : p);
    return p;
}
void* memalign(std::size_t alignment, std::size_t size)
{
    void* p = __libc_memalign(alignment, size);
    count_in(p);
    return p;
}
void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }
int posix_memalign(void** out, std::size_t alignment, std::size_t size)
{
    void* p = memalign(alignment, size);
    if (p == nullptr) return 12;  // ENOMEM
    *out = p;
    return 0;
}
}

namespace Zelkov::Peers {

namespace {
double now_seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
}  // namespace

void stopwatch::start()
{
    heap_base_ = static_cast<std::size_t>(heap_in_use.load());
    heap_peak.store(heap_in_use.load());
    started_ = now_seconds();
}

void stopwatch::stop()
{
    seconds_ = now_seconds() - started_;
    peak_bytes_ = static_cast<double>(heap_peak.load() - static_cast<std::int64_t>(heap_base_));
}

namespace {

using op_fn = std::size_t (*)(const bench_input&, stopwatch&);

enum kind_bits : unsigned { closed = 1, fan = 2, soup = 4, real = 8 };

unsigned kind_bit(const std::string& kind)
{
    if (kind == "closed") return closed;
    if (kind == "fan") return fan;
    if (kind == "soup") return soup;
    return real;
}

struct pairing {
    const char* op;
    const char* impl;
    op_fn fn;
    bool ours;        // runs in our task arena
    bool parallel;    // measured again in the multi-thread pass
    unsigned kinds;   // inputs it applies to
    bool needs_cgal;  // only where CGAL accepts the soup as a mesh
    bool needs_collapses;
};

constexpr unsigned meshes = closed | real;

const std::vector<pairing>& pairings()
{
    static const std::vector<pairing> list = {
        {"map", "ours get_vertex_to_triangles_map", ours_map, true, true, meshes | fan, false, false},
        {"map", "CSR floor (serial counting sort)", csr_floor_map, false, false, meshes | fan, false, false},
        {"cache", "ours neighbourhood_cache", ours_cache, true, true, meshes | fan, false, false},
        {"construction", "OpenMesh TriMesh add_vertex/add_face", openmesh_build, false, false, meshes | fan, false,
         false},
        {"construction", "CGAL soup -> Surface_mesh", cgal_build, false, false, meshes | fan, true, false},
        {"collapse", "ours collapse_edge", ours_collapse, true, false, closed, false, true},
        {"collapse", "ours collapse_edge, next steps' rows prefetched by the caller", ours_collapse_prefetched, true,
         false, closed, false, true},
        {"collapse", "ours collapse_edge + ring link test", ours_collapse_with_link_test, true, false, closed, false,
         true},
        {"collapse", "OpenMesh is_collapse_ok + collapse", openmesh_collapse, false, false, closed, false, true},
        {"collapse", "CGAL link condition + Euler::collapse_edge", cgal_collapse, false, false, closed, true, true},
        {"compaction", "ours remove_invalid_triangles", ours_compaction, true, false, closed, false, true},
        {"compaction", "ours remove_invalid_triangles + remove_free_points", ours_compaction_and_free_points, true,
         false, closed, false, true},
        {"compaction", "OpenMesh garbage_collection", openmesh_garbage_collection, false, false, closed, false, true},
        {"compaction", "CGAL collect_garbage", cgal_collect_garbage, false, false, closed, true, true},
        {"unique", "ours unique", ours_unique, true, true, soup | real, false, false},
        {"unique", "ours unique_vertices", ours_unique_vertices, true, true, soup | real, false, false},
        {"unique", "meshopt generateVertexRemap + remap buffers", meshopt_vertex_remap, false, false, soup | real,
         false, false},
        {"unique", "CGAL merge_duplicate_points + _polygons", cgal_merge_duplicates, false, false, soup | real, false,
         false},
        {"unique", "Open3D RemoveDuplicatedVertices + Triangles", open3d_remove_duplicates, false, true, soup | real,
         false, false},
        {"neighbours", "ours triangle_neighbour_indices (+ map build)", ours_neighbours_with_build, true, true, meshes,
         false, false},
        {"neighbours", "ours triangle_neighbour_indices (map given)", ours_neighbours, true, true, meshes, false,
         false},
        {"neighbours", "OpenMesh face-face circulation (+ build)", openmesh_face_face_with_build, false, false, meshes,
         false, false},
        {"neighbours", "OpenMesh face-face circulation (mesh given)", openmesh_face_face, false, false, meshes, false,
         false},
        {"neighbours", "Open3D GetEdgeToTrianglesMap", open3d_edge_to_triangles, false, true, meshes, false, false},
        {"sharp", "ours is_sharp_edge (whole surface)", ours_sharp_edges, true, true, meshes, false, false},
        {"sharp", "CGAL detect_sharp_edges (+ build)", cgal_sharp_edges_with_build, false, false, meshes, true, false},
        {"sharp", "CGAL detect_sharp_edges (mesh given)", cgal_sharp_edges, false, false, meshes, true, false},
        {"fields", "ours curvature (+ map build)", ours_curvature_with_build, true, true, meshes, false, false},
        {"fields", "ours curvature (map given)", ours_curvature, true, true, meshes, false, false},
        {"fields", "ours smooth_scalar_field x10 (+ map build)", ours_smooth_with_build, true, true, meshes, false,
         false},
        {"fields", "ours smooth_scalar_field x10 (map given)", ours_smooth, true, true, meshes, false, false},
        {"fields", "OpenMesh JacobiLaplaceSmoother x10 (mesh given)", openmesh_jacobi_laplace, false, false, meshes,
         false, false},
        {"fields", "Open3D FilterSmoothSimple x10", open3d_smooth_simple, false, true, meshes, false, false},
        {"measures", "ours area + volume + barycenter", ours_measures, true, false, meshes, false, false},
        {"measures", "CGAL area + volume + centroid", cgal_measures, false, false, meshes, true, false},
        {"simplify", "ours collapse_by_quadrics + remove_free_points", ours_simplify, true, true, meshes, false, false},
        {"simplify", "meshopt_simplify", meshopt_simplification, false, false, meshes, false, false},
        {"simplify", "OpenMesh Decimater + ModQuadric (+ build)", openmesh_decimate, false, false, meshes, false,
         false},
        {"simplify", "CGAL edge_collapse + GarlandHeckbert_plane (+ build)", cgal_simplify, false, false, meshes, true,
         false},
        {"simplify", "Open3D SimplifyQuadricDecimation (+ build)", open3d_simplify, false, false, meshes, false, false},
    };
    return list;
}

struct options {
    int threads = 1;
    bool parallel_only = false;
    std::vector<std::size_t> sizes{100'000, 1'000'000};
    std::string filter;
    std::string impls;
    std::string inputs;
    bool real_meshes = true;
    double reps_scale = 1.0;
};

options parse(int argc, char** argv)
{
    options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
        if (a == "--threads") o.threads = std::stoi(next());
        else if (a == "--parallel-only") o.parallel_only = true;
        else if (a == "--no-real") o.real_meshes = false;
        else if (a == "--filter") o.filter = next();
        else if (a == "--impls") o.impls = next();
        else if (a == "--inputs") o.inputs = next();
        else if (a == "--reps-scale") o.reps_scale = std::stod(next());
        else if (a == "--sizes") {
            o.sizes.clear();
            std::string list = next();
            for (std::size_t pos = 0; pos < list.size();) {
                const std::size_t comma = std::min(list.find(',', pos), list.size());
                o.sizes.push_back(std::stoull(list.substr(pos, comma - pos)));
                pos = comma + 1;
            }
        } else {
            std::cerr << "unknown argument " << a << "\n";
            std::exit(2);
        }
    }
    return o;
}

std::string size_name(std::size_t n)
{
    if (n >= 1'000'000 && n % 1'000'000 == 0) return std::to_string(n / 1'000'000) + "M";
    if (n >= 1000) return std::to_string(n / 1000) + "k";
    return std::to_string(n);
}

/// The subdivision level whose 20 * 4^levels triangles lie nearest to `triangles`
/// (by ratio): 6 for 100k (81,920), 8 for 1M (1,310,720).
unsigned icosphere_levels_for(std::size_t triangles)
{
    unsigned levels = 0;
    // 20 * 4^(l+1) < 2 * triangles: the wish lies above 2 * 20 * 4^l, the geometric mean of this level and the next.
    while (20 * (std::size_t{1} << (2 * (levels + 1))) < 2 * triangles) ++levels;
    return levels;
}

std::vector<bench_input> make_inputs(const options& o)
{
    namespace mg = Zelkov::Meshgen;
    std::vector<bench_input> inputs;
    for (const std::size_t n : o.sizes) {
        const std::string tag = size_name(n);
        auto torus = mg::torus_with_about(n);
        auto sphere = mg::icosphere(icosphere_levels_for(n));
        inputs.push_back({"torus " + tag + " shuffled", "closed", mg::shuffled(torus, 7), {}});
        inputs.push_back({"icosphere " + tag + " shuffled", "closed", mg::shuffled(sphere, 7), {}});
        inputs.push_back({"torus " + tag + " soup", "soup", mg::soup(torus), {}});
        inputs.push_back({"icosphere " + tag + " soup", "soup", mg::soup(sphere), {}});
        inputs.push_back({"torus " + tag, "closed", std::move(torus), {}});
        inputs.push_back({"icosphere " + tag, "closed", std::move(sphere), {}});
    }
    inputs.push_back({"fan 100k", "fan", mg::fan(100'000), {}});
    if (o.real_meshes) {
        for (const auto& path : Zelkov::Peers::mesh_files(mg::shared_mesh_dir())) {
            auto mesh = mg::read_mesh(path.string());
            if (!mesh || mesh->triangles.size() < 4000) continue;  // the small ones time nothing but overhead
            inputs.push_back({path.filename().string(), "real", std::move(*mesh), {}});
        }
    }
    // Closed inputs first, largest first, so that a long run reports the figures that matter early.
    std::stable_sort(inputs.begin(), inputs.end(), [](const bench_input& a, const bench_input& b) {
        return a.surface.triangles.size() > b.surface.triangles.size();
    });
    // The filter picks among the generated inputs; the real meshes go by --no-real.
    if (!o.inputs.empty())
        std::erase_if(inputs,
                      [&](const bench_input& in) { return in.kind != "real" && !matches_any(in.name, o.inputs); });
    return inputs;
}

int reps_for(const std::string& op, std::size_t triangles, double scale)
{
    const int reps = triangles >= 1'000'000 ? 5 : triangles >= 100'000 ? 9 : 21;
    const int scaled = std::max(3, static_cast<int>(reps * scale));
    // A peer's simplification of the 1M-class inputs takes up to a minute a run.
    if (op == "simplify") return std::min(scaled, triangles >= 900'000 ? 3 : 5);
    return scaled;
}

void warm_up(oneapi::tbb::task_arena& arena)
{
    std::vector<double> sink(1 << 20);
    for (int round = 0; round < 20; ++round)
        arena.execute([&] {
            oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, sink.size(), 1),
                                      [&](const oneapi::tbb::blocked_range<std::size_t>& r) {
                                          for (std::size_t i = r.begin(); i != r.end(); ++i)
                                              sink[i] = sink[i] * 0.5 + static_cast<double>(i);
                                      });
        });
}

}  // namespace

}  // namespace Zelkov::Peers

int main(int argc, char** argv)
{
    using namespace Zelkov::Peers;
    const options o = parse(argc, argv);
    oneapi::tbb::task_arena arena(o.threads);
    warm_up(arena);
    auto inputs = make_inputs(o);

    std::printf(
        "#op\tinput\ttriangles\timpl\tthreads\treps\tmedian_s\tmin_s\tpeak_bytes\tcheck\tmean_error\tmax_error\n");
    std::fflush(stdout);
    for (auto& in : inputs) {
        const unsigned bit = kind_bit(in.kind);
        int cgal_ok = -1;                                  // asked once, when a CGAL pairing first needs it
        std::unique_ptr<distance_to_reference> distances;  // built when a simplify pairing first needs it
        for (const auto& p : pairings()) {
            if ((p.kinds & bit) == 0 || (o.parallel_only && !p.parallel)) continue;
            if (!o.filter.empty() && !matches_any(p.op, o.filter)) continue;
            if (!o.impls.empty() && !matches_any(p.impl, o.impls)) continue;
            if (p.needs_cgal) {
                // CGAL's soup conversion is quadratic in a vertex's valence: the fan is left out.
                if (in.kind == "fan") continue;
                if (cgal_ok < 0) cgal_ok = cgal_accepts(in) ? 1 : 0;
                if (cgal_ok == 0) continue;
            }
            if (p.needs_collapses && in.collapses.empty())
                in.collapses = make_collapse_sequence(in.surface, in.surface.triangles.size() / 2);

            auto run = [&](stopwatch& sw) {
                return p.ours ? arena.execute([&] { return p.fn(in, sw); }) : p.fn(in, sw);
            };
            // A simplify pairing runs to half and to a tenth of the triangles.
            const bool simplify = std::strcmp(p.op, "simplify") == 0;
            const std::pair<const char*, double> variants[] = {{p.op, 0.5}, {"simplify-tenth", 0.1}};
            for (std::size_t v = 0; v < (simplify ? 2u : 1u); ++v) {
                const char* op = variants[v].first;
                if (simplify && !o.filter.empty() && !matches_any(op, o.filter)) continue;
                in.simplify_ratio = variants[v].second;
                triangle_surface simplified;
                if (simplify) in.simplified = &simplified;
                stopwatch sw;
                heap_in_use.store(0);
                counting.store(true);
                const std::size_t check = run(sw);
                counting.store(false);
                in.simplified = nullptr;
                const double peak = sw.peak_bytes();
                char errors[64] = "";
                if (simplify) {
                    if (!distances) distances = std::make_unique<distance_to_reference>(in.surface);
                    const auto e = distances->measure(simplified);
                    std::snprintf(errors, sizeof errors, "\t%.6g\t%.6g", e.mean, e.max);
                    simplified = {};  // not held through the timed runs
                }

                const int reps = reps_for(p.op, in.surface.triangles.size(), o.reps_scale);
                std::vector<double> seconds;
                for (int r = 0; r < reps; ++r) {
                    run(sw);
                    seconds.push_back(sw.seconds());
                }
                std::sort(seconds.begin(), seconds.end());
                std::printf("%s\t%s\t%zu\t%s\t%d\t%d\t%.6g\t%.6g\t%.0f\t%zu%s\n", op, in.name.c_str(),
                            in.surface.triangles.size(), p.impl, o.threads, reps, seconds[seconds.size() / 2],
                            seconds.front(), peak, check, errors);
                std::fflush(stdout);
            }
        }
        in.collapses.clear();
        in.collapses.shrink_to_fit();
    }
    return 0;
}
