// repair and its steps: named defective surfaces made in code, each step
// checked against what it must produce and by the library's own predicates;
// shuffled, duplicated and flipped soups brought back to their surface; the
// outcome on every shared real mesh.

#include <processing/repair.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include <geometry/trimesh.h>
#include <processing/surface_info.h>

#include "support/fixtures.h"
#include "support/meshgen/meshgen.h"

namespace {

using namespace Zelkov::Processing;
using Zelkov::Geometry::point;
using tri = std::array<std::size_t, 3>;
const double pi = std::acos(-1.0);

triangle_surface make(std::vector<point<double, 3>> v, std::vector<tri> t) { return {std::move(v), std::move(t)}; }

/// No edge of three triangles, no pinch, no misoriented edge, nothing
/// degenerate or duplicated; closed when asked.
void expect_clean(const triangle_surface& s, bool closed, const std::string& name = {})
{
    const inspect_result r = inspect(s, {.investigate = false});
    EXPECT_EQ(r.edges.non_manifold, 0u) << name;
    EXPECT_EQ(r.vertex_classes.pinch, 0u) << name;
    EXPECT_EQ(r.edges.misoriented, 0u) << name;
    EXPECT_EQ(r.defects.topologically_degenerate + r.defects.zero_area + r.defects.duplicate_triangles, 0u) << name;
    if (closed) {
        EXPECT_TRUE(r.closed_and_consistently_oriented) << name;
        EXPECT_GE(r.measures.signed_volume, 0.0) << name;  // a flat sheet closes with none
    }
}

/// A strip of `n` squares around a circle with half a twist: non-orientable.
triangle_surface moebius(std::size_t n)
{
    triangle_surface s;
    for (std::size_t i = 0; i < n; ++i) {
        const double a = 2 * pi * static_cast<double>(i) / static_cast<double>(n);
        for (const double w : {-0.2, 0.2})
            s.vertices.push_back({(1 + w * std::cos(a / 2)) * std::cos(a), (1 + w * std::cos(a / 2)) * std::sin(a),
                                  w * std::sin(a / 2)});
    }
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t a = 2 * i, b = a + 1;
        // The last square joins the first with its sides swapped.
        const std::size_t c = i + 1 < n ? a + 2 : 1, d = i + 1 < n ? a + 3 : 0;
        s.triangles.push_back({a, c, b});
        s.triangles.push_back({b, c, d});
    }
    return s;
}

/// The triangles of `s` as position triples, each rotated to start at its
/// smallest position, sorted: the surface up to renumbering.
std::vector<std::array<std::array<double, 3>, 3>> by_positions(const triangle_surface& s)
{
    std::vector<std::array<std::array<double, 3>, 3>> out;
    for (const auto& t : s.triangles) {
        std::array<std::array<double, 3>, 3> p;
        for (int i = 0; i < 3; ++i) p[i] = {s.vertices[t[i]].x, s.vertices[t[i]].y, s.vertices[t[i]].z};
        std::rotate(p.begin(), std::min_element(p.begin(), p.end()), p.end());
        out.push_back(p);
    }
    std::sort(out.begin(), out.end());
    return out;
}

TEST(MakeManifold, BowTieAndThreeSheetsOnOneEdgeComeApartWithoutMoving)
{
    triangle_surface bow_tie = make({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}, {-1, -1, 0}}, {{0, 1, 2}, {0, 3, 4}});
    manifold_result r = make_manifold(bow_tie);
    EXPECT_EQ(r.split_vertices, 1u);
    EXPECT_EQ(bow_tie.triangles, (std::vector<tri>{{0, 1, 2}, {5, 3, 4}}));
    EXPECT_EQ(r.vertex_source, (std::vector<std::size_t>{0, 1, 2, 3, 4, 0}));
    expect_clean(bow_tie, false);

    // Two sheets that run the edge opposite ways stay joined; the third,
    // which runs it the same way as the first, comes off with its own ends.
    triangle_surface sheets =
        make({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}}, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
    r = make_manifold(sheets);
    EXPECT_EQ(r.non_manifold_edges, 1u);
    EXPECT_EQ(r.vertices_added, 2u);
    EXPECT_EQ(sheets.triangles[0], (tri{0, 1, 2}));
    EXPECT_EQ(sheets.triangles[1], (tri{1, 0, 3}));
    EXPECT_EQ(sheets.triangles[2], (tri{5, 6, 4}));
    EXPECT_EQ(r.vertex_source, (std::vector<std::size_t>{0, 1, 2, 3, 4, 0, 1}));
    for (std::size_t v = 5; v < 7; ++v) EXPECT_EQ(sheets.vertices[v].x, sheets.vertices[r.vertex_source[v]].x);
    expect_clean(sheets, false);

    // Two boxes on one edge become two closed boxes.
    triangle_surface boxes = Zelkov::Meshgen::box();
    const triangle_surface other = Zelkov::Geometry::translate(Zelkov::Meshgen::box(), {1, 1, 0});
    Zelkov::Geometry::copy_triangles(boxes, other);
    weld(boxes);
    r = make_manifold(boxes);
    EXPECT_EQ(r.non_manifold_edges, 1u);
    EXPECT_EQ(r.vertices_added, 2u);
    expect_clean(boxes, true);
}

TEST(Orient, FlippedTrianglesTurnedPiecesAndAMoebiusStrip)
{
    // One triangle of a box turned over comes back; the whole box turned
    // inside out is turned outward.
    const triangle_surface box = Zelkov::Meshgen::box();
    triangle_surface s = box;
    Zelkov::Geometry::invert(s, {4});
    orient_result r = orient(s);
    EXPECT_EQ(r.flipped_triangles, 1u);
    EXPECT_EQ(s.triangles, box.triangles);
    Zelkov::Geometry::invert(s);
    r = orient(s);
    EXPECT_EQ(r.turned_outward, 1u);
    EXPECT_EQ(s.triangles, box.triangles);

    // On an open grid the smaller side turns; on a tie the lowest triangle stays.
    const triangle_surface grid = Zelkov::Meshgen::grid(2, 2);
    s = grid;
    Zelkov::Geometry::invert(s, {1, 6});
    EXPECT_EQ(orient(s).flipped_triangles, 2u);
    EXPECT_EQ(s.triangles, grid.triangles);
    s = Zelkov::Meshgen::grid(1, 1);
    Zelkov::Geometry::invert(s, {0});
    triangle_surface expected = Zelkov::Meshgen::grid(1, 1);
    Zelkov::Geometry::invert(expected);
    orient(s);
    EXPECT_EQ(s.triangles, expected.triangles);

    const triangle_surface strip = moebius(12);
    s = strip;
    r = orient(s);
    EXPECT_EQ(r.components, 1u);
    EXPECT_EQ(r.non_orientable_components, 1u);
    EXPECT_EQ(r.flipped_triangles, 0u);
    EXPECT_EQ(s.triangles, strip.triangles);
}

TEST(RemoveDefectiveTriangles, BackToBackDuplicatesDegenerateAndSmallPieces)
{
    triangle_surface base = Zelkov::Meshgen::box();
    const auto t0 = base.triangles[0], t1 = base.triangles[1];
    base.triangles.push_back(t0);                     // a duplicate the same way
    base.triangles.push_back({t1[1], t1[0], t1[2]});  // a back-to-back copy
    base.triangles.push_back({t0[0], t0[0], t0[1]});  // degenerate
    base.vertices.insert(base.vertices.end(), {{5, 5, 5}, {6, 5, 5}, {5, 6, 5}});
    base.triangles.push_back({8, 9, 10});  // a lone piece

    triangle_surface s = base;
    removal_result r = remove_defective_triangles(s, {.min_component_triangles = 2});
    EXPECT_EQ(r.degenerate, 1u);
    EXPECT_EQ(r.duplicates, 1u);
    EXPECT_EQ(r.back_to_back, 2u);
    EXPECT_EQ(r.small_components, 1u);
    EXPECT_EQ(s.triangles.size(), 11u);
    EXPECT_EQ(s.triangles[0], base.triangles[0]);  // the others keep their order
    EXPECT_EQ(s.triangles[1], base.triangles[2]);

    s = base;
    r = remove_defective_triangles(s, {.back_to_back = back_to_back_policy::keep_one});
    EXPECT_EQ(r.back_to_back, 1u);
    EXPECT_EQ(s.triangles.size(), 13u);
    expect_clean(Zelkov::Geometry::triangle_surface{s.vertices, {s.triangles.begin(), s.triangles.end() - 1}}, true);
}

TEST(WeldWithinTolerance, CracksCloseAndChainsDoNotMergeThrough)
{
    // Two grids with a crack of 1e-7 between them.
    triangle_surface s = Zelkov::Meshgen::grid(3, 3);
    Zelkov::Geometry::copy_triangles(s, Zelkov::Geometry::translate(Zelkov::Meshgen::grid(3, 3), {3 + 1e-7, 0, 0}));
    weld(s);
    triangle_surface shuffled = Zelkov::Meshgen::shuffled(s, 5);
    weld(shuffled);
    const tolerance_weld_result r = weld_within_tolerance(s, 1e-6);
    EXPECT_EQ(r.vertices_merged, 4u);
    EXPECT_EQ(inspect(s, {.investigate = false}).boundary_loops, 1u);
    weld_within_tolerance(shuffled, 1e-6);
    EXPECT_TRUE(Zelkov::Testing::same_bits(s, shuffled)) << "the input's order shows through";

    // 0.6 is within 1 of 0 and merges; 1.2 is not, though within 1 of 0.6.
    triangle_surface chain = make({{0, 0, 0}, {0.6, 0, 0}, {1.2, 0, 0}, {5, 5, 5}}, {{0, 1, 3}, {1, 2, 3}});
    const tolerance_weld_result c = weld_within_tolerance(chain, 1.0);
    EXPECT_EQ(c.vertex_map, (std::vector<std::size_t>{0, 0, 1, 2}));
    EXPECT_EQ(chain.triangles, (std::vector<tri>{{0, 0, 2}, {0, 1, 2}}));
    EXPECT_EQ(weld_within_tolerance(chain, std::nan("")).vertices_merged, 0u);
}

TEST(FillHoles, HolesOfThreeAndFortyEdgesCloseAndFairingFollowsTheSphere)
{
    const triangle_surface sphere = Zelkov::Meshgen::icosphere(3);
    triangle_surface cut = sphere;
    std::vector<std::size_t> gone{0};
    for (std::size_t t = 0; t < cut.triangles.size(); ++t) {
        double z = 0;
        for (const std::size_t v : cut.triangles[t]) z += cut.vertices[v].z / 3;
        if (z > 0.9) gone.push_back(t);
    }
    Zelkov::Geometry::remove_triangles(cut, gone);

    triangle_surface s = cut;
    fill_result r = fill_holes(s, {.max_boundary_edges = 10});
    EXPECT_EQ(r.holes, 2u);
    EXPECT_EQ(r.filled, 1u);
    EXPECT_EQ(r.too_large, 1u);
    EXPECT_EQ(r.triangles_added, 1u);

    // Distance of the new vertices from the unit sphere, flat and faired.
    const auto deviation = [&](bool fair) {
        triangle_surface f = cut;
        const std::size_t first = f.vertices.size();
        const fill_result filled = fill_holes(f, {.max_boundary_edges = 100, .refine = true, .fair = fair});
        EXPECT_EQ(filled.filled, 2u);
        EXPECT_GT(filled.vertices_added, 10u);
        expect_clean(f, true, fair ? "faired" : "refined");
        double sum = 0;
        for (std::size_t v = first; v < f.vertices.size(); ++v) {
            const auto& p = f.vertices[v];
            sum += std::abs(std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z) - 1);
        }
        return sum / static_cast<double>(f.vertices.size() - first);
    };
    const double flat = deviation(false), faired = deviation(true);
    EXPECT_LT(faired, 0.25 * flat) << "flat " << flat << ", faired " << faired;

    // A lone triangle's rim would close only into a back-to-back pair.
    triangle_surface lone = make({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}});
    r = fill_holes(lone, {.max_boundary_edges = 10});
    EXPECT_EQ(r.refused, 1u);
    EXPECT_EQ(lone.triangles.size(), 1u);
}

TEST(Repair, ShuffledDuplicatedAndFlippedSoupsComeBackToTheirSurface)
{
    std::vector<std::pair<std::string, triangle_surface>> cases{{"torus", Zelkov::Meshgen::torus(24, 16)}};
    for (const char* name : {"knot.ply", "spot.obj"}) {
        const std::string dir = Zelkov::Meshgen::shared_mesh_dir();
        if (auto s = dir.empty() ? std::nullopt : Zelkov::Meshgen::read_mesh(dir + "/" + name))
            cases.emplace_back(name, std::move(*s));
    }
    for (auto& [name, original] : cases) {
        triangle_surface soup = Zelkov::Meshgen::soup(original);
        std::mt19937_64 random(7);
        const std::size_t n = soup.triangles.size();
        for (std::size_t k = 0; k < n / 20; ++k) soup.triangles.push_back(soup.triangles[random() % n]);
        for (auto& t : soup.triangles)
            if (random() % 10 == 0) std::swap(t[0], t[1]);
        soup = Zelkov::Meshgen::shuffled(soup, 9);
        repair_options o;
        o.removal.back_to_back = back_to_back_policy::keep_one;
        const repair_result r = repair(soup, o);
        EXPECT_GT(r.orientation.flipped_triangles, 0u) << name;
        expect_clean(soup, true, name);
        weld(original);
        EXPECT_EQ(by_positions(soup), by_positions(original)) << name;
    }
}

TEST(Repair, EverySharedMeshComesOutManifoldOrientedAndClosedWhereItCan)
{
    // The meshes whose every opening is a crack or a hole within the limit.
    const std::set<std::string> closes{"armadillo_100k.obj",
                                       "bowtie_eight2d.ply",
                                       "bunny.obj",
                                       "capsule_degenerate.obj",
                                       "cow_pinched.obj",
                                       "fandisk.obj",
                                       "fixed_top_genus7.ply",
                                       "joined_tets.obj",
                                       "knot.ply",
                                       "spot.obj",
                                       "suzanne.obj",
                                       "teapot.obj",
                                       "teapot_soup.stl",
                                       "thingi243015_genus32.stl",
                                       "two_cubes_edge.stl"};
    const std::string dir = Zelkov::Meshgen::shared_mesh_dir();
    if (dir.empty()) GTEST_SKIP() << "shared meshes not found (../shared/meshes)";
    repair_options o;
    o.tolerance_relative = 1e-6;
    o.fill.max_boundary_edges = 500;
    for (const char* name :
         {"armadillo_100k.obj", "beetle.obj", "bowtie_eight2d.ply", "bunny.obj", "capsule_degenerate.obj",
          "cow_pinched.obj", "dragon_res4.ply", "fandisk.obj", "fixed_top_genus7.ply", "joined_tets.obj", "knot.ply",
          "moebius.ply", "spot.obj", "suzanne.obj", "teapot.obj", "teapot_soup.stl", "thingi243015_genus32.stl",
          "two_cubes_edge.stl"}) {
        auto s = Zelkov::Meshgen::read_mesh(dir + "/" + name);
        ASSERT_TRUE(s) << name;
        const repair_result r = repair(*s, o);
        if (std::string(name) == "moebius.ply") {
            EXPECT_EQ(r.orientation.non_orientable_components, 1u);
            continue;
        }
        expect_clean(*s, closes.count(name) > 0, name);
    }
}

}  // namespace
