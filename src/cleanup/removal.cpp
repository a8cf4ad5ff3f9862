#include <geometry/cleanup.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <unordered_map>
#include <utility>

#include "cleanup/removal.h"

namespace Zelkov::Geometry {

namespace {

constexpr std::size_t removed = std::numeric_limits<std::size_t>::max();

std::vector<bool> used_vertices(const triangle_surface& surface)
{
    std::vector<bool> used(surface.vertices.size());
    for (const auto& t : surface.triangles)
        for (const std::size_t c : t) used[c] = true;
    return used;
}

template <class T>
void reserve_for(std::vector<T>& v, std::size_t wanted)
{
    if (wanted > v.capacity()) v.reserve(wanted);
}

}  // namespace

namespace detail {

bool remove_free_points(triangle_surface& surface, std::vector<std::size_t>& old_to_new, bool want_map)
{
    const std::size_t n = surface.vertices.size();
    const auto used = used_vertices(surface);
    if (std::find(used.begin(), used.end(), false) == used.end()) {
        if (want_map) {
            old_to_new.resize(n);
            std::iota(old_to_new.begin(), old_to_new.end(), 0);  // an int counter, widened
        }
        return false;
    }

    std::vector<point<double, 3>> kept;
    kept.reserve(n);
    std::vector<std::size_t> local_map(n, removed);
    for (std::size_t v = 0; v < n; ++v) {
        if (!used[v]) continue;
        local_map[v] = kept.size();
        kept.push_back(surface.vertices[v]);
    }
    // The surface takes the new array, with room for the old count.
    surface.vertices = std::move(kept);
    for (auto& t : surface.triangles)
        for (auto& c : t) c = local_map[c];
    if (want_map) old_to_new = std::move(local_map);
    return true;
}

}  // namespace detail

void remove_triangles(triangle_surface& surface, std::vector<std::size_t> indices)
{
    auto& triangles = surface.triangles;
    if (triangles.empty() || indices.empty()) return;

    std::size_t last = triangles.size() - 1;
    while (indices.back() > last) indices.pop_back();
    for (std::size_t k = 0; k < indices.size(); ++k) {
        const std::size_t i = indices[k];
        // A triangle at the end that is to go anyway is not worth moving.
        while (i < last && indices.back() == last) {
            indices.pop_back();
            --last;
        }
        std::swap(triangles[i], triangles[last]);
        --last;
    }
    triangles.resize(last + 1);  // last wraps to SIZE_MAX when nothing is left
}

bool remove_free_points(triangle_surface& surface)
{
    std::vector<std::size_t> unused;
    return detail::remove_free_points(surface, unused, false);
}

bool remove_free_points(triangle_surface& surface, std::vector<std::size_t>& old_to_new)
{
    return detail::remove_free_points(surface, old_to_new, true);
}

void copy_triangles(triangle_surface& target, const triangle_surface& source)
{
    const std::size_t offset = target.vertices.size();
    reserve_for(target.vertices, offset + source.vertices.size());
    target.vertices.insert(target.vertices.end(), source.vertices.begin(), source.vertices.end());

    reserve_for(target.triangles, target.triangles.size() + source.triangles.size());
    for (const auto& t : source.triangles) target.triangles.push_back({t[0] + offset, t[1] + offset, t[2] + offset});
}

void copy_triangles(triangle_surface& target, const triangle_surface& source, const std::vector<std::size_t>& indices)
{
    const std::size_t k = indices.size();
    reserve_for(target.triangles, target.triangles.size() + k);
    // A first estimate of the vertices needed, not a limit.
    reserve_for(target.vertices, target.vertices.size() + 2 * k);

    std::unordered_map<std::size_t, std::size_t> vertex_remap;
    std::size_t next = target.vertices.size();
    for (const std::size_t t : indices) {
        auto triangle = source.triangles[t];
        for (auto& c : triangle) {
            const auto found = vertex_remap.find(c);
            if (found != vertex_remap.end()) {
                c = found->second;
                continue;
            }
            vertex_remap.emplace(c, next);
            target.vertices.push_back(source.vertices[c]);
            c = next++;
        }
        target.triangles.push_back(triangle);
    }
}

}  // namespace Zelkov::Geometry
