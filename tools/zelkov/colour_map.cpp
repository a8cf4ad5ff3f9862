#include "colour_map.h"

#include <algorithm>
#include <cmath>

namespace Zelkov::Cli {

namespace {

constexpr Zelkov::Meshio::rgb grey{128, 128, 128};

double percentile(std::vector<double> values, double q)
{
    if (values.empty()) return 0.0;
    const auto k = static_cast<std::size_t>(q * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(k), values.end());
    return values[k];
}

std::uint8_t channel(double x) { return static_cast<std::uint8_t>(std::lround(255.0 * std::clamp(x, 0.0, 1.0))); }

}  // namespace

std::vector<Zelkov::Meshio::rgb> diverging_colours(const std::vector<double>& values)
{
    std::vector<double> magnitudes;
    for (const double v : values)
        if (std::isfinite(v)) magnitudes.push_back(std::fabs(v));
    const double scale = percentile(std::move(magnitudes), 0.98);
    std::vector<Zelkov::Meshio::rgb> colours(values.size(), grey);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!std::isfinite(values[i])) continue;
        const double t = scale > 0 ? std::clamp(values[i] / scale, -1.0, 1.0) : 0.0;
        colours[i] = t >= 0 ? Zelkov::Meshio::rgb{255, channel(1 - t), channel(1 - t)}
                            : Zelkov::Meshio::rgb{channel(1 + t), channel(1 + t), 255};
    }
    return colours;
}

}  // namespace Zelkov::Cli
