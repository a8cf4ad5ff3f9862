// Real mesh files for tests and benchmarks, read through the program's mesh
// I/O: coordinates exactly as stored, no vertices merged.

#include "meshgen.h"

#include <cstdlib>
#include <filesystem>

#include <meshio/meshio.h>

namespace Zelkov::Meshgen {

std::optional<triangle_surface> read_mesh(const std::string& path)
{
    try {
        return Zelkov::Meshio::read_mesh_file(path);
    } catch (const Zelkov::Meshio::read_error&) {
        return std::nullopt;
    }
}

std::string shared_mesh_dir()
{
    const char* configured = std::getenv("ZELKOV_SHARED_MESHES");
    for (const char* candidate :
         {configured ? configured : "", ZELKOV_SOURCE_DIR "/../shared/meshes", "../shared/meshes"})
        if (std::filesystem::is_directory(candidate)) return std::filesystem::canonical(candidate).string();
    return {};
}

}  // namespace Zelkov::Meshgen
