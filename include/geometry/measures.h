#pragma once
/// \file
/// Geometric measures: whole-surface and per-triangle measures, inertia and the principal frame.

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

}  // namespace Zelkov::Geometry
