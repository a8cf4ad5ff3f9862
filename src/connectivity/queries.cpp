#include <geometry/connectivity.h>

#include <algorithm>

namespace Zelkov::Geometry {

namespace {

bool has_directed_edge(const std::array<std::size_t, 3>& t, std::size_t from, std::size_t to) noexcept
{
    return (t[0] == from && t[1] == to) || (t[1] == from && t[2] == to) || (t[2] == from && t[0] == to);
}

void reserve_at_least(std::vector<std::size_t>& out, std::size_t capacity)
{
    if (out.capacity() < capacity) out.reserve(capacity);
}

}  // namespace

bool has_edge(const std::array<std::size_t, 2>& edge, const std::array<std::size_t, 3>& triangle,
              bool consider_orientation) noexcept
{
    return has_directed_edge(triangle, edge[0], edge[1]) ||
           (!consider_orientation && has_directed_edge(triangle, edge[1], edge[0]));
}

void triangle_indices_from_edge(std::vector<std::size_t>& out, const std::array<std::size_t, 2>& edge,
                                const triangle_surface& surface, const vertex_to_triangles_map& map,
                                bool consider_orientation)
{
    const auto& first = map[edge[0]];
    const auto& second = map[edge[1]];
    reserve_at_least(out, first.size() + second.size());

    if (edge[0] != edge[1]) {
        std::set_intersection(first.begin(), first.end(), second.begin(), second.end(),
                              std::back_inserter(out));
    } else {
        for (const std::size_t t : first)
            if (has_directed_edge(surface.triangles[t], edge[0], edge[0])) out.push_back(t);
    }

    if (consider_orientation) {
        std::erase_if(out, [&](std::size_t t) {
            return !has_directed_edge(surface.triangles[t], edge[0], edge[1]);
        });
    }
}

std::vector<std::size_t> triangle_indices_from_edge(const std::array<std::size_t, 2>& edge,
                                                    const triangle_surface& surface,
                                                    const vertex_to_triangles_map& map,
                                                    bool consider_orientation)
{
    std::vector<std::size_t> out;
    triangle_indices_from_edge(out, edge, surface, map, consider_orientation);
    return out;
}

}  // namespace Zelkov::Geometry
