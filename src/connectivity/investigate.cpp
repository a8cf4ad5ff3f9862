#include <geometry/connectivity.h>

#include "connectivity/neighbourhood.h"

namespace Zelkov::Geometry {

namespace {

/// Triangle sides by the number of triangles on their edge. Each side counts,
/// so an inner edge is counted once from each of its triangles.
struct side_counts {
    std::size_t boundary = 0;
    std::size_t manifold = 0;
    std::size_t oriented = 0;
    std::size_t non_manifold = 0;
};

side_counts count_sides(const triangle_surface& surface, const vertex_to_triangles_map& map)
{
    side_counts counts;
    std::vector<std::size_t> list;
    for (const auto& t : surface.triangles) {
        for (const auto& side : detail::sides_of(t)) {
            const std::size_t k = detail::triangles_on_edge(list, side, surface, map, false).size();
            // The side's own triangle always runs side[0]->side[1]; a second
            // one doing the same would make o = 2.
            const std::size_t o = detail::triangles_on_edge(list, side, surface, map, true).size();
            if (k == 1) {
                ++counts.boundary;
            } else if (k == 2) {
                ++counts.manifold;
                if (o == 1) ++counts.oriented;
            } else {
                ++counts.non_manifold;
            }
        }
    }
    return counts;
}

}  // namespace

void investigate(const triangle_surface& surface, const vertex_to_triangles_map& map, std::ostream& stream)
{
    const char* const separator = "************************************************";
    stream << separator << std::endl;
    stream << "investigation" << std::endl;
    const side_counts counts = count_sides(surface, map);
    stream << separator << std::endl;
    stream << "Topologically degenerate triangles: ";
    stream << count_topologically_degenerate_triangles(surface) << std::endl;
    stream << "Boundary edges: " << counts.boundary << std::endl;
    stream << "Manifold edges (ignoring orientation): " << counts.manifold << std::endl;
    stream << "   of which are true (oriented) manifold edges: " << counts.oriented << std::endl;
    stream << "Non-manifold edges: " << counts.non_manifold << std::endl;
    stream << separator << std::endl;
}

}  // namespace Zelkov::Geometry
