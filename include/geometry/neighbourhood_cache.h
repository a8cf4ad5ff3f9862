#pragma once
/// \file
/// The neighbourhood cache: compact corner and neighbour links over a surface it does not own, for long runs of edge collapses.

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

}  // namespace Zelkov::Geometry
