#include <geometry/cleanup.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/spin_mutex.h>

#include <math/vecmath.h>

#include "cleanup/marked_growth.h"

namespace Zelkov::Geometry {

namespace {

using tbb_range = oneapi::tbb::blocked_range<std::size_t>;

/// One flag per vertex: set for the corners of every triangle whose mark is
/// (when `marked`) or is not (otherwise) set.
std::vector<unsigned char> flag_corners(const triangle_surface& surface, const std::vector<unsigned char>& marks,
                                        bool marked)
{
    std::vector<unsigned char> vertex_flags(surface.vertices.size());
    for (std::size_t t = 0; t < marks.size(); ++t)
        if ((marks[t] != 0) == marked)
            for (const std::size_t c : surface.triangles[t]) vertex_flags[c] = 1;
    return vertex_flags;
}

bool touches_flag(const std::array<std::size_t, 3>& t, const std::vector<unsigned char>& vertex_flags) noexcept
{
    return vertex_flags[t[0]] == 1 || vertex_flags[t[1]] == 1 || vertex_flags[t[2]] == 1;
}

/// Dot product summed y, x, z.
double dot_yxz(const point<double, 3>& a, const point<double, 3>& b) noexcept
{
    return (a.y * b.y + a.x * b.x) + a.z * b.z;
}

}  // namespace

namespace detail {

std::vector<point<double, 3>> unit_normals(const triangle_surface& surface)
{
    const auto& v = surface.vertices;
    const auto& triangles = surface.triangles;
    std::vector<point<double, 3>> normals(triangles.size());
    oneapi::tbb::parallel_for(
        tbb_range(0, triangles.size(), 1),
        [&](const tbb_range& r) {
            for (std::size_t t = r.begin(); t != r.end(); ++t) {
                const auto& c = triangles[t];
                normals[t] = Zelkov::Math::get_normal(v[c[0]], v[c[1]], v[c[2]], true);
            }
        },
        oneapi::tbb::auto_partitioner());
    return normals;
}

void collect_edges(const triangle_surface& surface, edge_triangle_map& edge_triangles)
{
    const auto& triangles = surface.triangles;
    oneapi::tbb::parallel_for(
        tbb_range(0, triangles.size(), 1),
        [&](const tbb_range& r) {
            for (std::size_t t = r.begin(); t != r.end(); ++t) {
                for (std::size_t c = 0; c < 3; ++c) {
                    const std::size_t a = triangles[t][c];
                    const std::size_t b = triangles[t][(c + 1) % 3];
                    edge_triangle_map::accessor entry;
                    edge_triangles.insert(entry, edge_key{std::min(a, b), std::max(a, b)});
                    entry->second.push_back(t);
                    entry.release();
                }
            }
        },
        oneapi::tbb::auto_partitioner());
}

std::vector<unsigned char> smooth_marked_neighbour_counts(const edge_triangle_map& edge_triangles,
                                                          const std::vector<point<double, 3>>& normals,
                                                          const std::vector<unsigned char>& marks, double limit)
{
    std::vector<unsigned char> neighbour_counts(marks.size());
    // One triangle can be reached from several edges at once; the counts are
    // plain bytes, and each increment is a single byte, so one spin lock for
    // the whole table serves.
    oneapi::tbb::spin_mutex count_mutex;
    oneapi::tbb::parallel_for(
        edge_triangles.range(1),
        [&](const edge_triangle_map::const_range_type& r) {
            for (const auto& entry : r) {
                const auto& list = entry.second;
                if (list.size() < 2) continue;
                const std::size_t s = list.at(0);
                const std::size_t t = list.at(1);
                if (!(dot_yxz(normals[s], normals[t]) >= limit)) continue;
                if (marks[s] != 0) {
                    oneapi::tbb::spin_mutex::scoped_lock lock(count_mutex);
                    ++neighbour_counts[t];
                }
                if (marks[t] != 0) {
                    oneapi::tbb::spin_mutex::scoped_lock lock(count_mutex);
                    ++neighbour_counts[s];
                }
            }
        },
        oneapi::tbb::auto_partitioner());
    return neighbour_counts;
}

}  // namespace detail

bool expand_marked(const triangle_surface& surface, std::vector<unsigned char>& marks)
{
    const auto vertex_flags = flag_corners(surface, marks, true);
    bool changed = false;
    for (std::size_t t = 0; t < surface.triangles.size(); ++t) {
        if (marks[t] == 0 && touches_flag(surface.triangles[t], vertex_flags)) {
            marks[t] = 1;
            changed = true;
        }
    }
    return changed;
}

bool shrink_marked(const triangle_surface& surface, std::vector<unsigned char>& marks)
{
    const auto vertex_flags = flag_corners(surface, marks, false);
    bool changed = false;
    for (std::size_t t = 0; t < surface.triangles.size(); ++t) {
        if (marks[t] != 0 && touches_flag(surface.triangles[t], vertex_flags)) {
            marks[t] = 0;
            changed = true;
        }
    }
    return changed;
}

bool expand_marked(const triangle_surface& surface, std::vector<unsigned char>& marks,
                   std::size_t min_marked_neighbours, double max_angle)
{
    const auto normals = detail::unit_normals(surface);
    detail::edge_triangle_map edge_triangles;
    // A closed surface has about 3/2 edges per triangle; buckets made up front
    // spare the table its rehashing while the threads insert.
    edge_triangles.rehash(surface.triangles.size() * 3 / 2);
    detail::collect_edges(surface, edge_triangles);
    const auto neighbour_counts =
        detail::smooth_marked_neighbour_counts(edge_triangles, normals, marks, std::cos(max_angle));

    // The only step that writes `marks`; it allocates nothing, so a failure in
    // the steps before leaves the selection as it was. Every writer of the flag
    // stores the same value, so relaxed stores suffice.
    std::atomic<bool> changed{false};
    oneapi::tbb::parallel_for(
        tbb_range(0, surface.triangles.size(), 1),
        [&](const tbb_range& r) {
            for (std::size_t t = r.begin(); t != r.end(); ++t) {
                if (marks[t] == 0 && std::size_t{neighbour_counts[t]} >= min_marked_neighbours) {
                    marks[t] = 1;
                    changed.store(true, std::memory_order_relaxed);
                }
            }
        },
        oneapi::tbb::auto_partitioner());
    return changed.load(std::memory_order_relaxed);
}

}  // namespace Zelkov::Geometry
