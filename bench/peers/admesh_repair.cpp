// admesh: libadmesh's stl_repair, the code behind the admesh command, on our
// triangles as an in-memory STL.

#include <chrono>
#include <algorithm>
#include <cmath>

extern "C" {
#include <admesh/stl.h>
}

#include "repair_peers.h"

namespace Zelkov::Peers {

peer_run admesh_repair(const triangle_surface& in, float tolerance, triangle_surface* out)
{
    stl_file stl;
    stl_initialize(&stl);
    stl.stats.type = inmemory;
    stl.stats.number_of_facets = static_cast<int>(in.triangles.size());
    stl.stats.original_num_facets = stl.stats.number_of_facets;
    stl_allocate(&stl);
    for (std::size_t t = 0; t < in.triangles.size(); ++t) {
        stl_facet facet{};
        for (int k = 0; k < 3; ++k) {
            const auto& p = in.vertices[in.triangles[t][static_cast<std::size_t>(k)]];
            facet.vertex[k] = {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
        }
        stl_calculate_normal(&facet.normal.x, &facet);
        stl_normalize_vector(&facet.normal.x);
        stl.facet_start[t] = facet;
    }
    stl_get_size(&stl);

    peer_run run;
    const auto start = std::chrono::steady_clock::now();
    // --exact --tolerance=T --nearby --remove-unconnected --fill-holes
    // --normal-directions --normal-values, with the command's defaults for the
    // rest (2 iterations, the increment left to admesh).
    stl_repair(&stl, /*fixall*/ 0, /*exact*/ 1, /*tolerance_flag*/ 1, tolerance, /*increment_flag*/ 0, 0.0f,
               /*nearby*/ 1, /*iterations*/ 2, /*remove_unconnected*/ 1, /*fill_holes*/ 1, /*normal_directions*/ 1,
               /*normal_values*/ 1, /*reverse_all*/ 0, /*verbose*/ 0);
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    run.succeeded = stl_get_error(&stl) == 0;
    run.holes_filled = static_cast<std::size_t>(std::max(stl.stats.facets_added, 0));

    if (out != nullptr && run.succeeded) {
        stl_generate_shared_vertices(&stl);
        out->vertices.clear();
        out->triangles.clear();
        for (int v = 0; v < stl.stats.shared_vertices; ++v)
            out->vertices.push_back({stl.v_shared[v].x, stl.v_shared[v].y, stl.v_shared[v].z});
        for (int f = 0; f < stl.stats.number_of_facets; ++f) {
            const auto& c = stl.v_indices[f].vertex;
            if (c[0] < 0 || c[1] < 0 || c[2] < 0) continue;
            out->triangles.push_back(
                {static_cast<std::size_t>(c[0]), static_cast<std::size_t>(c[1]), static_cast<std::size_t>(c[2])});
        }
    }
    stl_close(&stl);
    return run;
}

}  // namespace Zelkov::Peers
