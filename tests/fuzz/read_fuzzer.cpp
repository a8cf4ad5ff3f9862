// libFuzzer target for one mesh reader (chosen by ZELKOV_FUZZ_FORMAT): any
// bytes must give a valid surface or a one-line read_error, never a crash.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "meshio.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Zelkov::Meshio;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    try {
        const triangle_surface s = read_mesh_bytes(bytes, mesh_format::ZELKOV_FUZZ_FORMAT, "input");
        if (!Zelkov::Geometry::is_valid(s) || s.triangles.empty()) std::abort();
    } catch (const read_error& e) {
        if (std::string_view(e.what()).find('\n') != std::string_view::npos) std::abort();
    }
    return 0;
}
