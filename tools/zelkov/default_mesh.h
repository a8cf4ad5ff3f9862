#pragma once
// The mesh that the program works on when no input file is given.

#include <cstddef>

#include <geometry/triangle_surface.h>

namespace Zelkov::Cli {

/// A closed torus whose tube has a square cross-section, with about
/// `triangles` triangles: four circular creases of 90 degrees where the faces
/// of the tube meet, a wave on the outer wall, and a small deterministic
/// jitter of every vertex as a scanner would leave it. Outward oriented, genus 1.
Zelkov::Geometry::triangle_surface default_mesh(std::size_t triangles = 1'000'000);

}  // namespace Zelkov::Cli
