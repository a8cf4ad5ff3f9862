#pragma once
/// \file
/// Sharp features and per-vertex scalar fields: sharp edges, roughness, curvature and smoothing.

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

}  // namespace Zelkov::Geometry
