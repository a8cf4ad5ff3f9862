#pragma once
// Colours for per-vertex values, so that a field can be looked at in any mesh viewer.

#include <vector>

#include <meshio/meshio.h>

namespace Zelkov::Cli {

/// Blue for negative, white for zero, red for positive values, saturating at
/// the 98th percentile of the absolute values so that a few outliers do not
/// wash out the rest. Non-finite values are grey.
std::vector<Zelkov::Meshio::rgb> diverging_colours(const std::vector<double>& values);

}  // namespace Zelkov::Cli
