#pragma once
// A test surface whose sums are sensitive to the order of additions.

#include <bit>
#include <cstdint>

#include <geometry/triangle_surface.h>

#include "meshgen.h"

namespace Zelkov::Testing {

/// A closed torus moved away from the origin and jittered: its coordinates
/// carry many significant bits, so any change in the order of additions
/// shows in the last bits of a sum.
inline Zelkov::Geometry::triangle_surface uneven_torus()
{
    auto surface = Zelkov::Geometry::translate(Zelkov::Meshgen::torus(24, 16), {103.7, -41.3, 7.9});
    return Zelkov::Meshgen::jittered(std::move(surface), 0.05, 11);
}

/// The bit pattern of a double, so that NaN and signed zeros compare exactly.
inline std::uint64_t bits(double value) { return std::bit_cast<std::uint64_t>(value); }

}  // namespace Zelkov::Testing
