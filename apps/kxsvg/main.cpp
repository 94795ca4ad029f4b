// main.cpp - kxsvg: inspect, convert, flatten, render and check SVG drawings.
#include "Commands.h"
#include "Common.h"

#include <CLI/CLI.hpp>

#ifdef KXSVG_TOOL_MIMALLOC
#include <mimalloc.h>
#endif

#include <exception>
#include <iostream>

int main(int argc, char** argv)
{
    using namespace kxsvg;
#ifdef KXSVG_TOOL_MIMALLOC
    // A use of mimalloc keeps it among the program's libraries, ahead of the
    // C library, so every allocation of the process (the library's too) goes
    // through it.
    (void)mi_version();
#endif

    CLI::App app{"kxsvg - inspect, convert, flatten, render and check SVG drawings with libkxSvg"};
    app.require_subcommand(1);
    app.set_version_flag("--version", [] {
        return std::string("kxsvg ") + kxSvg::Version::GetDescStringMajorMinorReleaseRevision(true, true);
    });

    InfoArgs info;
    CLI::App* infoCmd = app.add_subcommand("info", "Load files and print messages, tree summary and boxes");
    infoCmd->add_option("files", info.files, "SVG files ('-' for standard input)")->required();
    infoCmd->add_flag("--strict", info.strict, "Fail on unsupported elements and attributes");
    infoCmd->add_flag("--json", info.json, "Machine-readable output");
    infoCmd->add_flag("--preflight", info.preflight, "Rewrite the input into the strict subset before loading");

    ConvertArgs convert;
    CLI::App* convertCmd = app.add_subcommand("convert", "Load a file and save it again");
    convertCmd->add_option("input", convert.input, "Input SVG ('-' for standard input)")->required();
    convertCmd->add_option("output", convert.output, "Output SVG ('-' for standard output)")->required();
    convertCmd->add_flag("--strict", convert.strict, "Fail on unsupported elements and attributes");
    convertCmd->add_option("--precision", convert.precision, "Digits after the decimal point (default 6)")
        ->check(CLI::Range(0, 20));
    convertCmd->add_flag("--pretty", convert.pretty, "Indented output with spaced path data");
    convertCmd->add_option("--author", convert.author, "Write an Author comment");
    convertCmd->add_flag("--no-header", convert.noHeader, "Leave out the Exporter and Datetime comments");

    FlattenArgs flat;
    CLI::App* flattenCmd = app.add_subcommand("flatten", "Write the segmented primitives as JSON, OBJ or SVG");
    flattenCmd->add_option("input", flat.input, "Input SVG ('-' for standard input)")->required();
    flattenCmd->add_option("-o,--output", flat.output, "Output file (.json, .obj or .svg; '-' with --format)")
        ->required();
    flattenCmd->add_option("--format", flat.format, "json, obj or svg (default: from the output's extension)")
        ->check(CLI::IsMember({"json", "obj", "svg"}));
    flattenCmd->add_flag("--strict", flat.strict, "Fail on unsupported elements and attributes");
    flattenCmd->add_flag("--preflight", flat.preflight, "Rewrite the input into the strict subset before loading");
    SegmentationFlags flattenSegmentation;
    addSegmentationFlags(*flattenCmd, flattenSegmentation);

    RenderArgs render;
    CLI::App* renderCmd = app.add_subcommand("render", "Draw the segmented primitives into a PNG");
    renderCmd->add_option("input", render.input, "Input SVG ('-' for standard input)")->required();
    renderCmd->add_option("-o,--output", render.output, "Output PNG")->required();
    renderCmd->add_option("--width", render.width, "Picture width in pixels (default 512)");
    renderCmd->add_flag("--wire", render.wire, "Overlay the triangle edges");
    renderCmd->add_option("--background", render.background, "Background colour (default transparent)");
    renderCmd->add_flag("--cairo-strokes", render.cairoStrokes,
                        "Stroke the outlines with cairo instead of filling the library's stroke meshes");
    renderCmd->add_flag("--strict", render.strict, "Fail on unsupported elements and attributes");
    renderCmd->add_flag("--preflight", render.preflight, "Rewrite the input into the strict subset before loading");
    SegmentationFlags renderSegmentation;
    addSegmentationFlags(*renderCmd, renderSegmentation);

    CheckArgs check;
    CLI::App* checkCmd = app.add_subcommand("check", "Load and segment every SVG under files and folders");
    checkCmd->add_option("paths", check.paths, "Files and folders")->required();
    checkCmd->add_flag("--strict", check.strict, "Fail on unsupported elements and attributes");
    checkCmd->add_option("--slowest", check.slowest, "How many of the slowest files to list (default 10)");
    checkCmd->add_flag("--preflight", check.preflight, "Rewrite the input into the strict subset before loading");
    SegmentationFlags checkSegmentation;
    addSegmentationFlags(*checkCmd, checkSegmentation);

    PreflightArgs pre;
    CLI::App* preflightCmd =
        app.add_subcommand("preflight", "Rewrite any SVG into the subset the strict reader accepts, with a report");
    preflightCmd->add_option("input", pre.input, "Input SVG ('-' for standard input)")->required();
    preflightCmd->add_option("output", pre.output, "Output SVG ('-' for standard output)")->required();
    preflightCmd->add_flag("--drop-ids", pre.dropIds, "Leave out every id attribute");
    preflightCmd->add_flag("--no-approximation", pre.noApproximation,
                           "Gradients and patterns become none instead of a plain colour");
    preflightCmd->add_flag("--keep-crossing", pre.keepCrossing,
                           "Leave filled paths whose sub-paths cross as they are (their fill fails)");
    preflightCmd->add_flag("--ignore-fill-rule", pre.ignoreFillRule,
                           "Leave non-zero fills as they are (the library's default): the library fills them even-odd");
    preflightCmd->add_flag("-q,--quiet", pre.quiet, "Do not print the report");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        int code = app.exit(e);
        return code == 0 ? ExitOk : ExitUsage;
    }
    flat.segmentation = segmentationOptions(flattenSegmentation);
    render.segmentation = segmentationOptions(renderSegmentation);
    if (!render.cairoStrokes) render.segmentation.strokeMeshes = true;
    check.segmentation = segmentationOptions(checkSegmentation);

    try {
        LibraryScope library;
        if (infoCmd->parsed()) return runInfo(info);
        if (convertCmd->parsed()) return runConvert(convert);
        if (flattenCmd->parsed()) return runFlatten(flat);
        if (renderCmd->parsed()) return runRender(render);
        if (checkCmd->parsed()) return runCheck(check);
        if (preflightCmd->parsed()) return runPreflight(pre);
    } catch (const UsageError& e) {
        std::cerr << "kxsvg: " << e.what() << "\n";
        return ExitUsage;
    } catch (const std::exception& e) {
        std::cerr << "kxsvg: " << e.what() << "\n";
        return ExitFailed;
    }
    return ExitUsage;
}
