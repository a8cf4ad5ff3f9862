// make_manifold and orient: cutting a surface along its non-manifold edges
// and pinch vertices, and turning its pieces to one orientation.

#include <processing/repair.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include <Eigen/Core>
#include <Eigen/Geometry>

#include <geometry/trimesh.h>

#include "repair_steps.h"
#include "topology_figures.h"

namespace Zelkov::Processing {

using namespace Zelkov::Geometry;
using detail::keyed_side;

namespace {

constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

/// The end of the run of sides on the same edge as `sides[i]`.
std::size_t edge_end(const std::vector<keyed_side>& sides, std::size_t i)
{
    std::size_t j = i + 1;
    while (j < sides.size() && sides[j].low == sides[i].low && sides[j].high == sides[i].high) ++j;
    return j;
}

/// The angle of each side's triangle around its edge, from the first one's
/// half-plane, turning the right-hand way about low -> high.
std::vector<double> angles_around(const triangle_surface& s, const std::vector<keyed_side>& sides, std::size_t begin,
                                  std::size_t end)
{
    const auto p = [&](std::size_t v) { return Eigen::Vector3d(s.vertices[v].x, s.vertices[v].y, s.vertices[v].z); };
    const Eigen::Vector3d low = p(sides[begin].low), axis = (p(sides[begin].high) - low).normalized();
    std::vector<double> angle;
    Eigen::Vector3d e1 = Eigen::Vector3d::Zero(), e2 = Eigen::Vector3d::Zero();
    for (std::size_t k = begin; k < end; ++k) {
        const auto& t = s.triangles[sides[k].triangle];
        Eigen::Vector3d w = p(t[(sides[k].side + 2) % 3]) - low;
        w -= w.dot(axis) * axis;
        if (k == begin) {
            e1 = w.normalized();
            e2 = axis.cross(e1);
        }
        const double a = std::atan2(w.dot(e2), w.dot(e1));
        // A NaN or infinite corner has no angle; it sorts first, by index.
        angle.push_back(!std::isfinite(a) ? -1.0 : a < 0 ? a + 2 * std::numbers::pi : a);
    }
    return angle;
}

/// Pairs the sides of one edge; `partner[k]` gets the paired side. Two sides
/// alone on their edge are paired whichever way they run. With more, the
/// triangles are taken in order around the edge, and each that runs
/// high -> low is paired with the next one around if that one runs low ->
/// high: the two then face each other across the wedge between them, which
/// lies inside both, so that solids that touch along the edge come apart
/// whole. Sides left over stay alone.
void pair_sides(const triangle_surface& s, const std::vector<keyed_side>& sides, std::size_t begin, std::size_t end,
                std::vector<std::size_t>& partner)
{
    if (end - begin == 2) {
        partner[begin] = begin + 1;
        partner[begin + 1] = begin;
        return;
    }
    const std::vector<double> angle = angles_around(s, sides, begin, end);
    std::vector<std::size_t> order(end - begin);
    std::iota(order.begin(), order.end(), begin);
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return angle[a - begin] < angle[b - begin] || (angle[a - begin] == angle[b - begin] && a < b);
    });
    for (std::size_t k = 0; k < order.size(); ++k) {
        const std::size_t a = order[k], b = order[(k + 1) % order.size()];
        if (!sides[a].forward && sides[b].forward && partner[a] == none && partner[b] == none) {
            partner[a] = b;
            partner[b] = a;
        }
    }
}

/// The corner of triangle `t` at vertex `v`.
std::size_t corner_at(const triangle_surface& s, std::size_t t, std::size_t v)
{
    const auto& tri = s.triangles[t];
    return 3 * t + (tri[0] == v ? 0 : tri[1] == v ? 1 : 2);
}

/// Gives each fan of corners its own vertex: corners of paired sides are one
/// fan at each shared vertex. The first fan met in triangle order keeps the
/// vertex; later ones get copies appended to `s` and `source`.
std::size_t split_fans(triangle_surface& s, const std::vector<keyed_side>& sides,
                       const std::vector<std::size_t>& partner, std::vector<std::size_t>& source,
                       std::vector<unsigned char>& split)
{
    detail::index_sets fans(3 * s.triangles.size());
    for (std::size_t a = 0; a < sides.size(); ++a) {
        const std::size_t b = partner[a];
        if (b == none || b < a) continue;
        for (const std::size_t v : {sides[a].low, sides[a].high})
            fans.join(corner_at(s, sides[a].triangle, v), corner_at(s, sides[b].triangle, v));
    }
    std::vector<std::size_t> fan_vertex(3 * s.triangles.size(), none);
    std::vector<unsigned char> taken(s.vertices.size(), 0);
    std::size_t added = 0;
    for (std::size_t t = 0; t < s.triangles.size(); ++t) {
        auto& tri = s.triangles[t];
        if (detail::repeats_vertex(tri)) continue;
        for (std::size_t i = 0; i < 3; ++i) {
            const std::size_t root = fans.find(3 * t + i);
            if (fan_vertex[root] == none) {
                const std::size_t v = tri[i];
                if (!taken[v]) {
                    taken[v] = 1;
                    fan_vertex[root] = v;
                } else {
                    fan_vertex[root] = s.vertices.size();
                    s.vertices.push_back(s.vertices[v]);
                    source.push_back(source[v]);
                    split[source[v]] = 1;
                    ++added;
                }
            }
            tri[i] = fan_vertex[root];
        }
    }
    return added;
}

/// Partners of the sides of edges with exactly two triangles.
std::vector<std::size_t> manifold_partners(const std::vector<keyed_side>& sides)
{
    std::vector<std::size_t> partner(sides.size(), none);
    for (std::size_t i = 0; i < sides.size();) {
        const std::size_t j = edge_end(sides, i);
        if (j - i == 2) {
            partner[i] = i + 1;
            partner[i + 1] = i;
        }
        i = j;
    }
    return partner;
}

/// Gives every triangle after the first two on an edge its own copies of
/// the edge's ends. \returns whether any triangle was detached.
bool detach_extra_triangles(triangle_surface& s, std::vector<std::size_t>& source, std::vector<unsigned char>& split,
                            std::size_t& added)
{
    const std::vector<keyed_side> sides = detail::sorted_sides(s);
    bool any = false;
    for (std::size_t i = 0; i < sides.size();) {
        const std::size_t j = edge_end(sides, i);
        // The first side stays with one that runs the other way; every
        // other side comes off.
        std::size_t kept = i;
        for (std::size_t k = i + 1; k < j && kept == i; ++k)
            if (j - i > 2 && sides[k].forward != sides[i].forward) kept = k;
        for (std::size_t k = i + 1; k < j && j - i > 2; ++k) {
            if (k == kept) continue;
            auto& tri = s.triangles[sides[k].triangle];
            for (const std::size_t v : {sides[k].low, sides[k].high}) {
                const std::size_t corner = corner_at(s, sides[k].triangle, v) % 3;
                if (tri[corner] != v) continue;  // detached already on another crowded edge
                tri[corner] = s.vertices.size();
                s.vertices.push_back(s.vertices[v]);
                source.push_back(source[v]);
                split[source[v]] = 1;
                ++added;
            }
            any = true;
        }
        i = j;
    }
    return any;
}

// ---------------------------------------------------------------- orientation

/// A triangle's neighbour across one of its sides, for edges of two triangles.
struct neighbour {
    std::size_t triangle = none;
    bool same_way = false;  // both run the edge the same way
};

std::vector<neighbour> side_neighbours(const triangle_surface& s, const std::vector<keyed_side>& sides,
                                       std::vector<unsigned char>& open)
{
    std::vector<neighbour> across(3 * s.triangles.size());
    open.assign(s.triangles.size(), 0);
    for (std::size_t i = 0; i < sides.size();) {
        const std::size_t j = edge_end(sides, i);
        if (j - i == 2) {
            const keyed_side &a = sides[i], &b = sides[i + 1];
            const bool same = a.forward == b.forward;
            across[3 * a.triangle + a.side] = {b.triangle, same};
            across[3 * b.triangle + b.side] = {a.triangle, same};
        } else {
            for (std::size_t k = i; k < j; ++k) open[sides[k].triangle] = 1;
        }
        i = j;
    }
    return across;
}

/// One piece found from `seed`: its triangles in the order reached and, for
/// each, whether it runs against the seed.
struct piece {
    std::vector<std::size_t> triangles;
    bool orientable = true;
    bool closed = true;
};

piece grow_piece(std::size_t seed, const std::vector<neighbour>& across, const std::vector<unsigned char>& open,
                 std::vector<signed char>& against)
{
    piece p;
    against[seed] = 0;
    p.triangles.push_back(seed);
    for (std::size_t k = 0; k < p.triangles.size(); ++k) {
        const std::size_t t = p.triangles[k];
        p.closed = p.closed && !open[t];
        for (std::size_t i = 0; i < 3; ++i) {
            const neighbour n = across[3 * t + i];
            if (n.triangle == none) continue;
            const signed char wanted = static_cast<signed char>(against[t] ^ (n.same_way ? 1 : 0));
            if (against[n.triangle] < 0) {
                against[n.triangle] = wanted;
                p.triangles.push_back(n.triangle);
            } else if (against[n.triangle] != wanted) {
                p.orientable = false;
            }
        }
    }
    return p;
}

double piece_signed_volume(const triangle_surface& s, const std::vector<std::size_t>& triangles)
{
    const point<double, 3> origin{0.0, 0.0, 0.0};
    double v = 0.0;
    for (const std::size_t t : triangles) v += signed_volume_of_triangle(t, s, origin);
    return v;
}

}  // namespace

namespace detail {

manifold_result make_manifold(triangle_surface& surface, const std::vector<keyed_side>& sides)
{
    manifold_result r;
    const std::size_t n = surface.vertices.size();
    r.vertex_source.resize(n);
    for (std::size_t v = 0; v < n; ++v) r.vertex_source[v] = v;
    std::vector<unsigned char> split(n, 0);

    std::vector<std::size_t> partner(sides.size(), none);
    for (std::size_t i = 0; i < sides.size();) {
        const std::size_t j = edge_end(sides, i);
        r.non_manifold_edges += j - i > 2;
        pair_sides(surface, sides, i, j, partner);
        i = j;
    }
    r.vertices_added = split_fans(surface, sides, partner, r.vertex_source, split);
    // Pairs that stay joined around both ends of their edge keep it crowded.
    if (detach_extra_triangles(surface, r.vertex_source, split, r.vertices_added)) {
        const std::vector<keyed_side> now = detail::sorted_sides(surface);
        r.vertices_added += split_fans(surface, now, manifold_partners(now), r.vertex_source, split);
    }
    for (const unsigned char s : split) r.split_vertices += s;
    return r;
}

orient_result orient(triangle_surface& surface, bool outward, const std::vector<keyed_side>& sides)
{
    orient_result r;
    std::vector<unsigned char> open;
    const std::vector<neighbour> across = side_neighbours(surface, sides, open);
    std::vector<signed char> against(surface.triangles.size(), -1);
    std::vector<std::size_t> flips;
    for (std::size_t seed = 0; seed < surface.triangles.size(); ++seed) {
        if (against[seed] >= 0 || detail::repeats_vertex(surface.triangles[seed])) continue;
        const piece p = grow_piece(seed, across, open, against);
        ++r.components;
        if (!p.orientable) {
            ++r.non_orientable_components;
            continue;
        }
        std::size_t turned = 0;
        for (const std::size_t t : p.triangles) turned += against[t];
        // Turn the smaller side; on a tie the seed's side stays.
        const signed char side = 2 * turned > p.triangles.size() ? 0 : 1;
        flips.clear();
        for (const std::size_t t : p.triangles)
            if (against[t] == side) flips.push_back(t);
        invert(surface, flips);
        if (outward && p.closed && piece_signed_volume(surface, p.triangles) < 0.0) {
            invert(surface, p.triangles);
            ++r.turned_outward;
            r.flipped_triangles += p.triangles.size() - flips.size();
        } else {
            r.flipped_triangles += flips.size();
        }
    }
    return r;
}

}  // namespace detail

manifold_result make_manifold(triangle_surface& surface)
{
    return detail::make_manifold(surface, detail::sorted_sides(surface));
}

orient_result orient(triangle_surface& surface, bool outward)
{
    return detail::orient(surface, outward, detail::sorted_sides(surface));
}

}  // namespace Zelkov::Processing
