// Commands.h - the subcommands of kxsvg, each returning an exit status.
#ifndef KXSVG_TOOL_COMMANDS_H
#define KXSVG_TOOL_COMMANDS_H

#include <kx/svg/SegmentationOptions.h>

#include <string>
#include <vector>

namespace kxsvg {

struct InfoArgs {
    std::vector<std::string> files;
    bool strict = false;
    bool preflight = false; ///< rewrite the input into the strict subset before loading
    bool json = false;
};
int runInfo(const InfoArgs& args);

struct ConvertArgs {
    std::string input;
    std::string output;
    bool strict = false;
    int precision = -1;
    bool pretty = false;
    std::string author;
    bool noHeader = false;
};
int runConvert(const ConvertArgs& args);

struct FlattenArgs {
    std::string input;
    std::string output;
    std::string format; ///< "json", "obj" or "svg"; empty: from the output's extension
    bool strict = false;
    bool preflight = false; ///< rewrite the input into the strict subset before loading
    kx::svg::SegmentationOptions segmentation = kx::svg::SegmentationOptions::realSvg();
};
int runFlatten(const FlattenArgs& args);

struct RenderArgs {
    std::string input;
    std::string output;
    int width = 512;
    bool wire = false;
    bool strict = false;
    bool preflight = false; ///< rewrite the input into the strict subset before loading
    std::string background; ///< empty: transparent
    bool cairoStrokes = false; ///< stroke the outlines with cairo instead of filling the stroke meshes
    kx::svg::SegmentationOptions segmentation = kx::svg::SegmentationOptions::realSvg();
};
int runRender(const RenderArgs& args);

struct CheckArgs {
    std::vector<std::string> paths;
    bool strict = false;
    bool preflight = false; ///< rewrite the input into the strict subset before loading
    int slowest = 10;
    kx::svg::SegmentationOptions segmentation = kx::svg::SegmentationOptions::realSvg();
};
int runCheck(const CheckArgs& args);

struct PreflightArgs {
    std::string input;
    std::string output;
    bool dropIds = false;
    bool noApproximation = false;
    bool keepCrossing = false;
    // The tool draws fills as SVG does unless asked not to.
    bool ignoreFillRule = false;
    bool quiet = false;
};
int runPreflight(const PreflightArgs& args);

} // namespace kxsvg

#endif
