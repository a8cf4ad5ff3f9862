// libFuzzer target for one mesh reader (chosen by ZELKOV_FUZZ_FORMAT): any
// bytes must give a valid surface or a one-line read_error, never a crash.
// Every vertex and triangle costs the file at least a byte, so a surface larger
// than its input means a count was believed beyond what the bytes hold. (A hang
// or a huge allocation is caught by libFuzzer's -timeout and -malloc_limit_mb.)

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <meshio/meshio.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace Zelkov::Meshio;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    try {
        const triangle_surface s = read_mesh_bytes(bytes, mesh_format::ZELKOV_FUZZ_FORMAT, "input");
        if (!Zelkov::Geometry::is_valid(s) || s.triangles.empty()) std::abort();
        if (s.vertices.size() > size || s.triangles.size() > size) std::abort();
    } catch (const read_error& e) {
        const std::string_view message = e.what();
        if (message.find('\n') != std::string_view::npos || message.substr(0, 7) != "input: ") std::abort();
    }
    return 0;
}
