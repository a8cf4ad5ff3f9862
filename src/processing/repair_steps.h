#pragma once
// The repair steps that read the sides of the triangles sorted by edge, for
// a caller that already has them: the repair job sorts them once for both
// steps when cutting changes nothing.

#include <vector>

#include <processing/repair.h>

#include "topology_figures.h"

namespace Zelkov::Processing::detail {

/// `make_manifold` on `sides` = `sorted_sides(surface)`. \returns as the
/// public step; `sides` stays in step with `surface` exactly when no vertex
/// was added.
manifold_result make_manifold(triangle_surface& surface, const std::vector<keyed_side>& sides);

/// `orient` on `sides` = `sorted_sides(surface)`, which turning triangles
/// over leaves in order (their `forward` and `side` go out of date).
orient_result orient(triangle_surface& surface, bool outward, const std::vector<keyed_side>& sides);

}  // namespace Zelkov::Processing::detail
