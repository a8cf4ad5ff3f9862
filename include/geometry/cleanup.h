#pragma once
/// \file
/// Clean-up and selection: de-duplication, removal and copying of triangles and points, marked-region growth.

#include <geometry/export.h>
#include <geometry/triangle_surface.h>

namespace Zelkov::Geometry {

}  // namespace Zelkov::Geometry
