// Flatten.cpp - "kxsvg flatten": segmented primitives as JSON, Wavefront OBJ or SVG.
#include "Commands.h"
#include "Common.h"

#include <nlohmann/json.hpp>

#include <iostream>
#include <string>

namespace kxsvg {
namespace {

nlohmann::json colorJson(const Wm4::ColorRGBA& c) { return {c.R(), c.G(), c.B(), c.A()}; }

// Stroke meshes appear as "strokePoints" and "strokeTriangles" only when asked for.
nlohmann::json toJson(const Flattened& flat, const kx::svg::BoundingBox* frame, bool withStrokeMeshes)
{
    nlohmann::json primitives = nlohmann::json::array();
    for (const auto& primitive : flat.primitives) {
        const kx::svg::RenderingProperties& props = primitive->properties;
        nlohmann::json p;
        nlohmann::json points = nlohmann::json::array();
        for (const auto& v : primitive->points) points.push_back({v.X(), v.Y()});
        nlohmann::json segments = nlohmann::json::array();
        for (std::size_t i = 0; i + 1 < primitive->lineIndices.size(); i += 2)
            segments.push_back({primitive->lineIndices[i], primitive->lineIndices[i + 1]});
        nlohmann::json trianglePoints = nlohmann::json::array();
        for (const auto& v : primitive->trianglePoints) trianglePoints.push_back({v.X(), v.Y()});
        nlohmann::json triangles = nlohmann::json::array();
        for (std::size_t i = 0; i + 2 < primitive->triangleIndices.size(); i += 3)
            triangles.push_back(
                {primitive->triangleIndices[i], primitive->triangleIndices[i + 1], primitive->triangleIndices[i + 2]});
        p["points"] = std::move(points);
        p["segments"] = std::move(segments);
        p["trianglePoints"] = std::move(trianglePoints);
        p["triangles"] = std::move(triangles);
        p["fillFailed"] = primitive->fillFailed;
        if (withStrokeMeshes) {
            nlohmann::json strokePoints = nlohmann::json::array();
            for (const auto& v : primitive->strokePoints) strokePoints.push_back({v.X(), v.Y()});
            nlohmann::json strokeTriangles = nlohmann::json::array();
            const auto& idx = primitive->strokeIndices;
            for (std::size_t i = 0; i + 2 < idx.size(); i += 3)
                strokeTriangles.push_back({idx[i], idx[i + 1], idx[i + 2]});
            p["strokePoints"] = std::move(strokePoints);
            p["strokeTriangles"] = std::move(strokeTriangles);
        }
        p["fill"] = props.hasFill() ? colorJson(props.parseFillColor()) : nlohmann::json(nullptr);
        p["stroke"] = props.hasStroke() ? colorJson(props.parseStrokeColor()) : nlohmann::json(nullptr);
        p["strokeWidth"] = props.strokeWidth ? *props.strokeWidth : 1.0f;
        p["opacity"] = props.opacity ? *props.opacity : 1.0f;
        p["fillOpacity"] = props.fillOpacity ? *props.fillOpacity : 1.0f;
        p["strokeOpacity"] = props.strokeOpacity ? *props.strokeOpacity : 1.0f;
        primitives.push_back(std::move(p));
    }
    nlohmann::json out;
    out["primitives"] = std::move(primitives);
    out["fillFailures"] = flat.fillFailures;
    out["frame"] = frame ? nlohmann::json{frame->getMinPoint().X(), frame->getMinPoint().Y(), frame->getWidth(),
                                          frame->getHeight()}
                         : nlohmann::json(nullptr);
    return out;
}

// Vertices of all primitives in one list; fills as faces, outlines as lines
// (1-based), stroke meshes as faces of their own objects.
std::string toObj(const Flattened& flat)
{
    std::string out = "# kxsvg flatten: fills as faces, outlines as lines\n";
    std::size_t base = 1;
    int index = 0;
    for (const auto& primitive : flat.primitives) {
        out += "o primitive" + std::to_string(index++) + "\n";
        for (const auto& v : primitive->points)
            out += "v " + formatNumber(v.X()) + " " + formatNumber(v.Y()) + " 0\n";
        for (std::size_t i = 0; i + 1 < primitive->lineIndices.size(); i += 2)
            out += "l " + std::to_string(base + primitive->lineIndices[i]) + " " +
                   std::to_string(base + primitive->lineIndices[i + 1]) + "\n";
        base += primitive->points.size();
        for (const auto& v : primitive->trianglePoints)
            out += "v " + formatNumber(v.X()) + " " + formatNumber(v.Y()) + " 0\n";
        for (std::size_t i = 0; i + 2 < primitive->triangleIndices.size(); i += 3)
            out += "f " + std::to_string(base + primitive->triangleIndices[i]) + " " +
                   std::to_string(base + primitive->triangleIndices[i + 1]) + " " +
                   std::to_string(base + primitive->triangleIndices[i + 2]) + "\n";
        base += primitive->trianglePoints.size();
        if (primitive->strokeIndices.empty()) continue;
        out += "o primitive" + std::to_string(index - 1) + "_stroke\n";
        for (const auto& v : primitive->strokePoints)
            out += "v " + formatNumber(v.X()) + " " + formatNumber(v.Y()) + " 0\n";
        for (std::size_t i = 0; i + 2 < primitive->strokeIndices.size(); i += 3)
            out += "f " + std::to_string(base + primitive->strokeIndices[i]) + " " +
                   std::to_string(base + primitive->strokeIndices[i + 1]) + " " +
                   std::to_string(base + primitive->strokeIndices[i + 2]) + "\n";
        base += primitive->strokePoints.size();
    }
    return out;
}

std::string cssColor(const Wm4::ColorRGBA& c)
{
    auto byte = [](float v) { return std::to_string(static_cast<int>(v * 255.0f + 0.5f)); };
    return "rgb(" + byte(c.R()) + "," + byte(c.G()) + "," + byte(c.B()) + ")";
}

// Fills as triangles, then strokes as their meshes' triangles (all turning the
// same way, so the default non-zero rule paints them once) or, without a mesh,
// outlines as polylines, so all can be inspected in a browser.
std::string toSvg(const Flattened& flat, const kx::svg::BoundingBox* frame)
{
    std::string out = "<svg xmlns=\"http://www.w3.org/2000/svg\"";
    if (frame)
        out += " viewBox=\"" + formatNumber(frame->getMinPoint().X()) + " " + formatNumber(frame->getMinPoint().Y()) +
               " " + formatNumber(frame->getWidth()) + " " + formatNumber(frame->getHeight()) + "\"";
    out += ">\n";
    for (const auto& primitive : flat.primitives) {
        const kx::svg::RenderingProperties& props = primitive->properties;
        out += "<g>\n";
        if (props.hasFill() && !primitive->triangleIndices.empty()) {
            Wm4::ColorRGBA fill = props.parseFillColor();
            out += "<path fill=\"" + cssColor(fill) + "\" fill-opacity=\"" + formatNumber(fill.A()) + "\" d=\"";
            for (std::size_t i = 0; i + 2 < primitive->triangleIndices.size(); i += 3) {
                for (int k = 0; k < 3; ++k) {
                    const auto& v = primitive->trianglePoints[primitive->triangleIndices[i + k]];
                    out += (k == 0 ? "M" : "L") + formatNumber(v.X()) + " " + formatNumber(v.Y()) + " ";
                }
                out += "Z";
            }
            out += "\"/>\n";
        }
        if (!primitive->strokeIndices.empty()) {
            Wm4::ColorRGBA stroke = props.parseStrokeColor();
            out += "<path fill=\"" + cssColor(stroke) + "\" fill-opacity=\"" + formatNumber(stroke.A()) + "\" d=\"";
            for (std::size_t i = 0; i + 2 < primitive->strokeIndices.size(); i += 3) {
                for (int k = 0; k < 3; ++k) {
                    const auto& v = primitive->strokePoints[primitive->strokeIndices[i + k]];
                    out += (k == 0 ? "M" : "L") + formatNumber(v.X()) + " " + formatNumber(v.Y()) + " ";
                }
                out += "Z";
            }
            out += "\"/>\n";
        } else if (!primitive->lineIndices.empty()) {
            Wm4::ColorRGBA stroke = props.hasStroke() ? props.parseStrokeColor() : Wm4::ColorRGBA(0, 0, 0, 1);
            float width = props.strokeWidth ? *props.strokeWidth : 1.0f;
            out += "<path fill=\"none\" stroke=\"" + cssColor(stroke) + "\" stroke-opacity=\"" +
                   formatNumber(props.hasStroke() ? stroke.A() : 0.35f) + "\" stroke-width=\"" + formatNumber(width) +
                   "\" d=\"";
            for (std::size_t i = 0; i + 1 < primitive->lineIndices.size(); i += 2) {
                const auto& a = primitive->points[primitive->lineIndices[i]];
                const auto& b = primitive->points[primitive->lineIndices[i + 1]];
                out += "M" + formatNumber(a.X()) + " " + formatNumber(a.Y()) + " L" + formatNumber(b.X()) + " " +
                       formatNumber(b.Y()) + " ";
            }
            out += "\"/>\n";
        }
        out += "</g>\n";
    }
    out += "</svg>\n";
    return out;
}

} // namespace

int runFlatten(const FlattenArgs& args)
{
    std::string format = args.format.empty() ? lowerExtension(args.output) : args.format;
    if (format != "json" && format != "obj" && format != "svg")
        throw UsageError("cannot tell the output format of '" + args.output +
                         "': use a .json, .obj or .svg name, or --format");

    LoadedDrawing drawing = loadFile(args.input, args.strict, args.preflight);
    for (const std::string& message : drawing.messages) std::cerr << args.input << ": " << message << "\n";
    if (!drawing.loaded) return ExitFailed;

    Flattened flat = flatten(drawing.root, args.segmentation);
    kx::svg::BoundingBox frame;
    bool hasFrame = drawingFrame(*drawing.root, frame);

    std::string text;
    if (format == "json")
        text = toJson(flat, hasFrame ? &frame : nullptr, args.segmentation.strokeMeshes).dump() + "\n";
    else if (format == "obj")
        text = toObj(flat);
    else
        text = toSvg(flat, hasFrame ? &frame : nullptr);

    std::string error;
    if (!writeOutput(args.output, text, error)) {
        std::cerr << "kxsvg: " << error << "\n";
        return ExitFailed;
    }
    if (flat.fillFailures > 0)
        std::cerr << args.input << ": " << flat.fillFailures << " fill(s) could not be triangulated\n";
    return ExitOk;
}

} // namespace kxsvg
