// The repair pairings of the peer benchmark: our `repair` job against CGAL's
// Polygon Mesh Processing pipeline and against admesh, and the quality of
// hole filling on holes cut into closed surfaces. Prints tab-separated lines
// (see `print_header`) that make_repair_results.py turns into the report.
//
// Timing: for each input and each variant, one untimed run of every
// implementation whose result is inspected with our `inspect`, then `reps`
// rounds in which ours (1 thread, then 2 threads) and the peer run one after
// the other, so that a change in the machine's load touches all of them.
// Only the repair itself is timed: copying the input into the peer's types
// and the result back into ours is not.
//
// Options: --fill-limit N (largest hole filled, in boundary edges; default
// 100), --soup-triangles N (the generated soup, default 1000000),
// --reps-scale X, --inputs LIST (names, a trailing * matches any rest),
// --no-timing, --no-quality.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include <oneapi/tbb/task_arena.h>

#include <processing/repair.h>
#include <processing/surface_info.h>

#include "meshgen.h"
#include "peers.h"
#include "repair_peers.h"

#include "name_list.h"

using Zelkov::Peers::matches_any;

namespace Zelkov::Peers {

// The CGAL helpers shared with the main benchmark time through a stopwatch;
// this program keeps no heap figures.
namespace {
double now_seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}
}  // namespace
void stopwatch::start() { started_ = now_seconds(); }
void stopwatch::stop() { seconds_ = now_seconds() - started_; }

namespace {

namespace mg = Zelkov::Meshgen;
using namespace Zelkov::Processing;

struct options {
    std::size_t fill_limit = 100;
    std::size_t soup_triangles = 1'000'000;
    double reps_scale = 1.0;
    std::string inputs;
    bool timing = true;
    bool quality = true;
};

options parse(int argc, char** argv)
{
    options o;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        auto next = [&]() -> std::string { return i + 1 < argc ? argv[++i] : ""; };
        if (a == "--fill-limit") o.fill_limit = std::stoull(next());
        else if (a == "--soup-triangles") o.soup_triangles = std::stoull(next());
        else if (a == "--reps-scale") o.reps_scale = std::stod(next());
        else if (a == "--inputs") o.inputs = next();
        else if (a == "--no-timing") o.timing = false;
        else if (a == "--no-quality") o.quality = false;
        else {
            std::cerr << "unknown argument " << a << "\n";
            std::exit(2);
        }
    }
    return o;
}

double box_diagonal(const triangle_surface& s)
{
    if (s.vertices.empty()) return 0.0;
    auto lo = s.vertices.front(), hi = lo;
    for (const auto& p : s.vertices) {
        lo = {std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z)};
        hi = {std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z)};
    }
    return std::hypot(hi.x - lo.x, hi.y - lo.y, hi.z - lo.z);
}

double distance(const Zelkov::Math::point<double, 3>& a, const Zelkov::Math::point<double, 3>& b)
{
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

double mean_edge_length(const triangle_surface& s)
{
    double sum = 0.0;
    for (const auto& t : s.triangles)
        for (int k = 0; k < 3; ++k) sum += distance(s.vertices[t[k]], s.vertices[t[(k + 1) % 3]]);
    return s.triangles.empty() ? 0.0 : sum / (3.0 * static_cast<double>(s.triangles.size()));
}

// ---------------------------------------------------------------- holes cut in code

struct cut_surface {
    triangle_surface cut;      ///< the triangles kept, over all the vertices
    triangle_surface cut_out;  ///< the triangles removed, over all the vertices
    std::size_t seeds = 0;     ///< holes asked for
    double edge_length = 0.0;  ///< the mean edge length before cutting
};

/// Removes the triangles that have a corner within `radius_edges` mean edge
/// lengths of one of `holes` seed vertices, spread over the surface: the
/// seeds are taken along a fixed stride through the vertices, each at least
/// five radii from the seeds before it.
cut_surface cut_holes(const triangle_surface& s, std::size_t holes, double radius_edges)
{
    cut_surface c;
    c.edge_length = mean_edge_length(s);
    const double radius = radius_edges * c.edge_length;
    std::vector<unsigned char> used(s.vertices.size(), 0);
    for (const auto& t : s.triangles)
        for (const std::size_t v : t) used[v] = 1;
    std::vector<std::size_t> seeds;
    const std::size_t n = s.vertices.size();
    for (std::size_t k = 0; k < n && seeds.size() < holes; ++k) {
        const std::size_t v = (k * 7'919 + n / 3) % n;
        if (!used[v]) continue;
        if (std::all_of(seeds.begin(), seeds.end(),
                        [&](std::size_t w) { return distance(s.vertices[v], s.vertices[w]) > 5.0 * radius; }))
            seeds.push_back(v);
    }
    c.seeds = seeds.size();
    c.cut.vertices = s.vertices;
    c.cut_out.vertices = s.vertices;
    for (const auto& t : s.triangles) {
        const bool inside = std::any_of(t.begin(), t.end(), [&](std::size_t v) {
            return std::any_of(seeds.begin(), seeds.end(),
                               [&](std::size_t w) { return distance(s.vertices[v], s.vertices[w]) <= radius; });
        });
        (inside ? c.cut_out : c.cut).triangles.push_back(t);
    }
    return c;
}

/// The generated soup: a torus of about `triangles` triangles with eight
/// holes cut in it, three fresh points per triangle at float precision (as an
/// STL file holds them), every 97th triangle turned over and every 211th
/// repeated at the end.
triangle_surface defective_soup(std::size_t triangles)
{
    auto s = mg::soup(cut_holes(mg::torus_with_about(triangles), 8, 3.0).cut);
    for (auto& p : s.vertices)
        p = {static_cast<double>(static_cast<float>(p.x)), static_cast<double>(static_cast<float>(p.y)),
             static_cast<double>(static_cast<float>(p.z))};
    for (std::size_t t = 0; t < s.triangles.size(); t += 97) std::swap(s.triangles[t][1], s.triangles[t][2]);
    const std::size_t n = s.triangles.size();
    for (std::size_t t = 0; t < n; t += 211) s.triangles.push_back(s.triangles[t]);
    return s;
}

// ---------------------------------------------------------------- timing and outcomes

struct input {
    std::string name;
    bool stl_like;  // an STL file or the generated soup: admesh takes it too
    triangle_surface surface;
};

struct variant {
    const char* name;
    hole_fill fill;
    bool admesh;  // the admesh pairing: tolerance weld and every hole filled flat
};

/// Every hole admesh would fill, within reason for a cubic triangulation.
constexpr std::size_t fill_all_limit = 2000;
/// The tolerance of the admesh pairing, relative to the box diagonal.
constexpr double admesh_tolerance_relative = 1e-5;

repair_options ours_options(const variant& v, const options& o, double tolerance)
{
    repair_options r;
    r.tolerance = v.admesh ? tolerance : 0.0;
    // admesh's --remove-unconnected drops facets that share no edge with another.
    if (v.admesh) r.removal.min_component_triangles = 2;
    if (v.fill != hole_fill::none) {
        r.fill.max_boundary_edges = v.admesh ? fill_all_limit : o.fill_limit;
        r.fill.refine = v.fill == hole_fill::refined || v.fill == hole_fill::faired;
        r.fill.fair = v.fill == hole_fill::faired;
    }
    return r;
}

void print_header()
{
    std::printf("#time\tvariant\tinput\ttriangles\timpl\tthreads\treps\tmedian_s\tmin_s\n");
    std::printf("#outcome\tvariant\tinput\timpl\ttriangles_out\tnon_manifold_edges\tpinch_vertices\tmisoriented_edges\t"
                "boundary_edges\tboundary_loops\tdegenerate\tzero_area\tduplicate_triangles\tclosed_and_oriented\t"
                "components\tholes_filled\tsame_at_2_threads\n");
    std::printf("#quality\tinput\tradius_edges\tholes_cut\tremoved_triangles\timpl\tholes_filled\tnew_triangles\t"
                "fill_to_cut_mean\tfill_to_cut_max\tcut_to_fill_mean\tcut_to_fill_max\tseconds\n");
    std::printf("#stages\tvariant\tinput\tthreads\tstage=seconds...\tfill=holes/filled/too_large/not_simple/refused\n");
    std::fflush(stdout);
}

void print_outcome(const variant& v, const input& in, const char* impl, const triangle_surface& out, std::size_t filled,
                   int same)
{
    const inspect_result r = inspect(out, {.investigate = false});
    std::printf("outcome\t%s\t%s\t%s\t%zu\t%zu\t%zu\t%zu\t%zu\t%zu\t%zu\t%zu\t%zu\t%d\t%zu\t%zu\t%d\n", v.name,
                in.name.c_str(), impl, out.triangles.size(), r.edges.non_manifold, r.vertex_classes.pinch,
                r.edges.misoriented, r.edges.boundary, r.boundary_loops, r.defects.topologically_degenerate,
                r.defects.zero_area, r.defects.duplicate_triangles, r.closed_and_consistently_oriented ? 1 : 0,
                r.connected_components, filled, same);
    std::fflush(stdout);
}

void print_time(const variant& v, const input& in, const char* impl, int threads, std::vector<double> s)
{
    std::sort(s.begin(), s.end());
    std::printf("time\t%s\t%s\t%zu\t%s\t%d\t%zu\t%.6g\t%.6g\n", v.name, in.name.c_str(), in.surface.triangles.size(),
                impl, threads, s.size(), s[s.size() / 2], s.front());
    std::fflush(stdout);
}

/// Where our time goes: one more run at 1 thread, timed stage by stage
/// through the progress reports.
void print_stages(const variant& v, const input& in, const repair_options& ro, oneapi::tbb::task_arena& one)
{
    std::vector<std::pair<std::string, double>> stages;
    double started = 0.0;
    const progress_callback progress = [&](const progress_event& e) {
        if (e.fraction == 0.0) started = now_seconds();
        else if (e.fraction == 1.0) stages.emplace_back(std::string(e.stage), now_seconds() - started);
        return true;
    };
    triangle_surface s = in.surface;
    repair_result r;
    one.execute([&] { r = repair(s, ro, progress); });
    std::printf("stages\t%s\t%s\t1", v.name, in.name.c_str());
    for (const auto& [name, seconds] : stages) std::printf("\t%s=%.4g", name.c_str(), seconds);
    std::printf("\tfill=%zu/%zu/%zu/%zu/%zu\n", r.fill.holes, r.fill.filled, r.fill.too_large, r.fill.not_simple,
                r.fill.refused);
    std::fflush(stdout);
}

int reps_for(std::size_t triangles, double scale)
{
    const int reps = triangles >= 500'000 ? 3 : triangles >= 50'000 ? 5 : 9;
    return std::max(1, static_cast<int>(std::lround(reps * scale)));
}

void time_input(const input& in, const options& o, oneapi::tbb::task_arena& one, oneapi::tbb::task_arena& two)
{
    const double tolerance = admesh_tolerance_relative * box_diagonal(in.surface);
    const variant variants[] = {
        {"repair", hole_fill::none, false},
        {"repair + fill, faired", hole_fill::faired, false},
        {"repair + fill, flat", hole_fill::flat, false},
        {"repair with tolerance + fill all, flat", hole_fill::flat, true},
    };
    for (const variant& v : variants) {
        if (v.admesh && !in.stl_like) continue;
        const repair_options ro = ours_options(v, o, tolerance);
        auto ours = [&](oneapi::tbb::task_arena& arena, triangle_surface* out) {
            triangle_surface s = in.surface;
            repair_result r;
            const double start = now_seconds();
            arena.execute([&] { r = repair(s, ro); });
            const double seconds = now_seconds() - start;
            if (out != nullptr) *out = std::move(s);
            return std::make_pair(seconds, r.fill.filled);
        };
        auto peer = [&](triangle_surface* out) {
            return v.admesh ? admesh_repair(in.surface, static_cast<float>(tolerance), out)
                            : cgal_repair(in.surface, v.fill, o.fill_limit, out);
        };
        const char* peer_name = v.admesh ? "admesh stl_repair" : "CGAL PMP pipeline";

        triangle_surface ours1, ours2, theirs;
        const std::size_t filled = ours(one, &ours1).second;
        ours(two, &ours2);
        const peer_run first = peer(&theirs);
        print_outcome(v, in, "ours", ours1, filled, ours1.triangles == ours2.triangles ? 1 : 0);
        print_outcome(v, in, peer_name, theirs, first.holes_filled, first.succeeded ? -1 : -2);
        print_stages(v, in, ro, one);

        if (!o.timing) continue;
        std::vector<double> t1, t2, tp;
        for (int r = reps_for(in.surface.triangles.size(), o.reps_scale); r > 0; --r) {
            t1.push_back(ours(one, nullptr).first);
            t2.push_back(ours(two, nullptr).first);
            tp.push_back(peer(nullptr).seconds);
        }
        print_time(v, in, "ours", 1, t1);
        print_time(v, in, "ours", 2, t2);
        print_time(v, in, peer_name, 1, tp);
    }
}

// ---------------------------------------------------------------- hole-filling quality

void quality(const std::string& name, const triangle_surface& closed, double radius_edges, oneapi::tbb::task_arena& one)
{
    const cut_surface c = cut_holes(closed, 6, radius_edges);
    auto report = [&](const char* impl, std::size_t filled, const triangle_surface& patch, double seconds) {
        const double unit = c.edge_length;
        const patch_distance there = distance_between(patch, c.cut_out);
        const patch_distance back = distance_between(c.cut_out, patch);
        std::printf("quality\t%s\t%g\t%zu\t%zu\t%s\t%zu\t%zu\t%.4g\t%.4g\t%.4g\t%.4g\t%.4g\n", name.c_str(),
                    radius_edges, c.seeds, c.cut_out.triangles.size(), impl, filled, patch.triangles.size(),
                    there.mean / unit, there.max / unit, back.mean / unit, back.max / unit, seconds);
        std::fflush(stdout);
    };
    const std::pair<const char*, hole_fill> kinds[] = {
        {"flat", hole_fill::flat}, {"refined", hole_fill::refined}, {"faired", hole_fill::faired}};
    for (const auto& [kind, fill] : kinds) {
        triangle_surface s = c.cut;
        fill_result r;
        const double start = now_seconds();
        one.execute([&] {
            r = fill_holes(s, {.max_boundary_edges = fill_all_limit,
                               .refine = fill != hole_fill::flat,
                               .fair = fill == hole_fill::faired});
        });
        const double seconds = now_seconds() - start;
        triangle_surface patch;
        patch.vertices = s.vertices;
        patch.triangles.assign(s.triangles.begin() + static_cast<std::ptrdiff_t>(c.cut.triangles.size()),
                               s.triangles.end());
        report((std::string("ours ") + kind).c_str(), r.filled, patch, seconds);
    }
    for (const auto& [kind, fill] : kinds) {
        triangle_surface patch;
        const peer_run r = cgal_fill_holes(c.cut, fill, fill_all_limit, patch);
        report((std::string("CGAL ") + kind).c_str(), r.holes_filled, patch, r.seconds);
    }
}

}  // namespace
}  // namespace Zelkov::Peers

int main(int argc, char** argv)
{
    using namespace Zelkov::Peers;
    const options o = parse(argc, argv);
    oneapi::tbb::task_arena one(1), two(2);
    print_header();

    std::vector<input> inputs;
    const std::string dir = mg::shared_mesh_dir();
    for (const auto& path : mesh_files(dir)) {
        auto mesh = mg::read_mesh(path.string());
        if (!mesh) {
            std::cerr << "cannot read " << path << "\n";
            continue;
        }
        inputs.push_back({path.filename().string(), path.extension() == ".stl", std::move(*mesh)});
    }
    inputs.push_back({"torus 1M soup + defects", true, defective_soup(o.soup_triangles)});
    if (!o.inputs.empty()) std::erase_if(inputs, [&](const input& in) { return !matches_any(in.name, o.inputs); });

    for (const auto& in : inputs) time_input(in, o, one, two);

    if (o.quality) {
        for (const double radius : {3.0, 6.0}) {
            if (auto armadillo = mg::read_mesh(dir + "/armadillo_100k.obj"))
                quality("armadillo_100k.obj", *armadillo, radius, one);
            quality("icosphere 82k", mg::icosphere(6), radius, one);
            quality("torus 100k", mg::torus_with_about(100'000), radius, one);
        }
    }
    return 0;
}
