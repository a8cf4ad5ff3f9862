// The distance from a simplified surface to its input, through a CGAL AABB
// tree over the input's triangles. Used for every simplify pairing alike.

#include <algorithm>
#include <cmath>

#include <CGAL/AABB_traits.h>
#include <CGAL/AABB_tree.h>
#include <CGAL/AABB_triangle_primitive.h>

#include "cgal_common.h"

namespace Zelkov::Peers {

namespace {
using triangle_3 = cgal::kernel::Triangle_3;
using triangle_list = std::vector<triangle_3>;
using primitive = CGAL::AABB_triangle_primitive<cgal::kernel, triangle_list::const_iterator>;
using aabb_tree = CGAL::AABB_tree<CGAL::AABB_traits<cgal::kernel, primitive>>;
}  // namespace

struct distance_to_reference::tree {
    triangle_list triangles;  // the tree refers into this list
    aabb_tree aabb;
};

distance_to_reference::distance_to_reference(const triangle_surface& reference) : tree_(std::make_unique<tree>())
{
    const auto points = cgal::points_of(reference);
    tree_->triangles.reserve(reference.triangles.size());
    for (const auto& t : reference.triangles) {
        const triangle_3 triangle(points[t[0]], points[t[1]], points[t[2]]);
        // A triangle without area is covered by its neighbours' edges (and the
        // closest-point search is not defined on it).
        if (!triangle.is_degenerate()) tree_->triangles.push_back(triangle);
    }
    tree_->aabb.insert(tree_->triangles.cbegin(), tree_->triangles.cend());
    tree_->aabb.build();
    tree_->aabb.accelerate_distance_queries();

    if (!points.empty()) {
        const auto box = CGAL::bbox_3(points.begin(), points.end());
        const double dx = box.xmax() - box.xmin(), dy = box.ymax() - box.ymin(), dz = box.zmax() - box.zmin();
        diagonal_ = std::sqrt(dx * dx + dy * dy + dz * dz);
    }
}

distance_to_reference::~distance_to_reference() = default;

distance_to_reference::figures distance_to_reference::measure(const triangle_surface& simplified) const
{
    figures result;
    if (tree_->triangles.empty() || diagonal_ == 0.0) return result;
    const auto points = cgal::points_of(simplified);
    double sum = 0.0;
    std::size_t samples = 0;
    auto sample = [&](const cgal::point_3& p) {
        const double d = std::sqrt(tree_->aabb.squared_distance(p));
        sum += d;
        result.max = std::max(result.max, d);
        ++samples;
    };
    std::vector<bool> used(points.size(), false);
    for (const auto& t : simplified.triangles) {
        for (const std::size_t v : t) used[v] = true;
        sample(CGAL::centroid(points[t[0]], points[t[1]], points[t[2]]));
    }
    for (std::size_t v = 0; v < points.size(); ++v)
        if (used[v]) sample(points[v]);
    result.mean = samples == 0 ? 0.0 : sum / static_cast<double>(samples) / diagonal_;
    result.max /= diagonal_;
    return result;
}

}  // namespace Zelkov::Peers
