// A first look at the library: builds a closed torus of about a million
// triangles from raw arrays, validates it and times the vertex-to-triangles map.

#include <chrono>
#include <iostream>

#include <geometry/trimesh.h>

#include "meshgen.h"

int main()
{
    using namespace Zelkov::Geometry;
    const auto generated = Zelkov::Meshgen::torus_with_about(1'000'000);
    const auto made = make_triangle_surface(
        const_span_vertices{generated.vertices.data(), generated.vertices.size()},
        const_span_triangles{generated.triangles.data(), generated.triangles.size()});
    std::cout << "surface: " << made.surface.vertices.size() << " vertices, "
              << made.surface.triangles.size() << " triangles, accepted: " << std::boolalpha
              << made.success << "\n";

    const auto start = std::chrono::steady_clock::now();
    const auto map = get_vertex_to_triangles_map(made.surface);
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    std::cout << "vertex-to-triangles map: " << map.size() << " entries in " << took.count() << " ms\n";
    std::cout << "map in step: " << check_vertex_to_triangles_map(made.surface, map) << "\n";
    return made.success ? 0 : 1;
}
