// The C++ side of python/bench/binding_overhead.py: the median time of the
// direct calls that the Python package wraps, on a mesh file.
//
//     bench_python_overhead MESH REPEATS [CALLS]
//
// CALLS, a list such as "map,inspect", limits the calls timed (map, inspect, simplify).

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <geometry/connectivity.h>
#include <meshio/meshio.h>
#include <processing/simplify.h>
#include <processing/surface_info.h>

namespace {

/// The median of `repeats` timings of `f`, each after an untimed `setup`.
template <class F, class S = void (*)()>
double median_ms(
    int repeats, F&& f, S setup = [] {})
{
    std::vector<double> ms;
    for (int i = 0; i < repeats; ++i) {
        setup();
        const auto start = std::chrono::steady_clock::now();
        f();
        ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: bench_python_overhead MESH REPEATS [CALLS]\n");
        return 2;
    }
    const auto surface = Zelkov::Meshio::read_mesh_file(argv[1]);
    const int repeats = std::atoi(argv[2]);
    const std::string calls = argc == 4 ? argv[3] : "map,inspect,simplify";
    const auto wanted = [&](const char* name) { return calls.find(name) != std::string::npos; };
    const double map =
        !wanted("map") ? 0 : median_ms(repeats, [&] { (void)Zelkov::Geometry::get_vertex_to_triangles_map(surface); });
    const double inspect =
        !wanted("inspect") ? 0 : median_ms(repeats, [&] { (void)Zelkov::Processing::inspect(surface); });
    // simplify works in place: a fresh copy each time, made outside the timing.
    Zelkov::Geometry::triangle_surface copy;
    const double simplify =
        !wanted("simplify") ? 0
                            : median_ms(
                                  repeats, [&] { (void)Zelkov::Processing::simplify(copy); }, [&] { copy = surface; });
    std::printf("{\"get_vertex_to_triangles_map\": %.3f, \"inspect\": %.3f, \"simplify\": %.3f}\n", map, inspect,
                simplify);
    return 0;
}
