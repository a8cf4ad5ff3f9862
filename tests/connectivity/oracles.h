#pragma once
// Connectivity by definition, straight from the triangle array, and a set of
// awkward surfaces to compare the library against.

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <geometry/connectivity.h>

#include "support/fixtures.h"

namespace Zelkov::Testing {

inline std::size_t occurrences(const tri& t, std::size_t v)
{
    return static_cast<std::size_t>(std::count(t.begin(), t.end(), v));
}

/// Whether some i has t[i] = a and t[i+1 mod 3] = b.
inline bool runs(const tri& t, std::size_t a, std::size_t b)
{
    for (std::size_t i = 0; i < 3; ++i)
        if (t[i] == a && t[(i + 1) % 3] == b) return true;
    return false;
}

/// The triangles on (a, b): naming both, or for a = b naming a at least twice;
/// with `oriented`, only those running a -> b.
inline std::vector<std::size_t> triangles_on(const std::vector<tri>& triangles, std::size_t a, std::size_t b,
                                             bool oriented)
{
    std::vector<std::size_t> found;
    for (std::size_t t = 0; t < triangles.size(); ++t) {
        const auto& c = triangles[t];
        const bool on = a == b ? occurrences(c, a) >= 2 : occurrences(c, a) > 0 && occurrences(c, b) > 0;
        if (on && (!oriented || runs(c, a, b))) found.push_back(t);
    }
    return found;
}

/// Named surfaces that mix every kind of connectivity: boundaries, closed
/// parts, fans, non-manifold edges, misoriented pairs, duplicates and
/// triangles that repeat a vertex, plus random soups over few vertices.
inline std::vector<std::pair<std::string, triangle_surface>> awkward_surfaces()
{
    std::vector<std::pair<std::string, triangle_surface>> surfaces;
    surfaces.emplace_back("empty", triangle_surface{});
    surfaces.emplace_back("grid", Zelkov::Meshgen::grid(4, 3));
    surfaces.emplace_back("tetrahedron", Zelkov::Meshgen::tetrahedron());
    surfaces.emplace_back("open fan", Zelkov::Meshgen::fan(7, false));
    surfaces.emplace_back("shuffled torus", Zelkov::Meshgen::shuffled(Zelkov::Meshgen::torus(6, 5), 11));
    auto turned = Zelkov::Meshgen::tetrahedron();
    invert(turned, std::vector<std::size_t>{2});
    surfaces.emplace_back("tetrahedron with a turned triangle", std::move(turned));
    // Two tetrahedra on one shared vertex (3): closed, pinched at 3.
    surfaces.emplace_back(
        "pinched tetrahedra",
        surface_of({{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}, {3, 5, 4}, {3, 4, 6}, {3, 6, 5}, {4, 5, 6}}));

    // Four triangles on edge (0, 1), one of them turned, a duplicate, a turned
    // duplicate and triangles with repeated corners, and two free points.
    surfaces.emplace_back("mixed", surface_of({{0, 1, 2},
                                               {1, 0, 3},
                                               {0, 1, 4},
                                               {1, 0, 5},
                                               {2, 1, 6},
                                               {0, 1, 2},
                                               {2, 1, 0},
                                               {6, 6, 2},
                                               {3, 7, 3},
                                               {7, 7, 7},
                                               {4, 5, 4}},
                                              2));
    for (std::uint64_t seed : {1, 2, 3}) {
        std::mt19937_64 random(seed);
        std::vector<tri> triangles(40);
        for (auto& t : triangles) t = {random() % 9, random() % 9, random() % 9};
        surfaces.emplace_back("random " + std::to_string(seed), surface_of(std::move(triangles), 1));
    }
    return surfaces;
}

}  // namespace Zelkov::Testing
