#pragma once
// Decoding fuzz input into the library's arguments: small counts, indices
// reduced into range, and coordinates from a palette that makes equal points,
// signed zeros, NaN and infinities common.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include <geometry/triangle_surface.h>

namespace Zelkov::Fuzzing {

using Zelkov::Geometry::triangle_surface;

/// Reads the input front to back; past its end every read gives zero.
class input {
public:
    input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    bool empty() const { return position_ >= size_; }
    std::uint8_t byte() { return empty() ? 0 : data_[position_++]; }
    std::uint64_t word()
    {
        std::uint64_t w = 0;
        for (int i = 0; i < 8; ++i) w = (w << 8) | byte();
        return w;
    }
    /// A value below `n` (n > 0).
    std::size_t below(std::size_t n) { return (n <= 256 ? byte() : (std::size_t{byte()} << 8 | byte())) % n; }

    /// Mostly a quarter-step value in [-2, 2), so that points coincide; else
    /// a special value or raw bits.
    double coordinate()
    {
        using limits = std::numeric_limits<double>;
        const std::uint8_t b = byte();
        if (b < 208) return (b % 16) * 0.25 - 2.0;
        const double special[] = {limits::quiet_NaN(), limits::infinity(), -limits::infinity(), -0.0, 1e300,
                                  limits::denorm_min()};
        if (b % 8 < 6) return special[b % 8];
        if (b % 8 == 6) return 1e-9 * (byte() + 1);
        const std::uint64_t bits = word();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        return d;
    }

    /// A valid surface of at most `max_vertices` vertices and `max_triangles`
    /// triangles; triangles may repeat corners, duplicate each other and
    /// share edges in any number.
    triangle_surface surface(std::size_t max_vertices = 48, std::size_t max_triangles = 96)
    {
        triangle_surface s;
        const std::size_t nv = 1 + below(max_vertices);
        const std::size_t nt = below(max_triangles + 1);
        for (std::size_t v = 0; v < nv; ++v) s.vertices.push_back({coordinate(), coordinate(), coordinate()});
        for (std::size_t t = 0; t < nt && !empty(); ++t) s.triangles.push_back({below(nv), below(nv), below(nv)});
        return s;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t position_ = 0;
};

/// Ends the run with a message when a promise is broken, so that the fuzzer
/// keeps the input.
#define ZELKOV_FUZZ_CHECK(condition)                                                                                   \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: broken promise: %s\n", __FILE__, __LINE__, #condition);                       \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)

}  // namespace Zelkov::Fuzzing
