// The zelkov program end to end: its reports on the real defective meshes,
// clean and simplify on real files, the feature file, and one clear line and a
// distinct exit status for every kind of bad input.

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include <geometry/trimesh.h>

#include "cli.h"
#include "commands.h"
#include <meshio/meshio.h>
#include "support/fixtures.h"
#include "tools/run_cli.h"
#include "support/scratch_dir.h"

namespace {

using namespace Zelkov::Cli;
using Zelkov::Geometry::triangle_surface;

using outcome = Zelkov::Testing::cli_outcome;
using Zelkov::Testing::run_cli;

using Zelkov::Testing::scratch_dir;

std::uint64_t figure(const value& report, const std::string& section, const std::string& key)
{
    const value* v = report.contains(section) && report[section].contains(key) ? &report[section][key] : nullptr;
    EXPECT_NE(v, nullptr) << section << "/" << key;
    return v ? v->get<std::uint64_t>() : ~0ull;
}

bool flag(const value& report, const std::string& section, const std::string& key)
{
    return report.at(section).at(key).get<bool>();
}

common_options input(const std::string& path, const std::string& output = {})
{
    common_options o;
    o.input = path;
    o.output = output;
    return o;
}

TEST(InfoCommand, CleanClosedMeshAndTheTextAndJsonForms)
{
    ZELKOV_SHARED_MESH(path, "fixed_top_genus7.ply");
    stage_clock clock(nullptr);
    const value r = run_info(input(path), clock);
    EXPECT_TRUE(flag(r, "topology", "closed_and_consistently_oriented"));
    EXPECT_EQ(figure(r, "investigation", "boundary_sides"), 0u);
    EXPECT_EQ(figure(r, "investigation", "manifold_sides"), 3u * 4772);
    EXPECT_GT(r.at("measures").at("signed_volume").get<double>(), 0.0);

    const outcome text = run_cli({"info", path});
    EXPECT_EQ(text.status, 0);
    EXPECT_NE(text.out.find("    Non-manifold edges: 0\n"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("timings ms:"), std::string::npos);
    const outcome json = run_cli({"info", path, "--json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.out.substr(0, 2), "{\n");
    EXPECT_NE(json.out.find("\"boundary_edges\": 0,"), std::string::npos);
    EXPECT_TRUE(json.err.empty());
}

/// The JSON report of a command that must succeed; null when it did not.
value report_of(const std::vector<std::string>& args)
{
    const outcome o = run_cli(args);
    EXPECT_EQ(o.status, exit_ok) << o.err;
    return o.status == exit_ok ? value::parse(o.out) : value();
}

/// The file written holds the surface the report describes.
void expect_file_is_reported(const std::string& path, const value& report)
{
    const triangle_surface s = Zelkov::Meshio::read_mesh_file(path);
    EXPECT_EQ(s.vertices.size(), figure(report, "after", "vertices"));
    EXPECT_EQ(s.triangles.size(), figure(report, "after", "triangles"));
}

TEST(CleanCommand, OptionsReachTheWeldAndTheFileIsTheReportedSurface)
{
    ZELKOV_SHARED_MESH(capsule, "capsule_degenerate.obj");
    scratch_dir dir;
    const value r = report_of({"clean", capsule, "--remove-degenerate", "-o", dir.file("c.obj"), "--json"});
    ASSERT_FALSE(r.is_null());
    EXPECT_EQ(figure(r, "clean_up", "degenerate_triangles_removed"), 200u);
    EXPECT_TRUE(flag(r, "clean_up", "orientation_considered"));
    expect_file_is_reported(dir.file("c.obj"), r);

    ZELKOV_SHARED_MESH(dragon, "dragon_res4.ply");
    stage_clock clock(nullptr);
    clean_options either_way;
    either_way.consider_orientation = false;
    const value d = run_clean(input(dragon), either_way, clock);
    EXPECT_FALSE(flag(d, "clean_up", "orientation_considered"));
    EXPECT_EQ(figure(d, "clean_up", "triangles_merged"), 502u);
}

TEST(RepairCommand, OptionsReachTheJobAndTheTableShowsEveryFigureBeforeAndAfter)
{
    ZELKOV_SHARED_MESH(soup, "teapot_soup.stl");
    scratch_dir dir;
    const value r =
        report_of({"repair", soup, "--fill-holes", "100", "--fill", "flat", "-o", dir.file("t.ply"), "--json"});
    ASSERT_FALSE(r.is_null());
    const value& topology = r.at("before_and_after").at("topology");
    EXPECT_EQ(topology.at("boundary_edges"), value::array({2682, 0}));
    EXPECT_EQ(topology.at("closed_and_consistently_oriented"), value::array({false, true}));
    EXPECT_EQ(topology.at("vertex_classes").at("pinch"), value::array({0, 0}));
    EXPECT_EQ(figure(r.at("repair"), "holes", "filled"), 6u);
    EXPECT_EQ(figure(r.at("repair"), "holes", "vertices_added"), 0u);  // flat: no new vertices
    expect_file_is_reported(dir.file("t.ply"), r);
}

TEST(SimplifyCommand, OptionsReachTheJobAndTheFileIsTheReportedSurface)
{
    ZELKOV_SHARED_MESH(bunny, "bunny.obj");
    scratch_dir dir;
    for (const bool collapse_boundary : {false, true}) {
        std::vector<std::string> args{"simplify", bunny, "--target", "5000", "-o", dir.file("b.ply"), "--json"};
        if (collapse_boundary) {
            args.push_back("--boundary");
            args.push_back("free");
        }
        const value r = report_of(args);
        ASSERT_FALSE(r.is_null());
        EXPECT_EQ(figure(r, "collapse", "target_triangles"), 5000u);
        EXPECT_TRUE(flag(r, "collapse", "reached_target"));
        expect_file_is_reported(dir.file("b.ply"), r);
        stage_clock clock(nullptr);
        const std::uint64_t boundary = figure(run_info(input(dir.file("b.ply")), clock), "topology", "boundary_edges");
        if (collapse_boundary) {
            EXPECT_LT(boundary, 223u);
        } else {
            EXPECT_EQ(boundary, 223u);
        }
    }
}

TEST(SimplifyCommand, ErrorBoundSlidingBoundaryAndFeaturesReachTheReport)
{
    const value r = report_of({"simplify", "--default-mesh-triangles", "20000", "--ratio", "0.01", "--boundary",
                               "slide", "--preserve-sharp", "30", "--max-error-relative", "0.0005", "--json"});
    ASSERT_FALSE(r.is_null());
    const value& c = r.at("collapse");
    EXPECT_EQ(c.at("boundary").get<std::string>(), "slide");
    EXPECT_GT(c.at("feature_edges").get<std::uint64_t>(), 0u);
    EXPECT_FALSE(c.at("reached_target").get<bool>());
    EXPECT_LE(c.at("largest_error").get<double>(), c.at("error_bound").get<double>());
    EXPECT_TRUE(report_of({"simplify", "--default-mesh-triangles", "100", "--json"})
                    .at("collapse")
                    .at("error_bound")
                    .is_null());
}

TEST(SimplifyCommand, DefaultMeshWhenNoInputIsGiven)
{
    const outcome o = run_cli({"simplify", "--default-mesh-triangles", "20000", "--ratio", "0.05", "--json"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_NE(o.out.find("built-in default mesh"), std::string::npos);
    EXPECT_NE(o.out.find("\"reached_target\": true"), std::string::npos);
    EXPECT_NE(o.out.find("\"collapses\": "), std::string::npos);
}

TEST(SimplifyCommand, ProgressOnlyOnATerminal)
{
    const std::vector<std::string> args{"simplify", "--default-mesh-triangles", "5000"};
    const outcome quiet = run_cli(args);
    EXPECT_TRUE(quiet.err.empty());
    const outcome shown = run_cli(args, true);
    EXPECT_NE(shown.err.find("collapses ["), std::string::npos);
    EXPECT_NE(shown.err.find("] 99%"), std::string::npos);
    EXPECT_EQ(shown.out.substr(0, 40), quiet.out.substr(0, 40));
}

TEST(FeaturesCommand, WritesAColouredPlyWithTheFields)
{
    ZELKOV_SHARED_MESH(fandisk, "fandisk.obj");
    scratch_dir dir;
    features_options o;
    stage_clock clock(nullptr);
    const value r = run_features(input(fandisk, dir.file("f.ply")), o, clock);
    EXPECT_GT(figure(r, "sharp_edges", "sharp_edges"), 100u);
    EXPECT_EQ(figure(r, "curvature", "values"), 6475u);
    std::ifstream file(dir.file("f.ply"), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    for (const char* property :
         {"property double sharp\n", "property double roughness\n", "property double curvature\n",
          "property double curvature_smoothed\n", "property uchar red\n"})
        EXPECT_NE(bytes.find(property), std::string::npos) << property;
    EXPECT_EQ(Zelkov::Meshio::read_mesh_file(dir.file("f.ply")).triangles.size(), 12946u);
}

TEST(CommandErrors, OneLineAndADistinctStatusForEachKind)
{
    scratch_dir dir;
    const std::string missing = dir.file("missing.obj");
    outcome o = run_cli({"info", missing});
    EXPECT_EQ(o.status, exit_bad_input);
    EXPECT_EQ(o.err, "zelkov: error: " + missing + ": no such file\n");
    EXPECT_TRUE(o.out.empty());

    std::ofstream(dir.file("cut.ply"), std::ios::binary)
        << Zelkov::Meshio::ply_bytes(Zelkov::Meshgen::box()).substr(0, 300);
    o = run_cli({"simplify", dir.file("cut.ply")});
    EXPECT_EQ(o.status, exit_bad_input);
    EXPECT_NE(o.err.find("cut.ply: "), std::string::npos) << o.err;

    std::ofstream(dir.file("bad.off")) << "OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n";
    o = run_cli({"clean", dir.file("bad.off")});
    EXPECT_EQ(o.err, "zelkov: error: " + dir.file("bad.off") +
                         ": index out of range at triangle 0 (the file has 3 vertices)\n");

    std::ofstream(dir.file("noise.stl"), std::ios::binary) << std::string(1000, '\x7f');
    EXPECT_EQ(run_cli({"features", dir.file("noise.stl")}).status, exit_bad_input);

    EXPECT_EQ(run_cli({"features", "--default-mesh-triangles", "100", "-o", dir.file("f.obj")}).status, exit_usage);
    EXPECT_EQ(run_cli({"info", "--no-such-option"}).status, exit_usage);
    EXPECT_EQ(run_cli({}).status, exit_usage);
    EXPECT_EQ(run_cli({"simplify", "--ratio", "2"}).status, exit_usage);
    EXPECT_EQ(run_cli({"simplify", "--ratio", "0.5", "--target", "3"}).status, exit_usage);
    EXPECT_EQ(run_cli({"--help"}).status, exit_ok);
}

TEST(CommandErrors, TheInputFileIsNeverOverwritten)
{
    scratch_dir dir;
    const std::string path = dir.file("box.ply");
    const std::string bytes = Zelkov::Meshio::ply_bytes(Zelkov::Meshgen::box());
    std::ofstream(path, std::ios::binary) << bytes;
    for (const char* command : {"clean", "simplify", "features"}) {
        const outcome o = run_cli({command, path, "-o", path});
        EXPECT_EQ(o.status, exit_output_failed) << command;
        EXPECT_NE(o.err.find("refusing to overwrite the input file"), std::string::npos);
    }
    EXPECT_EQ(run_cli({"clean", path, "-o", dir.file("box.txt")}).status, exit_output_failed);
    std::ifstream in(path, std::ios::binary);
    EXPECT_EQ(std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()), bytes);
}

TEST(CommandErrors, TheInstalledProgramExitsWithTheStatus)
{
    scratch_dir dir;
    const std::string err = dir.file("err.txt");
    const std::string command = std::string(ZELKOV_PROGRAM) + " info " + dir.file("none.stl") + " 2>" + err;
    const int status = std::system(command.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), exit_bad_input);
    std::ifstream in(err);
    std::string line, rest;
    std::getline(in, line);
    EXPECT_EQ(line, "zelkov: error: " + dir.file("none.stl") + ": no such file");
    EXPECT_FALSE(std::getline(in, rest));
}

}  // namespace
