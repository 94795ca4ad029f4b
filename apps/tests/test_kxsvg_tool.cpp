// Tests of the kxsvg tool, run as a separate process as users run it.
#include <cairo.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "TestSupport.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <sys/wait.h>

namespace {

struct RunResult {
    int status = -1;
    std::string out;
};

// Runs the tool through the shell with `args`; standard error is discarded
// unless the arguments redirect it.
RunResult run(const std::string& args)
{
    RunResult result;
    std::string command = std::string("'") + KXSVG_TOOL + "' " + args;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return result;
    char buffer[4096];
    std::size_t n;
    while ((n = fread(buffer, 1, sizeof(buffer), pipe)) > 0) result.out.append(buffer, n);
    int raw = pclose(pipe);
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return result;
}

std::string example(const std::string& name) { return std::string(KXSVG_EXAMPLES_DIR) + "/" + name; }

// Writes `text` to the file `name` in `dir` and returns its path.
std::string WriteFileIn(const kxtest::TempDir& dir, const std::string& name, const std::string& text)
{
    EXPECT_TRUE(kxtest::writeFile(dir.file(name), text)) << name;
    return dir.file(name);
}

std::string readAll(const std::string& path)
{
    std::string text;
    EXPECT_TRUE(kxtest::readFile(path, text)) << path;
    return text;
}

const char* const kSquareHalf = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 200 100\">"
                                "<rect width=\"100\" height=\"100\" fill=\"black\"/></svg>";

} // namespace

TEST(KxsvgTool, ExitStatusesForUsageAndFailures)
{
    kxtest::TempDir dir;
    EXPECT_EQ(run("2>/dev/null").status, 2);                                // no subcommand
    EXPECT_EQ(run("frobnicate 2>/dev/null").status, 2);                     // unknown subcommand
    EXPECT_EQ(run("info 2>/dev/null").status, 2);                           // missing file
    EXPECT_EQ(run("flatten " + example("badge.svg") + " -o " + dir.file("out.txt") + " 2>/dev/null").status, 2);
    EXPECT_EQ(run("render " + example("badge.svg") + " -o " + dir.file("x.png") + " --width 0 2>/dev/null").status, 2);
    EXPECT_EQ(run("info " + dir.file("missing.svg") + " >/dev/null 2>&1").status, 1);
    std::string broken = WriteFileIn(dir, "broken.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\"><rect");
    EXPECT_EQ(run("info " + broken + " >/dev/null").status, 1);
    EXPECT_EQ(run("info " + example("badge.svg") + " >/dev/null").status, 0);
    EXPECT_EQ(run("--version").out.rfind("kxsvg 3.0.0.1297 #", 0), 0u);
}

TEST(KxsvgTool, InfoJsonDescribesTheTree)
{
    // The whole description of the example drawing, but for its path.
    RunResult r = run("info --json " + example("badge.svg"));
    ASSERT_EQ(r.status, 0);
    nlohmann::json j = nlohmann::json::parse(r.out);
    j.erase("file");
    kxtest::ExpectGolden(j.dump(2) + "\n", std::string(KXSVG_TEST_DATA_DIR) + "/tool/badge.info.json");

    // Lenient by default, strict on request; the reader's messages are passed on.
    kxtest::TempDir dir;
    // Cubics are measured by the tight box only.
    std::string cubic =
        WriteFileIn(dir, "cubic.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\"><path d=\"M0 0 C 1 1 2 2 3 3\"/></svg>");
    const std::string text = run("info " + cubic).out;
    EXPECT_NE(text.find("  estimated box: empty\n  tight box: 0 0 3 3\n"), std::string::npos) << text;
    std::string file = WriteFileIn(dir, "title.SVG", "<svg xmlns=\"http://www.w3.org/2000/svg\"><title>t</title></svg>");
    nlohmann::json lenient = nlohmann::json::parse(run("info --json " + file).out);
    EXPECT_EQ(lenient["loaded"], true);
    EXPECT_EQ(lenient["messages"], nlohmann::json({"Ignore unsupported tag in svg : \"title\""}));
    RunResult strict = run("info --json --strict " + file);
    EXPECT_EQ(strict.status, 1);
    EXPECT_EQ(nlohmann::json::parse(strict.out)["messages"],
              nlohmann::json({"Found unsupported tag in svg : \"title\""}));
}

TEST(KxsvgTool, ConvertHonoursSaveOptionsAndStandardStreams)
{
    kxtest::TempDir dir;
    std::string in = WriteFileIn(dir, "in.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\"><path d=\"M 0 0 L 1.23456 2\"/></svg>");
    RunResult r = run("convert --no-header --precision 2 " + in + " -");
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                     "<svg xmlns=\"http://www.w3.org/2000/svg\"><path d=\"M0 0 1.23 2\"/></svg>\n");
    RunResult piped = run("convert --no-header --author Ada - - < " + in);
    ASSERT_EQ(piped.status, 0);
    EXPECT_NE(piped.out.find("<!--Author : Ada-->"), std::string::npos);
    EXPECT_EQ(piped.out.find("Exporter"), std::string::npos);
    RunResult headed = run("convert " + in + " -");
    EXPECT_NE(headed.out.find("<!--Exporter : libkxSvg 3.0.0.1297 #"), std::string::npos);
}

TEST(KxsvgTool, FlattenWritesConsistentJsonObjAndSvg)
{
    kxtest::TempDir dir;
    std::string square = WriteFileIn(dir, "square.svg", kSquareHalf);
    // The whole flattening of a square: outline, fill triangles and paint.
    ASSERT_EQ(run("flatten " + square + " -o " + dir.file("sq.json")).status, 0);
    kxtest::ExpectGolden(nlohmann::json::parse(readAll(dir.file("sq.json"))).dump(2) + "\n",
                         std::string(KXSVG_TEST_DATA_DIR) + "/tool/square.flatten.json");

    // OBJ: every vertex, segment and triangle of the badge is there.
    ASSERT_EQ(run("flatten " + example("badge.svg") + " -o " + dir.file("badge.obj")).status, 0);
    ASSERT_EQ(run("flatten " + example("badge.svg") + " -o " + dir.file("badge.json")).status, 0);
    nlohmann::json badge = nlohmann::json::parse(readAll(dir.file("badge.json")));
    std::size_t points = 0, segments = 0, triangles = 0;
    for (const auto& prim : badge["primitives"]) {
        points += prim["points"].size() + prim["trianglePoints"].size();
        segments += prim["segments"].size();
        triangles += prim["triangles"].size();
    }
    std::istringstream obj(readAll(dir.file("badge.obj")));
    std::size_t v = 0, l = 0, f = 0;
    for (std::string line; std::getline(obj, line);) {
        if (line.rfind("v ", 0) == 0) ++v;
        if (line.rfind("l ", 0) == 0) ++l;
        if (line.rfind("f ", 0) == 0) ++f;
    }
    EXPECT_EQ(badge["primitives"].size(), 7u);
    EXPECT_EQ(v, points);
    EXPECT_EQ(l, segments);
    EXPECT_EQ(f, triangles);
    EXPECT_GT(triangles, 0u);

    // The SVG form is itself loadable by the library.
    ASSERT_EQ(run("flatten " + example("badge.svg") + " -o " + dir.file("badge-flat.svg")).status, 0);
    EXPECT_EQ(run("info --strict " + dir.file("badge-flat.svg") + " >/dev/null").status, 0);
}

TEST(KxsvgTool, RenderCoverageMatchesTheFilledArea)
{
    kxtest::TempDir dir;
    // A square filling the left half of the frame, and a circle of radius 40 in a 100 x 100 frame.
    std::string square = WriteFileIn(dir, "square.svg", kSquareHalf);
    std::string circle = WriteFileIn(dir, "circle.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 100 100\">"
                                                 "<circle cx=\"50\" cy=\"50\" r=\"40\" fill=\"#000\"/></svg>");
    // A translucent band of two overlapping strokes, drawn from the mesh: a fifth of the frame at half
    // alpha, not darker where the pieces overlap.
    std::string band = WriteFileIn(dir, "band.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 100 100\">"
                                             "<path d=\"M0 50 H60 M40 50 H100\" fill=\"none\" stroke=\"#000\" "
                                             "stroke-width=\"20\" stroke-opacity=\"0.5\"/></svg>");
    struct Case {
        std::string file;
        int width;
        double expected;
        double tolerance;
    };
    // The circle is drawn as a 32-gon: its area is 16 r^2 sin(pi/16) / pi of the disc's.
    const double polygon = 0.5 * 32 * 40.0 * 40.0 * std::sin(2 * M_PI / 32) / (100.0 * 100.0);
    for (const Case& c : {Case{square, 200, 0.5, 0.002}, Case{circle, 300, polygon, 0.003},
                         Case{band, 200, 0.1, 0.002}}) {
        std::string png = dir.file("out.png");
        ASSERT_EQ(run("render " + c.file + " -o " + png + " --width " + std::to_string(c.width)).status, 0);
        cairo_surface_t* s = cairo_image_surface_create_from_png(png.c_str());
        ASSERT_EQ(cairo_surface_status(s), CAIRO_STATUS_SUCCESS);
        int w = cairo_image_surface_get_width(s), h = cairo_image_surface_get_height(s);
        EXPECT_EQ(w, c.width);
        const unsigned char* data = cairo_image_surface_get_data(s);
        int stride = cairo_image_surface_get_stride(s);
        double covered = 0.0;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) covered += data[y * stride + 4 * x + 3] / 255.0; // alpha byte (ARGB32)
        cairo_surface_destroy(s);
        EXPECT_NEAR(covered / (double(w) * h), c.expected, c.tolerance) << c.file;
    }
}

TEST(KxsvgTool, CheckSummarisesFilesAndFailures)
{
    kxtest::TempDir dir;
    WriteFileIn(dir, "good.svg", kSquareHalf);
    WriteFileIn(dir, "bad.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\"><ellipse/></svg>");
    WriteFileIn(dir, "notes.txt", "not considered");
    RunResult lenient = run("check " + dir.file("") + " 2>/dev/null");
    EXPECT_EQ(lenient.status, 0);
    EXPECT_NE(lenient.out.find("files          2\n"), std::string::npos) << lenient.out;
    EXPECT_NE(lenient.out.find("loaded         2 (100.0%)"), std::string::npos) << lenient.out;
    RunResult strict = run("check --strict " + dir.file("") + " 2>/dev/null");
    EXPECT_EQ(strict.status, 1);
    EXPECT_NE(strict.out.find("failed         1 (50.0%)"), std::string::npos) << strict.out;
    EXPECT_NE(strict.out.find("       1  Found unsupported tag in svg : \"ellipse\""), std::string::npos)
        << strict.out;
}

TEST(KxsvgTool, SegmentationFlagsChooseTheOptions)
{
    // Two bow ties (their fills fail while crossings are not resolved) around a circle, then a square.
    kxtest::TempDir dir;
    const std::string in = WriteFileIn(dir, 
        "bowties.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 40 20\">"
                       "<path d=\"M 0 0 L 10 10 L 10 0 L 0 10 Z\"/><circle cx=\"20\" cy=\"5\" r=\"4\"/>"
                       "<path d=\"M 20 0 L 30 10 L 30 0 L 20 10 Z\"/><rect x=\"30\" width=\"5\" height=\"5\"/></svg>");
    auto flat = [&](const std::string& flags) {
        return nlohmann::json::parse(run("flatten " + in + " -o - --format json " + flags + " 2>/dev/null").out);
    };
    nlohmann::json goOn = flat("--no-resolve-crossings --circle-pieces 8");
    EXPECT_EQ(goOn["fillFailures"], 2);
    ASSERT_EQ(goOn["primitives"].size(), 4u);
    EXPECT_EQ(goOn["primitives"][0]["fillFailed"], true);
    EXPECT_EQ(goOn["primitives"][1]["points"].size(), 8u);
    EXPECT_EQ(flat("--library-defaults")["primitives"].size(), 1u);
    // check counts every failed fill and lists the files that have one.
    EXPECT_NE(run("check --no-resolve-crossings --slowest 0 " + in + " 2>/dev/null")
                  .out.find("fill failures  2 in 1 files\n\nfiles with failed fills\n       2  " + in + "\n"),
              std::string::npos);
    EXPECT_NE(run("check --no-resolve-crossings --stop-at-first-failure " + in + " 2>/dev/null")
                  .out.find("fill failures  1 in 1 files\n"),
              std::string::npos);
    EXPECT_EQ(run("render " + in + " -o " + dir.file("b.png") + " --fill-rule nonzero --no-cleanup").status, 0);
    EXPECT_EQ(run("flatten " + in + " -o x.json --fill-rule odd 2>/dev/null").status, 2);
    EXPECT_EQ(run("render " + in + " -o x.png --circle-pieces 0 2>/dev/null").status, 2);
}

TEST(KxsvgTool, PreflightBringsFilesIntoTheStrictSubset)
{
    kxtest::TempDir dir;
    std::string in = WriteFileIn(dir, "icon.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"24\" height=\"24\" "
                                           "stroke=\"currentColor\"><title>t</title>"
                                           "<ellipse cx=\"12\" cy=\"12\" rx=\"10\" ry=\"5\"/></svg>");
    EXPECT_EQ(run("info --strict " + in + " >/dev/null").status, 1);
    EXPECT_EQ(run("info --strict --preflight " + in + " >/dev/null 2>&1").status, 0);

    RunResult r = run("preflight " + in + " " + dir.file("out.svg") + " 2>&1");
    ASSERT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("rewritten: ellipse as path x1"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("dropped: element \"title\" x1"), std::string::npos) << r.out;
    nlohmann::json j = nlohmann::json::parse(run("info --json --strict " + dir.file("out.svg")).out);
    EXPECT_EQ(j["loaded"], true);
    EXPECT_EQ(j["items"]["kinds"]["path"], 1);
    EXPECT_EQ(j["viewBox"], nlohmann::json({0, 0, 24, 24}));

    // Input that is not XML fails with status 1 and a message.
    std::string junk = WriteFileIn(dir, "junk.svg", "not xml at all");
    EXPECT_EQ(run("preflight " + junk + " " + dir.file("junk-out.svg") + " 2>/dev/null").status, 1);
}
