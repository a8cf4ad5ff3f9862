#include <cmath>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include <geometry/connectivity.h>
#include <geometry/fields.h>

#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;
using tri = std::array<std::size_t, 3>;
using edge = std::array<std::size_t, 2>;

/// Two triangles on the edge (0, 1); the second is folded up by `degrees`
/// about that edge. Consistently oriented unless `same_direction`.
triangle_surface hinge(double degrees, bool same_direction = false)
{
    const double a = degrees * std::acos(-1.0) / 180.0;
    triangle_surface s{{{0, 0, 0}, {1, 0, 0}, {0.5, -1, 0}, {0.5, std::cos(a), std::sin(a)}}, {}};
    // The first triangle runs the edge as 1 -> 0.
    s.triangles = {{0, 2, 1}, same_direction ? tri{1, 0, 3} : tri{0, 1, 3}};
    return s;
}

bool single_edge(const triangle_surface& s, edge e, double angle, bool orientation)
{
    return is_sharp_edge(e, s, get_vertex_to_triangles_map(s), angle, orientation);
}

// The whole-surface matrix is checked against single edges at the end.
TEST(IsSharpEdge, SingleEdgesAgainstTheLimit)
{
    auto crowded = hinge(120.0);
    crowded.vertices.push_back({0.5, 0, -1});
    crowded.triangles.push_back({0, 1, 4});  // a third triangle on (0, 1)
    const struct {
        triangle_surface s;
        edge e;
        double angle;
        bool orientation, sharp;
    } cases[] = {
        {hinge(90.0), {0, 1}, 89.0, true, true},
        {hinge(90.0), {0, 1}, 91.0, true, false},
        {hinge(90.0), {1, 0}, 91.0, false, false},
        // Flat and consistently oriented: the dot product is exactly 1, and
        // the comparison with cos(0) = 1 is strict.
        {hinge(0.0), {0, 1}, 0.0, true, false},
        // A pair running the edge the same way is mended only without orientation.
        {hinge(0.0, true), {0, 1}, 0.0, true, true},
        {hinge(0.0, true), {0, 1}, 179.0, true, true},
        {hinge(0.0, true), {0, 1}, 0.0, false, false},
        {hinge(0.0, true), {0, 1}, 179.0, false, false},
        // Crowded and boundary edges never are, nor a pair without triangles.
        {crowded, {0, 1}, 0.0, true, false},
        {crowded, {0, 2}, 0.0, true, false},
        {crowded, {2, 3}, 0.0, false, false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(single_edge(c.s, c.e, c.angle, c.orientation), c.sharp)
            << c.e[0] << "-" << c.e[1] << " at " << c.angle << (c.orientation ? " oriented" : "");
}

TEST(IsSharpEdge, OppositeTwinsAreSharpOnEveryEdge)
{
    const triangle_surface twins{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 1, 2}, {2, 1, 0}}};
    const auto m = is_sharp_edge(twins, 179.0, false);
    for (const edge e : {edge{0, 1}, edge{1, 2}, edge{2, 0}}) {
        EXPECT_TRUE(single_edge(twins, e, 179.0, false));
        EXPECT_EQ(m.coeff(e[0], e[1]), 1.0);
        EXPECT_EQ(m.coeff(e[1], e[0]), 1.0);
    }
}

TEST(IsSharpEdge, WholeSurfaceEdgeCases)
{
    const auto none = is_sharp_edge(triangle_surface{}, 30.0, true);
    EXPECT_EQ(none.rows(), 0);
    const triangle_surface points{{{0, 0, 0}, {1, 1, 1}}, {}};
    const auto empty = is_sharp_edge(points, 30.0, true);
    EXPECT_EQ(empty.rows(), 2);
    EXPECT_EQ(empty.nonZeros(), 0);

    // A repeated corner stores its diagonal slot: the index of the first
    // triangle that runs a -> a.
    const triangle_surface repeated{{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {{0, 1, 2}, {3, 3, 1}, {1, 3, 3}}};
    const auto m = is_sharp_edge(repeated, 30.0, true);
    EXPECT_EQ(m.coeff(3, 3), 1.0);
    EXPECT_EQ(m.coeff(0, 0), 0.0);
    EXPECT_EQ(m.nonZeros(), 6 + 2 + 1);
}

TEST(VertexOnSharpEdge, CubeCorner)
{
    const auto box = Zelkov::Meshgen::box();
    const auto map = get_vertex_to_triangles_map(box);
    EXPECT_TRUE(vertex_on_sharp_edge(0, box, map, 45.0, true));
    EXPECT_FALSE(vertex_on_sharp_edge(0, box, map, 135.0, true));
    const triangle_surface lone{{{0, 0, 0}}, {}};
    EXPECT_FALSE(vertex_on_sharp_edge(0, lone, get_vertex_to_triangles_map(lone), 0.0, true));
}

/// A bumpy closed sphere with some triangles turned over, some duplicated and
/// a fin: every kind of edge the whole-surface rule distinguishes.
triangle_surface awkward_surface(std::uint64_t seed)
{
    auto s = Zelkov::Meshgen::jittered(Zelkov::Meshgen::icosphere(2), 0.08, seed);
    std::mt19937_64 random(seed);
    for (auto& t : s.triangles)
        if (random() % 9 == 0) std::swap(t[0], t[1]);
    for (int k = 0; k < 20; ++k) s.triangles.push_back(s.triangles[random() % s.triangles.size()]);
    const tri fin = s.triangles[3];
    s.vertices.push_back({2, 2, 2});
    s.triangles.push_back({fin[0], fin[1], s.vertices.size() - 1});
    return s;
}

TEST(IsSharpEdge, WholeSurfaceAgreesWithSingleEdgeOnEveryEdge)
{
    for (std::uint64_t seed : {1u, 2u}) {
        const auto s = awkward_surface(seed);
        const auto map = get_vertex_to_triangles_map(s);
        std::set<edge> edges;
        for (const auto& t : s.triangles)
            for (std::size_t c = 0; c < 3; ++c)
                if (t[c] != t[(c + 1) % 3])
                    edges.insert({std::min(t[c], t[(c + 1) % 3]), std::max(t[c], t[(c + 1) % 3])});
        for (double angle : {5.0, 20.0, 60.0})
            for (bool orientation : {true, false}) {
                const auto m = is_sharp_edge(s, angle, orientation);
                EXPECT_EQ(static_cast<std::size_t>(m.nonZeros()), 2 * edges.size());
                for (const edge& e : edges) {
                    const bool expected = is_sharp_edge(e, s, map, angle, orientation);
                    EXPECT_EQ(m.coeff(e[0], e[1]), expected ? 1.0 : 0.0) << e[0] << "-" << e[1];
                    EXPECT_EQ(m.coeff(e[1], e[0]), expected ? 1.0 : 0.0);
                }
            }
    }
}

}  // namespace
