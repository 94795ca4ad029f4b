// Render.cpp - "kxsvg render": draw the segmented primitives into a PNG with cairo.
#include "Commands.h"
#include "Common.h"

#include <cairo.h>

#include <cmath>
#include <iostream>
#include <memory>
#include <vector>

namespace kxsvg {
namespace {

struct SurfaceDeleter {
    void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};
struct ContextDeleter {
    void operator()(cairo_t* c) const { cairo_destroy(c); }
};

void setColor(cairo_t* cr, const Wm4::ColorRGBA& c) { cairo_set_source_rgba(cr, c.R(), c.G(), c.B(), c.A()); }

// Triangles as a single path filled by the winding rule: a fill's triangles
// never overlap, and a stroke mesh's all turn the same way, so either way the
// union is painted once, without seams and without darker overlaps.
// Replaces the current path with one closed sub-path per triangle.
void trianglePath(cairo_t* cr, const std::vector<Wm4::Vector2<float>>& pts, const std::vector<unsigned int>& idx)
{
    cairo_new_path(cr);
    for (std::size_t i = 0; i + 2 < idx.size(); i += 3) {
        cairo_move_to(cr, pts[idx[i]].X(), pts[idx[i]].Y());
        cairo_line_to(cr, pts[idx[i + 1]].X(), pts[idx[i + 1]].Y());
        cairo_line_to(cr, pts[idx[i + 2]].X(), pts[idx[i + 2]].Y());
        cairo_close_path(cr);
    }
}

void fillTriangles(cairo_t* cr, const std::vector<Wm4::Vector2<float>>& pts, const std::vector<unsigned int>& idx)
{
    trianglePath(cr, pts, idx);
    cairo_set_fill_rule(cr, CAIRO_FILL_RULE_WINDING);
    cairo_fill(cr);
}

// The outline as connected runs of segments, so joins are drawn where segments meet.
void outlinePath(cairo_t* cr, const kx::svg::SegmentedPrimitive& primitive)
{
    cairo_new_path(cr);
    const auto& pts = primitive.points;
    const auto& idx = primitive.lineIndices;
    unsigned int last = ~0u;
    for (std::size_t i = 0; i + 1 < idx.size(); i += 2) {
        if (idx[i] != last) cairo_move_to(cr, pts[idx[i]].X(), pts[idx[i]].Y());
        cairo_line_to(cr, pts[idx[i + 1]].X(), pts[idx[i + 1]].Y());
        last = idx[i + 1];
    }
}

void applyStrokeStyle(cairo_t* cr, const kx::svg::RenderingProperties& props)
{
    cairo_set_line_width(cr, props.strokeWidth ? std::fabs(*props.strokeWidth) : 1.0);
    cairo_line_cap_t cap = CAIRO_LINE_CAP_BUTT;
    if (props.strokeLinecap == kx::svg::LineCap::Round) cap = CAIRO_LINE_CAP_ROUND;
    if (props.strokeLinecap == kx::svg::LineCap::Square) cap = CAIRO_LINE_CAP_SQUARE;
    cairo_set_line_cap(cr, cap);
    cairo_line_join_t join = CAIRO_LINE_JOIN_MITER;
    if (props.strokeLinejoin == kx::svg::LineJoin::Round) join = CAIRO_LINE_JOIN_ROUND;
    if (props.strokeLinejoin == kx::svg::LineJoin::Bevel) join = CAIRO_LINE_JOIN_BEVEL;
    cairo_set_line_join(cr, join);
    std::vector<double> dashes;
    if (props.strokeDasharray) {
        for (const kx::svg::UnitValue& v : *props.strokeDasharray) {
            if (v.unit != kx::svg::Unit::None && v.unit != kx::svg::Unit::Px) {
                dashes.clear();
                break;
            }
            dashes.push_back(std::fabs(v.value));
        }
    }
    cairo_set_dash(cr, dashes.empty() ? nullptr : dashes.data(), static_cast<int>(dashes.size()), 0.0);
}

} // namespace

int runRender(const RenderArgs& args)
{
    if (args.width <= 0 || args.width > 16384) throw UsageError("--width must be between 1 and 16384");
    Wm4::Vector4<unsigned char> background(0, 0, 0, 0);
    if (!args.background.empty() && !kx::svg::ParseSvgColor(args.background, background))
        throw UsageError("cannot read the colour '" + args.background + "'");

    LoadedDrawing drawing = loadFile(args.input, args.strict, args.preflight);
    for (const std::string& message : drawing.messages) std::cerr << args.input << ": " << message << "\n";
    if (!drawing.loaded) return ExitFailed;

    kx::svg::BoundingBox frame;
    if (!drawingFrame(*drawing.root, frame)) {
        std::cerr << "kxsvg: '" << args.input << "' has no view box and no measurable content\n";
        return ExitFailed;
    }
    Flattened flat = flatten(drawing.root, args.segmentation);

    double scale = args.width / double(frame.getWidth());
    int height = static_cast<int>(std::ceil(frame.getHeight() * scale));
    if (height < 1) height = 1;
    if (height > 16384) {
        std::cerr << "kxsvg: the picture would be " << height << " pixels high; choose a smaller --width\n";
        return ExitFailed;
    }

    std::unique_ptr<cairo_surface_t, SurfaceDeleter> surface(
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, args.width, height));
    std::unique_ptr<cairo_t, ContextDeleter> context(cairo_create(surface.get()));
    cairo_t* cr = context.get();
    if (!args.background.empty()) {
        cairo_set_source_rgba(cr, background[0] / 255.0, background[1] / 255.0, background[2] / 255.0,
                              background[3] / 255.0);
        cairo_paint(cr);
    }
    cairo_scale(cr, scale, scale);
    cairo_translate(cr, -frame.getMinPoint().X(), -frame.getMinPoint().Y());

    for (const auto& primitive : flat.primitives) {
        const kx::svg::RenderingProperties& props = primitive->properties;
        if (props.hasFill() && !primitive->triangleIndices.empty()) {
            setColor(cr, props.parseFillColor());
            fillTriangles(cr, primitive->trianglePoints, primitive->triangleIndices);
        }
        if (props.hasStroke() && !primitive->strokeIndices.empty()) {
            setColor(cr, props.parseStrokeColor());
            fillTriangles(cr, primitive->strokePoints, primitive->strokeIndices);
        } else if (props.hasStroke() && !primitive->lineIndices.empty() &&
                   (!args.segmentation.strokeMeshes || primitive->fillFailed)) {
            // Without a mesh; also the outline of a failed fill, drawn in the fill's paint.
            setColor(cr, props.parseStrokeColor());
            applyStrokeStyle(cr, props);
            outlinePath(cr, *primitive);
            cairo_stroke(cr);
        }
    }
    if (args.wire) {
        // Triangle edges in a thin line of constant width on screen.
        cairo_set_source_rgba(cr, 0.1, 0.3, 0.9, 0.8);
        cairo_set_line_width(cr, 0.75 / scale);
        cairo_set_dash(cr, nullptr, 0, 0.0);
        const auto wire = [cr](const std::vector<Wm4::Vector2<float>>& pts, const std::vector<unsigned int>& idx) {
            trianglePath(cr, pts, idx);
            cairo_stroke(cr);
        };
        for (const auto& primitive : flat.primitives) {
            wire(primitive->trianglePoints, primitive->triangleIndices);
            wire(primitive->strokePoints, primitive->strokeIndices);
        }
    }
    cairo_surface_flush(surface.get());
    cairo_status_t status = cairo_surface_write_to_png(surface.get(), args.output.c_str());
    if (status != CAIRO_STATUS_SUCCESS) {
        std::cerr << "kxsvg: cannot write '" << args.output << "': " << cairo_status_to_string(status) << "\n";
        return ExitFailed;
    }
    if (flat.fillFailures > 0)
        std::cerr << args.input << ": " << flat.fillFailures << " fill(s) could not be triangulated\n";
    return ExitOk;
}

} // namespace kxsvg
