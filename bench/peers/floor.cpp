// The in-house floor of the vertex-to-triangles build: one serial counting
// sort into compressed rows (offsets + one flat array). Each row comes out
// ascending because the triangles are visited in order; a corner repeated
// within a triangle is counted once, as in the map.

#include "peers.h"

namespace Zelkov::Peers {

std::size_t csr_floor_map(const bench_input& in, stopwatch& sw)
{
    const auto& triangles = in.surface.triangles;
    sw.start();
    std::vector<std::size_t> offsets(in.surface.vertices.size() + 1, 0);
    for (const auto& t : triangles) {
        ++offsets[t[0] + 1];
        if (t[1] != t[0]) ++offsets[t[1] + 1];
        if (t[2] != t[0] && t[2] != t[1]) ++offsets[t[2] + 1];
    }
    for (std::size_t v = 1; v < offsets.size(); ++v) offsets[v] += offsets[v - 1];
    std::vector<std::size_t> cursor(offsets.begin(), offsets.end() - 1);
    std::vector<std::size_t> rows(offsets.back());
    for (std::size_t i = 0; i < triangles.size(); ++i) {
        const auto& t = triangles[i];
        rows[cursor[t[0]]++] = i;
        if (t[1] != t[0]) rows[cursor[t[1]]++] = i;
        if (t[2] != t[0] && t[2] != t[1]) rows[cursor[t[2]]++] = i;
    }
    sw.stop();
    return rows.size();
}

}  // namespace Zelkov::Peers
