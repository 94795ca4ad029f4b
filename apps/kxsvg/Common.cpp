// Common.cpp - input, loading, output and framing shared by the subcommands.
#include "Common.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>

#include <sys/stat.h>

namespace kxsvg {

bool readInput(const std::string& path, std::string& bytes, std::string& error)
{
    if (path == "-") {
        bytes.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
        if (std::cin.bad()) {
            error = "cannot read standard input";
            return false;
        }
        return true;
    }
    // Straight into one buffer of the file's size: no stream copy, and the
    // pages of the input are touched once. Files whose size is not known up
    // front (pipes, /proc) grow the buffer block by block.
    std::FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        error = "cannot open '" + path + "'";
        return false;
    }
    bytes.clear();
    struct stat info;
    if (fstat(fileno(file), &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0) {
        bytes.resize(static_cast<std::size_t>(info.st_size));
        bytes.resize(std::fread(&bytes[0], 1, bytes.size(), file));
    }
    char block[65536];
    for (std::size_t n; (n = std::fread(block, 1, sizeof block, file)) > 0;) bytes.append(block, n);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        error = "cannot read '" + path + "'";
        return false;
    }
    return true;
}

bool writeOutput(const std::string& path, const std::string& bytes, std::string& error)
{
    if (path == "-") {
        std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        std::cout.flush();
        if (!std::cout) {
            error = "cannot write standard output";
            return false;
        }
        return true;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (out) out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (out) out.close();
    if (!out) {
        error = "cannot write '" + path + "'";
        return false;
    }
    return true;
}

LoadedDrawing loadDrawing(const std::string& bytes, bool strict, bool preflight)
{
    LoadedDrawing drawing;
    kx::svg::PreflightResult preflighted;
    if (preflight) {
        // Drawn as SVG draws it: non-zero fills keep their meaning.
        kx::svg::PreflightOptions preflightOptions;
        preflightOptions.honorFillRule = true;
        preflighted = kx::svg::PreflightBytes(bytes, preflightOptions);
        if (!preflighted) {
            for (const std::string& message : preflighted.messages) drawing.messages.push_back("preflight: " + message);
            return drawing;
        }
    }
    kx::svg::LoadOptions options;
    options.ignoreUnsupported = !strict;
    kx::svg::LoadResult loaded = kx::svg::LoadBytes(preflight ? preflighted.text : bytes, options);
    drawing.messages.assign(loaded.messages.begin(), loaded.messages.end());
    drawing.loaded = static_cast<bool>(loaded);
    drawing.root = std::move(loaded.document);
    return drawing;
}

LoadedDrawing loadFile(const std::string& path, bool strict, bool preflight)
{
    std::string bytes, error;
    if (!readInput(path, bytes, error)) {
        LoadedDrawing drawing;
        drawing.messages.push_back(error);
        return drawing;
    }
    return loadDrawing(bytes, strict, preflight);
}

namespace {
bool hasArea(const kx::svg::BoundingBox& box)
{
    return box.isValid() && box.getWidth() > 0.0f && box.getHeight() > 0.0f && std::isfinite(box.getWidth()) &&
           std::isfinite(box.getHeight());
}
} // namespace

bool drawingFrame(const kx::svg::ItemInterface& root, kx::svg::BoundingBox& frame)
{
    if (root.getType() == kx::svg::ItemType::Document) {
        const auto& document = static_cast<const kx::svg::Document&>(root);
        if (document.getViewbox() && hasArea(*document.getViewbox())) {
            frame = *document.getViewbox();
            return true;
        }
    }
    // The ink box: strokes included, so that nothing drawn falls outside.
    kx::svg::TightBoxOptions ink;
    ink.includeStroke = true;
    frame = kx::svg::ComputeTightBoundingBox(root, nullptr, nullptr, ink).box;
    return hasArea(frame);
}

std::shared_ptr<const kx::svg::Node> asGroup(const kx::svg::ItemInterfacePointer<kx::svg::ItemInterface>& root)
{
    if (root && (root->getType() == kx::svg::ItemType::Document || root->getType() == kx::svg::ItemType::Node))
        return std::static_pointer_cast<const kx::svg::Node>(root);
    auto group = std::make_shared<kx::svg::Node>();
    if (root && root->getType() != kx::svg::ItemType::Document) group->editChildren().push_back(root);
    return group;
}

void addSegmentationFlags(CLI::App& command, SegmentationFlags& flags)
{
    const std::string group = "Segmentation (default: the real-SVG preset)";
    command.add_flag("--library-defaults", flags.libraryDefaults,
                     "Start from the library's default options (stop at the first failed fill, no crossing "
                     "resolution); the flags below still apply")
        ->group(group);
    command
        .add_option_function<std::string>(
            "--fill-rule",
            [&flags](const std::string& rule) {
                flags.fillRule =
                    rule == "nonzero" ? kx::TriangulationFillRule::NonZero : kx::TriangulationFillRule::EvenOdd;
            },
            "evenodd or nonzero (default evenodd)")
        ->check(CLI::IsMember({"evenodd", "nonzero"}))
        ->group(group);
    command.add_flag("--no-resolve-crossings", flags.noResolveCrossings,
                     "Do not split crossing outline segments: such fills fail")
        ->group(group);
    command.add_flag("--stop-at-first-failure", flags.stopAtFirstFailure,
                     "Segment nothing after the first fill that fails")
        ->group(group);
    command.add_flag("--no-cleanup", flags.noCleanup, "Fill the contours without cleaning them first")->group(group);
    const auto count = [&command, &group](const std::string& name, std::optional<unsigned int>& target,
                                          const std::string& help) {
        command
            .add_option_function<unsigned int>(
                name, [slot = &target](const unsigned int& value) { *slot = value; }, help)
            ->check(CLI::Range(1u, 4096u))
            ->group(group);
    };
    command.add_flag("--stroke-mesh", flags.strokeMesh, "Also build every stroke as triangles")->group(group);
    command
        .add_flag("--stroke-non-overlapping", flags.strokeNonOverlapping,
                  "Stroke triangles that never overlap (implies --stroke-mesh)")
        ->group(group);
    command
        .add_option_function<float>(
            "--stroke-tolerance", [&flags](const float& value) { flags.strokeTolerance = value; },
            "Largest gap between round joins and caps and their chords, in document units (default 0.05)")
        ->check(CLI::Range(1e-4f, 100.0f))
        ->group(group);
    count("--bezier-leaves", flags.bezierLeaves, "At most N leaves per cubic Bezier curve (default 32)");
    count("--arc-pieces", flags.arcPieces, "Pieces per elliptical arc of a path (default 32)");
    count("--circle-pieces", flags.circlePieces, "Pieces per circle (default 32)");
    command
        .add_option_function<float>(
            "--bezier-tolerance", [&flags](const float& value) { flags.bezierTolerance = value; },
            "Stop splitting a curve once no leaf's error exceeds X, from -1 to 1 (default -0.999)")
        ->check(CLI::Range(-1.0f, 1.0f))
        ->group(group);
}

kx::svg::SegmentationOptions segmentationOptions(const SegmentationFlags& flags)
{
    kx::svg::SegmentationOptions options =
        flags.libraryDefaults ? kx::svg::SegmentationOptions() : kx::svg::SegmentationOptions::realSvg();
    if (flags.fillRule) options.fillRule = *flags.fillRule;
    if (flags.noResolveCrossings) options.resolveCrossings = false;
    if (flags.stopAtFirstFailure) options.stopAtFirstFailedFill = true;
    if (flags.noCleanup) options.cleanupContours = false;
    if (flags.bezierLeaves) options.bezierMaxLeaves = *flags.bezierLeaves;
    if (flags.bezierTolerance) options.bezierTolerance = *flags.bezierTolerance;
    if (flags.arcPieces) options.arcPieces = *flags.arcPieces;
    if (flags.circlePieces) options.circlePieces = *flags.circlePieces;
    if (flags.strokeMesh || flags.strokeNonOverlapping) options.strokeMeshes = true;
    if (flags.strokeNonOverlapping) options.strokeNonOverlapping = true;
    if (flags.strokeTolerance) options.strokeTolerance = *flags.strokeTolerance;
    return options;
}

Flattened flatten(const kx::svg::ItemInterfacePointer<kx::svg::ItemInterface>& root,
                  const kx::svg::SegmentationOptions& options)
{
    Flattened result;
    // The visitor counts failed fills itself; its log messages would only
    // repeat them, once per shape.
    kxLog::setSink([](int, const std::string&, const std::string&) {});
    {
        std::shared_ptr<const kx::svg::Node> group = asGroup(root);
        kx::svg::SegmentationOptions withViewport = options;
        kx::svg::BoundingBox frame;
        if (withViewport.strokeMeshes && withViewport.strokePercentLength <= 0.0f && root &&
            drawingFrame(*root, frame)) {
            const double w = frame.getWidth(), h = frame.getHeight();
            withViewport.strokePercentLength = static_cast<float>(std::sqrt(0.5 * (w * w + h * h)));
        }
        kx::svg::SegmenterVisitor visitor(*group, withViewport);
        result.primitives = std::move(visitor.getSegmentedPrimitives());
        result.hasError = visitor.hasError();
        result.fillFailures = static_cast<int>(visitor.getFailedFillCount());
    }
    kxLog::setSink(nullptr);
    return result;
}

std::string formatNumber(float value)
{
    if (!std::isfinite(value)) return value != value ? "nan" : (value < 0 ? "-inf" : "inf");
    char buffer[64];
    auto res = std::to_chars(buffer, buffer + sizeof(buffer), value);
    return std::string(buffer, res.ptr);
}

std::string lowerExtension(const std::string& path)
{
    std::size_t slash = path.find_last_of("/\\");
    std::size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return std::string();
    std::string ext = path.substr(dot + 1);
    std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return ext;
}

} // namespace kxsvg
