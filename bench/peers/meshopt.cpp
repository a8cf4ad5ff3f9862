// meshoptimizer: vertex de-duplication of a soup by exact byte equality.
// It merges vertices only (no triangle de-duplication, no sorting), then the
// index and vertex buffers are remapped so that the output matches ours in kind.
// And its quadric simplifier, which collapses onto existing vertices (it never
// moves a vertex) and works on float positions.

#include <cfloat>

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
    const std::size_t unique_count = meshopt_generateVertexRemap(
        remap.data(), indices.data(), indices.size(), s.vertices.data(), s.vertices.size(), sizeof(s.vertices[0]));
    std::vector<Zelkov::Math::point<double, 3>> vertices(unique_count);
    meshopt_remapVertexBuffer(vertices.data(), s.vertices.data(), s.vertices.size(), sizeof(s.vertices[0]),
                              remap.data());
    meshopt_remapIndexBuffer(indices.data(), indices.data(), indices.size(), remap.data());
    sw.stop();
    return unique_count;
}

std::size_t meshopt_simplification(const bench_input& in, stopwatch& sw)
{
    const auto& s = in.surface;
    std::vector<float> positions;
    positions.reserve(3 * s.vertices.size());
    for (const auto& p : s.vertices) {
        positions.push_back(static_cast<float>(p.x));
        positions.push_back(static_cast<float>(p.y));
        positions.push_back(static_cast<float>(p.z));
    }
    std::vector<unsigned int> indices;
    indices.reserve(3 * s.triangles.size());
    for (const auto& t : s.triangles)
        for (const std::size_t v : t) indices.push_back(static_cast<unsigned int>(v));
    std::vector<unsigned int> result(indices.size());  // the worst case is no reduction at all
    sw.start();
    // No error bound: the triangle count alone decides where it stops.
    const std::size_t count =
        meshopt_simplify(result.data(), indices.data(), indices.size(), positions.data(), s.vertices.size(),
                         3 * sizeof(float), 3 * simplify_target(in), FLT_MAX, 0, nullptr);
    sw.stop();
    if (in.simplified != nullptr) {
        in.simplified->vertices = s.vertices;  // unmoved: the output indexes the input's vertices
        in.simplified->triangles.resize(count / 3);
        for (std::size_t i = 0; i < count / 3; ++i)
            in.simplified->triangles[i] = {result[3 * i], result[3 * i + 1], result[3 * i + 2]};
    }
    return count / 3;
}

}  // namespace Zelkov::Peers
