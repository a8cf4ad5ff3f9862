// inspect: the figures of named defective surfaces made in code, of the real
// meshes, linear on high valence, and stopped by its progress callback.

#include <processing/surface_info.h>

#include <cmath>

#include <gtest/gtest.h>

#include "support/fixtures.h"
#include <meshio/meshio.h>

namespace {

using namespace Zelkov::Processing;
using Zelkov::Testing::tri;

/// A strip of n quads closed with a half twist: one boundary loop of 2n edges.
triangle_surface moebius_strip(std::size_t n)
{
    triangle_surface s;
    for (std::size_t i = 0; i < n; ++i) {
        const double a = 6.283185307179586 * static_cast<double>(i) / static_cast<double>(n);
        s.vertices.push_back({std::cos(a), std::sin(a), 0.3});
        s.vertices.push_back({std::cos(a), std::sin(a), -0.3});
    }
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t top = 2 * i, bottom = 2 * i + 1;
        const bool twist = i + 1 == n;  // the last quad meets the first one upside down
        const std::size_t next_top = twist ? 1 : 2 * (i + 1), next_bottom = twist ? 0 : 2 * (i + 1) + 1;
        s.triangles.push_back({top, bottom, next_bottom});
        s.triangles.push_back({top, next_bottom, next_top});
    }
    return s;
}

/// Two triangles that touch at one vertex only: a bow-tie.
triangle_surface bowtie()
{
    triangle_surface s;
    s.vertices = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {-1, 0, 0}, {-1, -1, 0}};
    s.triangles = {{0, 1, 2}, {0, 3, 4}};
    return s;
}

TEST(Inspect, NamedDefectiveSurfaces)
{
    const auto tet = inspect(Zelkov::Meshgen::tetrahedron());
    EXPECT_TRUE(tet.closed_and_consistently_oriented);
    EXPECT_EQ(tet.edges.manifold, 6u);
    EXPECT_EQ(tet.welded.euler_characteristic, 2);
    EXPECT_EQ(tet.investigation.manifold_sides, 12u);
    EXPECT_EQ(tet.investigation.oriented_manifold_sides, 12u);
    EXPECT_GT(tet.measures.signed_volume, 0.0);

    // One triangle turned over: misoriented, yet orientable by turning it back.
    auto turned = Zelkov::Meshgen::tetrahedron();
    std::swap(turned.triangles[3][1], turned.triangles[3][2]);
    const auto t = inspect(turned);
    EXPECT_EQ(t.edges.misoriented, 3u);
    EXPECT_EQ(t.vertex_classes.inconsistent_orientation, 3u);  // the turned triangle's corners
    EXPECT_EQ(t.vertex_classes.regular_or_free, 1u);
    EXPECT_EQ(t.non_orientable_components, 0u);
    EXPECT_FALSE(t.closed_and_consistently_oriented);
    EXPECT_TRUE(t.closed_manifold);

    const auto m = inspect(moebius_strip(12));
    EXPECT_EQ(m.non_orientable_components, 1u);
    EXPECT_EQ(m.boundary_loops, 1u);
    EXPECT_EQ(m.edges.boundary, 24u);
    EXPECT_EQ(m.welded.euler_characteristic, 0);

    // The two rims of a bow-tie touch at its pinch: one boundary piece.
    const auto b = inspect(bowtie());
    EXPECT_EQ(b.vertex_classes.pinch, 1u);
    EXPECT_EQ(b.boundary_loops, 1u);
    EXPECT_EQ(b.connected_components, 1u);

    // A soup: nothing shared until welded.
    const auto soup = inspect(Zelkov::Meshgen::soup(Zelkov::Meshgen::box()));
    EXPECT_EQ(soup.connected_components, 12u);
    EXPECT_EQ(soup.defects.duplicate_positions, 36u - 8u);
    EXPECT_EQ(soup.welded.vertices, 8u);
    EXPECT_EQ(soup.welded.euler_characteristic, 2);

    triangle_surface odd = Zelkov::Meshgen::tetrahedron();
    odd.vertices.push_back({NAN, 0, 0});
    odd.vertices.push_back({0, INFINITY, 0});
    odd.triangles.push_back({0, 0, 1});
    const auto o = inspect(odd);
    EXPECT_EQ(o.defects.non_finite_vertices, 2u);
    EXPECT_EQ(o.defects.topologically_degenerate, 1u);
    EXPECT_EQ(o.free_vertices, 2u);
}

TEST(Inspect, RealMeshesAgreeWithTheirPublishedFigures)
{
    // As stored, before any welding; the boundary loops and the Euler
    // characteristic are of the welded surface.
    const struct {
        const char* name;
        std::size_t boundary, non_manifold, duplicate_positions, duplicate_triangles, pinches, components;
        std::size_t misoriented, loops, non_orientable;
        long long euler;
    } meshes[] = {
        {"teapot.obj", 1036, 0, 403, 0, 38, 4, 0, 10, 0, 1},
        {"beetle.obj", 296, 47, 0, 0, 0, 2, 0, 23, 0, -3},
        {"dragon_res4.ply", 0, 803, 0, 502, 7, 1, 0, 0, 0, 509},
        {"suzanne.obj", 42, 1, 2, 1, 0, 3, 0, 4, 0, 1},
        {"two_cubes_edge.stl", 72, 0, 58, 0, 0, 24, 0, 24, 0, 3},
        {"joined_tets.obj", 0, 3, 0, 1, 0, 1, 0, 0, 0, 4},
        {"bowtie_eight2d.ply", 20, 0, 0, 0, 1, 1, 0, 2, 0, -1},
        {"cow_pinched.obj", 0, 0, 0, 0, 1, 1, 0, 0, 0, 1},
        {"moebius.ply", 80, 0, 0, 0, 0, 1, 5, 1, 1, 0},
        {"moebius_big.ply", 160, 0, 0, 0, 0, 1, 10, 1, 1, 0},
        {"capsule_degenerate.obj", 302, 0, 250, 0, 0, 1, 0, 1, 0, 2},
        {"fixed_top_genus7.ply", 0, 0, 0, 0, 0, 1, 0, 0, 0, -12},
        {"thingi243015_genus32.stl", 11208, 0, 9402, 0, 0, 3736, 0, 3736, 0, -62},
        {"bunny.obj", 223, 0, 0, 0, 0, 1, 0, 5, 0, -3},
    };
    for (const auto& m : meshes) {
        ZELKOV_SHARED_MESH(path, m.name);
        SCOPED_TRACE(m.name);
        const auto r = inspect(Zelkov::Meshio::read_mesh_file(path));
        EXPECT_EQ(r.edges.boundary, m.boundary);
        EXPECT_EQ(r.edges.non_manifold, m.non_manifold);
        EXPECT_EQ(r.defects.duplicate_positions, m.duplicate_positions);
        EXPECT_EQ(r.defects.duplicate_triangles, m.duplicate_triangles);
        EXPECT_EQ(r.vertex_classes.pinch, m.pinches);
        EXPECT_EQ(r.connected_components, m.components);
        EXPECT_EQ(r.edges.misoriented, m.misoriented);
        EXPECT_EQ(r.boundary_loops, m.loops);
        EXPECT_EQ(r.non_orientable_components, m.non_orientable);
        EXPECT_EQ(r.welded.euler_characteristic, m.euler);
        EXPECT_EQ(r.investigation.boundary_sides, r.edges.boundary);
        if (m.name == std::string("capsule_degenerate.obj")) {
            EXPECT_EQ(r.defects.zero_area, 200u);
        }
    }
}

TEST(Inspect, HighValenceStaysLinear)
{
    // A closed disc of 100k spokes: every spoke's edge pairs the hub's 100k
    // triangles with the rim vertex's two.
    const auto disc = inspect(Zelkov::Meshgen::fan(100'000, true));
    ASSERT_TRUE(disc.investigation.done);
    EXPECT_EQ(disc.investigation.boundary_sides, disc.edges.boundary);

    // 100k triangles stacked on three vertices: the side-by-side report would
    // list 10^10 entries and is left out, with the reason.
    triangle_surface stack;
    stack.vertices = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    stack.triangles.assign(100'000, tri{0, 1, 2});
    const auto r = inspect(stack);
    EXPECT_FALSE(r.investigation.done);
    EXPECT_FALSE(r.investigation.skipped_because.empty());
    EXPECT_EQ(r.edges.non_manifold, 3u);
    EXPECT_EQ(r.defects.duplicate_triangles, 99'999u);
}

TEST(Inspect, ReportsEachStageAndStopsWhenAsked)
{
    std::vector<std::pair<std::string, double>> events;
    const auto record = [&](const progress_event& e) {
        events.emplace_back(std::string(e.stage), e.fraction);
        return true;
    };
    inspect(Zelkov::Meshgen::box(), {}, record);
    ASSERT_FALSE(events.empty());
    for (std::size_t i = 0; i + 1 < events.size(); i += 2) {
        EXPECT_EQ(events[i].first, events[i + 1].first);
        EXPECT_EQ(events[i].second, 0.0);
        EXPECT_EQ(events[i + 1].second, 1.0);
    }
    EXPECT_EQ(events.back().first, "investigate");

    std::size_t calls = 0;
    const auto stop_at_pinches = [&](const progress_event& e) { return ++calls, e.stage != "pinch vertices"; };
    EXPECT_THROW(inspect(Zelkov::Meshgen::box(), {}, stop_at_pinches), cancelled);
    EXPECT_LT(calls, events.size());
}

}  // namespace
