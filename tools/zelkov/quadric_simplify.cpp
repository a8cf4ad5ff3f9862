#include "quadric_simplify.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>

#include <Eigen/Dense>
#include <boost/heap/d_ary_heap.hpp>
#include <oneapi/tbb/parallel_sort.h>
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/concurrent_vector.h>
#include <oneapi/tbb/parallel_for.h>

#include <geometry/neighbourhood_cache.h>

#include "surface/stable_length.h"
#include "vecmath/point_ops.h"

namespace Zelkov::Cli {

namespace {

using Zelkov::Geometry::neighbourhood_cache;
using Zelkov::Geometry::triangle_surface;
using point3 = Zelkov::Math::point<double, 3>;

constexpr std::size_t dead = std::numeric_limits<std::size_t>::max();
constexpr std::size_t next_corner[3] = {1, 2, 0};

using Zelkov::Geometry::detail::stable_length;
using Zelkov::Math::detail::cross;
using Zelkov::Math::detail::divide;
using Zelkov::Math::detail::dot;
using Zelkov::Math::detail::sub;

/// The symmetric form E(p) = p'Ap + 2b'p + c, stored as the upper triangle of
/// A, then b, then c.
struct quadric {
    std::array<double, 10> q{};

    static quadric of_plane(const point3& n, double d, double weight)
    {
        quadric r;
        r.q = {n.x * n.x, n.x * n.y, n.x * n.z, n.y * n.y, n.y * n.z, n.z * n.z, n.x * d, n.y * d, n.z * d, d * d};
        for (double& v : r.q) v *= weight;
        return r;
    }

    quadric& operator+=(const quadric& o)
    {
        for (int i = 0; i < 10; ++i) q[i] += o.q[i];
        return *this;
    }

    double error(const point3& p) const
    {
        const double x = p.x, y = p.y, z = p.z;
        return x * (q[0] * x + q[1] * y + q[2] * z) + y * (q[1] * x + q[3] * y + q[4] * z) +
               z * (q[2] * x + q[4] * y + q[5] * z) + 2.0 * (q[6] * x + q[7] * y + q[8] * z) + q[9];
    }

    /// The minimiser of E, when A is well enough conditioned to trust it.
    std::optional<point3> minimiser() const
    {
        Eigen::Matrix3d a;
        a << q[0], q[1], q[2], q[1], q[3], q[4], q[2], q[4], q[5];
        const double scale = (q[0] + q[3] + q[5]) / 3.0;
        const double det = a.determinant();
        if (!(scale > 0) || !(std::fabs(det) > 1e-9 * scale * scale * scale)) return std::nullopt;
        const Eigen::Vector3d x = a.inverse() * Eigen::Vector3d(-q[6], -q[7], -q[8]);
        if (!x.allFinite()) return std::nullopt;
        return point3{x[0], x[1], x[2]};
    }
};

/// The plan for collapsing one edge: who survives, where it goes, at what cost.
struct plan {
    double cost;
    std::size_t kept;
    std::size_t removed;
    point3 position;
};

/// A queued edge; it is stale when either vertex has changed since. Kept
/// small (24 bytes), since popping the queue is the bulk of the work.
struct candidate {
    double cost;
    std::uint32_t a;
    std::uint32_t b;
    std::uint32_t version_a;
    std::uint32_t version_b;

    bool operator>(const candidate& o) const { return o < *this; }
    bool operator<(const candidate& o) const
    {
        if (cost != o.cost) return cost < o.cost;
        if (a != o.a) return a < o.a;
        return b < o.b;
    }
};

class simplifier {
public:
    simplifier(triangle_surface& surface, const simplify_options& options, std::vector<unsigned char> pinned,
               stage_clock& clock)
        : surface_(surface), options_(options), pinned_(std::move(pinned)), clock_(clock)
    {
        pinned_.resize(surface.vertices.size(), 0);
        min_turn_cos_ = std::cos(options.max_normal_turn_degrees * 3.141592653589793 / 180.0);
    }

    simplify_counts run()
    {
        counts_.triangles_before = surface_.triangles.size();
        live_ = surface_.triangles.size();
        clock_.run("neighbourhood cache", [&] { build_cache(); });
        clock_.run("quadrics", [&] { build_quadrics(); });
        clock_.run("edge queue", [&] { build_queue(); });
        clock_.run("collapses", [&] { collapse(); });
        clock_.run("remove invalid triangles", [&] { counts_.removed_triangles = cache_->remove_invalid_triangles(); });
        counts_.triangles_after = surface_.triangles.size();
        counts_.reached_target = counts_.triangles_after <= options_.target_triangles;
        for (unsigned char p : pinned_) counts_.pinned_vertices += p != 0;
        return counts_;
    }

private:
    void build_cache()
    {
        // The callback runs on several threads at once: collect, then mark.
        oneapi::tbb::concurrent_vector<std::array<std::size_t, 3>> reported;
        cache_.emplace(surface_, [&reported](std::size_t t, std::size_t e, bool is_boundary) {
            reported.push_back({t, e, is_boundary ? 1u : 0u});
        });
        on_boundary_.assign(surface_.vertices.size(), 0);
        for (const auto& [t, e, boundary] : reported) {
            ++(boundary ? counts_.boundary_edges : counts_.non_manifold_edges);
            const std::size_t a = surface_.triangles[t][e], b = surface_.triangles[t][next_corner[e]];
            if (boundary && !options_.preserve_boundary) {
                on_boundary_[a] = on_boundary_[b] = 1;
                boundary_sides_.push_back({t, e});
            } else {
                pinned_[a] = pinned_[b] = 1;
            }
        }
    }

    /// The quadric that keeps a boundary edge's vertices on the plane through
    /// the edge, upright on its triangle, weighted well above the surface's own.
    quadric boundary_plane(std::size_t t, std::size_t e) const
    {
        const auto& tri = surface_.triangles[t];
        const point3& a = surface_.vertices[tri[e]];
        const point3& b = surface_.vertices[tri[next_corner[e]]];
        const point3& c = surface_.vertices[tri[next_corner[next_corner[e]]]];
        const point3 n = cross(sub(b, a), sub(c, a));
        const point3 m = cross(sub(b, a), n);
        const double length = stable_length(m);
        if (!(length > 0) || !std::isfinite(length)) return {};
        const point3 unit = divide(m, length);
        return quadric::of_plane(unit, -dot(unit, a), 100.0 * dot(sub(b, a), sub(b, a)));
    }

    void build_quadrics()
    {
        const auto& tris = surface_.triangles;
        std::vector<quadric> planes(tris.size());
        oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, tris.size(), 1),
                                  [&](const oneapi::tbb::blocked_range<std::size_t>& r) {
                                      for (std::size_t t = r.begin(); t != r.end(); ++t) planes[t] = plane_of(t);
                                  });
        quadrics_.assign(surface_.vertices.size(), quadric{});
        for (std::size_t t = 0; t < tris.size(); ++t)
            for (std::size_t v : tris[t]) quadrics_[v] += planes[t];
        for (const auto& [t, e] : boundary_sides_) {
            const quadric q = boundary_plane(t, e);
            quadrics_[tris[t][e]] += q;
            quadrics_[tris[t][next_corner[e]]] += q;
        }
        version_.assign(surface_.vertices.size(), 0);
        alive_.assign(surface_.vertices.size(), 1);
    }

    quadric plane_of(std::size_t t) const
    {
        const auto& tri = surface_.triangles[t];
        const point3& p0 = surface_.vertices[tri[0]];
        const point3 n = cross(sub(surface_.vertices[tri[1]], p0), sub(surface_.vertices[tri[2]], p0));
        const double length = stable_length(n);
        if (!(length > 0) || !std::isfinite(length)) return {};
        const point3 unit = divide(n, length);
        return quadric::of_plane(unit, -dot(unit, p0), 0.5 * length);
    }

    /// How edge (a, b) would be collapsed, or nothing when it may not be.
    std::optional<plan> plan_for(std::size_t a, std::size_t b) const
    {
        if (pinned_[a] && pinned_[b]) return std::nullopt;
        quadric q = quadrics_[a];
        q += quadrics_[b];
        const point3& pa = surface_.vertices[a];
        const point3& pb = surface_.vertices[b];
        if (pinned_[a]) return plan{std::max(0.0, q.error(pa)), a, b, pa};
        if (pinned_[b]) return plan{std::max(0.0, q.error(pb)), b, a, pb};

        const point3 mid{(pa.x + pb.x) / 2.0, (pa.y + pb.y) / 2.0, (pa.z + pb.z) / 2.0};
        // Trust the optimum only near the edge: far off it lies along a
        // nearly flat direction of the quadric.
        if (const auto best = q.minimiser(); best && stable_length(sub(*best, mid)) <= stable_length(sub(pa, pb)))
            return plan{std::max(0.0, q.error(*best)), a, b, *best};
        plan p{std::max(0.0, q.error(pa)), a, b, pa};
        for (const point3& c : {pb, mid})
            if (const double e = std::max(0.0, q.error(c)); e < p.cost) p = {e, a, b, c};
        return p;
    }

    void build_queue()
    {
        std::vector<std::array<std::size_t, 2>> edges;
        edges.reserve(3 * surface_.triangles.size() / 2 + 3);
        for (const auto& t : surface_.triangles)
            for (int e = 0; e < 3; ++e) {
                const std::size_t a = t[e], b = t[next_corner[e]];
                if (a < b) edges.push_back({a, b});
            }
        // Inner edges are met in both directions, boundary edges in one only.
        for (const auto& [t, e] : boundary_sides_) {
            const std::size_t a = surface_.triangles[t][e], b = surface_.triangles[t][next_corner[e]];
            if (a > b) edges.push_back({b, a});
        }
        std::vector<candidate> queued(edges.size());
        oneapi::tbb::parallel_for(oneapi::tbb::blocked_range<std::size_t>(0, edges.size(), 1),
                                  [&](const oneapi::tbb::blocked_range<std::size_t>& r) {
                                      for (std::size_t i = r.begin(); i != r.end(); ++i) {
                                          const auto [a, b] = edges[i];
                                          const auto p = plan_for(a, b);
                                          queued[i] = {p ? p->cost : -1.0, static_cast<std::uint32_t>(a),
                                                       static_cast<std::uint32_t>(b), 0, 0};
                                      }
                                  });
        std::erase_if(queued, [](const candidate& c) { return c.cost < 0; });
        // Pushed in ascending order, each new entry stays where it lands.
        oneapi::tbb::parallel_sort(queued.begin(), queued.end(), std::less<candidate>());
        queue_.reserve(queued.size());
        for (const candidate& c : queued) queue_.push(c);
    }

    bool is_dead(std::size_t t) const { return surface_.triangles[t][0] == dead; }

    /// The live triangles around `v`, ascending, into `out`.
    void live_triangles_of(std::size_t v, std::vector<std::size_t>& out)
    {
        out.clear();
        cache_->append_vertex_triangles(v, out);
        std::erase_if(out, [this](std::size_t t) { return is_dead(t); });
        std::sort(out.begin(), out.end());
        out.erase(std::unique(out.begin(), out.end()), out.end());
    }

    /// The vertices other than `v` of the triangles in `around`, ascending, into `out`.
    void ring(std::size_t v, const std::vector<std::size_t>& around, std::vector<std::size_t>& out) const
    {
        out.clear();
        for (std::size_t t : around)
            for (std::size_t w : surface_.triangles[t])
                if (w != v) out.push_back(w);
        std::sort(out.begin(), out.end());
        out.erase(std::unique(out.begin(), out.end()), out.end());
    }

    bool has_both(std::size_t t, std::size_t a, std::size_t b) const
    {
        const auto& tri = surface_.triangles[t];
        return std::find(tri.begin(), tri.end(), a) != tri.end() && std::find(tri.begin(), tri.end(), b) != tri.end();
    }

    /// The link condition: the rings of a and b meet exactly in the apexes of
    /// the triangles on the edge (two, or one on a boundary edge), and each
    /// apex keeps enough triangles. An inner edge between two boundary
    /// vertices would pinch the surface and is refused.
    bool link_allows(std::size_t a, std::size_t b)
    {
        const bool boundary_edge = shared_.size() == 1 && on_boundary_[a] && on_boundary_[b];
        if (shared_.size() != 2 && !boundary_edge) return false;
        if (!boundary_edge && on_boundary_[a] && on_boundary_[b]) return false;
        std::array<std::size_t, 2> apexes{};
        std::size_t found = 0;
        for (std::size_t t : shared_)
            for (std::size_t w : surface_.triangles[t])
                if (w != a && w != b && found < 2) apexes[found++] = w;
        if (found != shared_.size() || (found == 2 && apexes[0] == apexes[1])) return false;
        if (found == 2 && apexes[1] < apexes[0]) std::swap(apexes[0], apexes[1]);
        ring(a, around_a_, ring_a_);
        ring(b, around_b_, ring_b_);
        common_.clear();
        std::set_intersection(ring_a_.begin(), ring_a_.end(), ring_b_.begin(), ring_b_.end(), std::back_inserter(common_));
        std::erase_if(common_, [&](std::size_t w) { return w == a || w == b; });
        if (!std::equal(common_.begin(), common_.end(), apexes.begin(), apexes.begin() + found)) return false;
        for (std::size_t i = 0; i < found; ++i) {
            live_triangles_of(apexes[i], scratch_);
            if (scratch_.size() <= (boundary_edge ? 1u : 3u)) return false;
        }
        return !boundary_edge || (around_a_.size() > 1 && around_b_.size() > 1);
    }

    /// No triangle that stays may turn its normal by more than the limit.
    bool normals_allow(const plan& p) const
    {
        for (const auto* around : {&around_a_, &around_b_})
            for (std::size_t t : *around) {
                if (has_both(t, p.kept, p.removed)) continue;
                const auto& tri = surface_.triangles[t];
                std::array<point3, 3> before, after;
                for (int c = 0; c < 3; ++c) {
                    before[c] = surface_.vertices[tri[c]];
                    after[c] = (tri[c] == p.kept || tri[c] == p.removed) ? p.position : before[c];
                }
                const point3 n0 = cross(sub(before[1], before[0]), sub(before[2], before[0]));
                const point3 n1 = cross(sub(after[1], after[0]), sub(after[2], after[0]));
                const double l0 = stable_length(n0), l1 = stable_length(n1);
                if (!(l1 > 0)) return false;
                if (!(l0 > 0)) continue;
                if (!(dot(n0, n1) >= min_turn_cos_ * l0 * l1)) return false;
            }
        return true;
    }

    /// The triangle and edge index in which `kept` runs to `removed`.
    std::optional<neighbourhood_cache::triangle_edge> directed_edge(std::size_t kept, std::size_t removed) const
    {
        for (std::size_t t : shared_)
            for (std::uint32_t k = 0; k < 3; ++k)
                if (surface_.triangles[t][k] == kept && surface_.triangles[t][next_corner[k]] == removed)
                    return neighbourhood_cache::triangle_edge{t, k << 1};
        return std::nullopt;
    }

    /// Queues the edges from the survivor `v` of a collapse of (a, b). Its
    /// ring is the union of the two rings the link test took, without a and b.
    void push_edges_of(std::size_t v, std::size_t a, std::size_t b)
    {
        common_.clear();
        std::set_union(ring_a_.begin(), ring_a_.end(), ring_b_.begin(), ring_b_.end(), std::back_inserter(common_));
        for (std::size_t w : common_) {
            if (w == a || w == b) continue;
            const auto p = plan_for(v, w);
            if (p)
                queue_.push({p->cost, static_cast<std::uint32_t>(v), static_cast<std::uint32_t>(w), version_[v],
                             version_[w]});
        }
    }

    /// Collapses the edge of candidate `c` if every test allows it; returns
    /// the number of triangles that died, or nothing when it was refused.
    std::optional<std::size_t> try_collapse(const candidate& c)
    {
        auto p = plan_for(c.a, c.b);
        if (!p) return std::nullopt;
        live_triangles_of(c.a, around_a_);
        live_triangles_of(c.b, around_b_);
        shared_.clear();
        for (std::size_t t : around_a_)
            if (has_both(t, c.a, c.b)) shared_.push_back(t);
        if (!link_allows(c.a, c.b)) {
            ++counts_.refused_by_link;
            return std::nullopt;
        }
        if (!normals_allow(*p)) {
            ++counts_.refused_by_normal;
            return std::nullopt;
        }
        auto edge = directed_edge(p->kept, p->removed);
        if (!edge && !pinned_[p->kept]) {  // only the other direction is stored: let the other end survive
            std::swap(p->kept, p->removed);
            edge = directed_edge(p->kept, p->removed);
        }
        if (!edge) return std::nullopt;

        const std::size_t kept = cache_->collapse_edge(*edge);
        const std::size_t removed = kept == p->kept ? p->removed : p->kept;
        surface_.vertices[kept] = p->position;
        quadrics_[kept] += quadrics_[removed];
        alive_[removed] = 0;
        ++version_[kept];
        pinned_[kept] = pinned_[kept] | pinned_[removed];
        on_boundary_[kept] = on_boundary_[kept] | on_boundary_[removed];
        // The two stars have only the shared triangles in common.
        std::size_t died = 0;
        for (std::size_t t : around_a_) died += is_dead(t);
        for (std::size_t t : around_b_)
            died += is_dead(t) && std::find(shared_.begin(), shared_.end(), t) == shared_.end();
        ++counts_.collapses;
        counts_.largest_error = std::max(counts_.largest_error, p->cost);
        push_edges_of(kept, c.a, c.b);
        return died;
    }

    void collapse()
    {
        progress_bar bar(clock_.terminal(), "collapsing edges", live_ - std::min(live_, options_.target_triangles));
        const std::size_t start = live_;
        while (live_ > options_.target_triangles && !queue_.empty()) {
            const candidate c = queue_.top();
            queue_.pop();
            if (!alive_[c.a] || !alive_[c.b] || version_[c.a] != c.version_a || version_[c.b] != c.version_b) continue;
            if (const auto died = try_collapse(c)) {
                live_ -= *died;
                bar.update(start - live_);
            }
        }
    }

    triangle_surface& surface_;
    const simplify_options& options_;
    std::vector<unsigned char> pinned_;
    std::vector<unsigned char> on_boundary_;                    // on an edge that may be collapsed
    std::vector<std::array<std::size_t, 2>> boundary_sides_;   // (triangle, edge) of such edges
    stage_clock& clock_;
    double min_turn_cos_ = 0.0;
    std::optional<neighbourhood_cache> cache_;
    std::vector<quadric> quadrics_;
    std::vector<std::uint32_t> version_;
    std::vector<unsigned char> alive_;
    // A 4-ary heap: shallower than a binary one, so a pop touches fewer cache lines.
    boost::heap::d_ary_heap<candidate, boost::heap::arity<4>, boost::heap::compare<std::greater<candidate>>> queue_;
    std::size_t live_ = 0;
    simplify_counts counts_;
    // Scratch lists of one collapse, kept to save allocations.
    std::vector<std::size_t> around_a_, around_b_, shared_, ring_a_, ring_b_, common_, scratch_;
};

}  // namespace

simplify_counts collapse_by_quadrics(triangle_surface& surface, const simplify_options& options,
                                     std::vector<unsigned char> pinned, stage_clock& clock)
{
    if (surface.vertices.size() > std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("too many vertices to simplify (at most 4294967295)");
    return simplifier(surface, options, std::move(pinned), clock).run();
}

}  // namespace Zelkov::Cli
