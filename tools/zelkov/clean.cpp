// `clean`: merges equal points and equal triangles, optionally drops the
// triangles that repeat a vertex, removes free points, and writes the result.

#include <limits>

#include <geometry/trimesh.h>

#include "commands.h"
#include "figures.h"
#include "meshio.h"

namespace Zelkov::Cli {

using namespace Zelkov::Geometry;

value run_clean(const common_options& options, const clean_options& clean, stage_clock& clock)
{
    input_mesh in = load_input(options, clock);
    triangle_surface& s = in.surface;
    value report = begin_report("clean", in);
    value done = weld(s, clean.consider_orientation, clock);

    std::size_t degenerate_removed = 0;
    if (clean.remove_degenerate) {
        clock.run("remove degenerate triangles", [&] {
            auto repeated = repeated_vertex_triangles(s);
            degenerate_removed = repeated.size();
            remove_triangles(s, std::move(repeated));
        });
        done["degenerate_triangles_removed"] = degenerate_removed;
    }

    std::vector<std::size_t> old_to_new;
    clock.run("remove free points", [&] { remove_free_points(s, old_to_new); });
    std::size_t free_removed = 0;
    for (const std::size_t n : old_to_new) free_removed += n == std::numeric_limits<std::size_t>::max();
    done["free_vertices_removed"] = free_removed;
    report["clean_up"] = std::move(done);
    report["after"] = surface_summary(s);
    write_output(options, s, {}, report, clock);
    return report;
}

}  // namespace Zelkov::Cli
