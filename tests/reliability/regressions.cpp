// Faults found by fault injection, fuzzing and sanitizers, each with the
// input that showed it.

#include <cmath>
#include <cstring>

#include <gtest/gtest.h>

#include <geometry/measures.h>

#include "support/fixtures.h"

namespace {

using namespace Zelkov::Geometry;

/// Leaves `pattern` in the stack below the caller's frame.
[[gnu::noinline]] void dirty_stack(unsigned char pattern)
{
    volatile unsigned char junk[4096];
    for (auto& b : junk) b = pattern;
}

[[gnu::noinline]] matrix4x4<double> inertia_after(unsigned char pattern, const triangle_surface& s)
{
    dirty_stack(pattern);
    return inertia(s);
}

// The decomposition leaves its output unwritten for a tensor that is not
// finite, so the axes were whatever the stack held: two calls on the same
// surface gave different bits.
TEST(Inertia, NonFiniteTensorGivesTheSameNaNAxesEveryTime)
{
    auto s = Zelkov::Meshgen::torus(12, 8);
    s.vertices.push_back({std::nan(""), 0, 0});
    s.triangles.push_back({s.vertices.size() - 1, 0, 1});
    auto flat = Zelkov::Meshgen::tetrahedron();
    flat.triangles = {{0, 1, 1}, {2, 2, 2}};  // zero-area triangles only
    auto infinite = Zelkov::Meshgen::tetrahedron();
    infinite.vertices[3].z = INFINITY;
    for (const auto& surface : {s, flat, infinite}) {
        const auto first = inertia_after(0x00, surface);
        const auto second = inertia_after(0x5a, surface);
        EXPECT_EQ(std::memcmp(&first, &second, sizeof first), 0);
        for (const int i : {0, 1, 2, 4, 5, 6, 8, 9, 10}) EXPECT_TRUE(std::isnan(first.m[i])) << i;
        EXPECT_EQ(first.m[15], 1.0);
    }
}

}  // namespace
