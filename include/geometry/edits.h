#pragma once
/// \file
/// Local surface edits that keep the caller's vertex-to-triangles map in step and never renumber: splits, triangle collapse, edge flips and relaxation.

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

}  // namespace Zelkov::Geometry
