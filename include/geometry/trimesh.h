#pragma once
/// \file
/// The whole public interface of Zelkov.Trimesh.Core and Zelkov.Vecmath.Core.

#include <math/records.h>
#include <math/vecmath.h>

#include <geometry/triangle_surface.h>
#include <geometry/measures.h>
#include <geometry/connectivity.h>
#include <geometry/cleanup.h>
#include <geometry/edits.h>
#include <geometry/neighbourhood_cache.h>
#include <geometry/fields.h>
