// `clean`: merges equal points and equal triangles, optionally drops the
// triangles that repeat a vertex, removes free points, and writes the result.

#include <geometry/trimesh.h>

#include "commands.h"
#include <meshio/meshio.h>

namespace Zelkov::Cli {

using namespace Zelkov::Geometry;

value run_clean(const common_options& options, const clean_options& clean, stage_clock& clock)
{
    input_mesh in = load_input(options, clock);
    triangle_surface& s = in.surface;
    value report = begin_report("clean", in);
    Zelkov::Processing::weld_options w;
    w.consider_orientation = clean.consider_orientation;
    w.remove_degenerate = clean.remove_degenerate;
    report["clean_up"] = weld(s, w, clock);
    report["after"] = surface_summary(s);
    write_output(options, s, {}, report, clock);
    return report;
}

}  // namespace Zelkov::Cli
