#pragma once
// Internal step shared by the two overloads of remove_free_points.

#include <cstddef>
#include <vector>

#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry::detail {

/// Removes the vertices no triangle names, keeping the order of the rest.
/// When `want_map` is false, `old_to_new` is left as it is; otherwise it is
/// overwritten with the map (SIZE_MAX for a removed vertex, the identity when
/// nothing is removed). Everything is allocated before the surface changes.
/// \returns true when at least one vertex was removed.
bool remove_free_points(triangle_surface& surface, std::vector<std::size_t>& old_to_new, bool want_map);

}  // namespace Zelkov::Geometry::detail
