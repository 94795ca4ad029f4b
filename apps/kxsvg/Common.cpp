// Common.cpp - input, loading, output and framing shared by the subcommands.
#include "Common.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

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
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "cannot open '" + path + "'";
        return false;
    }
    std::ostringstream buffer;
    buffer << in.rdbuf();
    if (in.bad()) {
        error = "cannot read '" + path + "'";
        return false;
    }
    bytes = buffer.str();
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
    if (preflight) {
        std::string rewritten;
        kx::svg::PreflightReport report;
        if (!kx::svg::PreflightSvg(bytes, kx::svg::PreflightOptions(), rewritten, report)) {
            for (const kx::svg::PreflightEntry& entry : report.getEntries())
                if (entry.change == kx::svg::PreflightChange::Failed)
                    drawing.messages.push_back("preflight: " + entry.detail);
            return drawing;
        }
        return loadDrawing(rewritten, strict, false);
    }
    kxIoDeviceByteContainerReadOnly device(bytes.data(), bytes.size());
    kx::svg::LoadOptions options;
    options.ignoreUnsupported = !strict;
    const kx::svg::kxSvgIOManager* manager = kx::svg::kxSvgIOManager::get();
    if (!manager) {
        drawing.messages.push_back("the library is not initialised");
        return drawing;
    }
    drawing.loaded = manager->loadSvg(drawing.root, device, "svg", nullptr, &options, &drawing.messages);
    if (drawing.loaded && !drawing.root) {
        drawing.loaded = false;
        drawing.messages.push_back("the document holds no element");
    }
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

Flattened flatten(const kx::svg::ItemInterfacePointer<kx::svg::ItemInterface>& root)
{
    static const std::string kFillFailure = "Shape cannot be rendered. Only its contour will be visible.";
    Flattened result;
    // Fill failures are reported through the log; count them while segmenting.
    int failures = 0;
    kxLog::setSink([&failures](int, const std::string&, const std::string& message) {
        if (message == kFillFailure) ++failures;
    });
    {
        std::shared_ptr<const kx::svg::Node> group = asGroup(root);
        kx::svg::SegmenterVisitor visitor(*group);
        result.primitives = std::move(visitor.getSegmentedPrimitives());
        result.hasError = visitor.hasError();
    }
    kxLog::setSink(nullptr);
    result.fillFailures = failures;
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
