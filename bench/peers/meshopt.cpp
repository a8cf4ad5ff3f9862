// meshoptimizer: vertex de-duplication of a soup by exact byte equality.
// It merges vertices only (no triangle de-duplication, no sorting), then the
// index and vertex buffers are remapped so that the output matches ours in kind.

#include <meshoptimizer.h>

#include "peers.h"

namespace Zelkov::Peers {

std::size_t meshopt_vertex_remap(const bench_input& in, stopwatch& sw)
{
    const auto& s = in.surface;
    std::vector<unsigned int> indices;
    indices.reserve(3 * s.triangles.size());
    for (const auto& t : s.triangles)
        for (const std::size_t v : t) indices.push_back(static_cast<unsigned int>(v));
    sw.start();
    std::vector<unsigned int> remap(s.vertices.size());
    const std::size_t unique_count = meshopt_generateVertexRemap(remap.data(), indices.data(), indices.size(),
                                                                 s.vertices.data(), s.vertices.size(),
                                                                 sizeof(s.vertices[0]));
    std::vector<Zelkov::Math::point<double, 3>> vertices(unique_count);
    meshopt_remapVertexBuffer(vertices.data(), s.vertices.data(), s.vertices.size(), sizeof(s.vertices[0]),
                              remap.data());
    meshopt_remapIndexBuffer(indices.data(), indices.data(), indices.size(), remap.data());
    sw.stop();
    return unique_count;
}

}  // namespace Zelkov::Peers
