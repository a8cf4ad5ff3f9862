#include <array>
#include <sstream>

#include <gtest/gtest.h>

#include <geometry/connectivity.h>

#include "connectivity/oracles.h"

namespace {

using namespace Zelkov::Geometry;
using namespace Zelkov::Testing;

/// degenerate, boundary, manifold, oriented, non-manifold.
using figures = std::array<std::size_t, 5>;

std::string report(const triangle_surface& s)
{
    std::ostringstream stream;
    investigate(s, get_vertex_to_triangles_map(s), stream);
    return stream.str();
}

/// The five numbers of a report, read back from the text behind the labels.
figures figures_of(const std::string& text)
{
    std::istringstream lines(text);
    std::string line;
    figures result{};
    for (int i = 0; std::getline(lines, line); ++i)
        if (i >= 3 && i < 8) result[i - 3] = std::stoull(line.substr(line.rfind(": ") + 2));
    return result;
}

figures figures_of(const triangle_surface& s) { return figures_of(report(s)); }

/// Counts all stream buffer synchronisations, which is what a flush does.
struct flush_counter : std::stringbuf {
    int flushes = 0;
    int sync() override
    {
        ++flushes;
        return std::stringbuf::sync();
    }
};

TEST(Investigate, WritesTheNineLinesExactly)
{
    const std::string separator(48, '*');
    EXPECT_EQ(report(Zelkov::Meshgen::tetrahedron()),
              separator + "\ninvestigation\n" + separator +
                  "\nTopologically degenerate triangles: 0\nBoundary edges: 0\n"
                  "Manifold edges (ignoring orientation): 12\n"
                  "   of which are true (oriented) manifold edges: 12\nNon-manifold edges: 0\n" +
                  separator + "\n");

    // One flush per line; the stream's own base applies and stays set.
    flush_counter buffer;
    std::ostream stream(&buffer);
    stream << std::hex;
    const auto grid = Zelkov::Meshgen::grid(3, 3);
    investigate(grid, get_vertex_to_triangles_map(grid), stream);
    EXPECT_EQ(buffer.flushes, 9);
    EXPECT_NE(buffer.str().find("Boundary edges: c\n"), std::string::npos);
    EXPECT_NE(buffer.str().find("Manifold edges (ignoring orientation): 2a\n"), std::string::npos);
    EXPECT_TRUE(stream.flags() & std::ios::hex);
}

TEST(Investigate, CountsSidesNotEdges)
{
    auto tetra = Zelkov::Meshgen::tetrahedron();
    invert(tetra, {0});
    EXPECT_EQ(figures_of(tetra), (figures{0, 0, 12, 6, 0}));
    EXPECT_EQ(figures_of(surface_of({{0, 1, 2}})), (figures{0, 3, 0, 0, 0}));
    EXPECT_EQ(figures_of(surface_of({{0, 1, 2}, {1, 0, 3}, {0, 1, 4}})), (figures{0, 6, 0, 0, 3}));
    EXPECT_EQ(figures_of(surface_of({{0, 0, 1}})), (figures{1, 3, 0, 0, 0}));
    EXPECT_EQ(figures_of(triangle_surface{}), (figures{0, 0, 0, 0, 0}));
}

}  // namespace
